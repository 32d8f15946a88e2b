#include "KeldMorvIO/listing/ParsedManifest.h"
#include "Support/HexDump.h"
#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Keld::MORV::Reader
{
namespace
{
constexpr const char *ManifestPage = "Docs/Formats/ReleaseManifest.md";

TEST(ReleaseManifestPage, ShowsAManifestThatLoadsAsItSays)
{
    const Keld::Test::TempTree tree;
    const std::string path = tree.Write("releasemanifest", Keld::Test::ReadHexDump(ManifestPage));
    const std::unique_ptr<ReleaseManifest> loaded(ReleaseManifest::Load(path.c_str()));
    ASSERT_NE(loaded, nullptr);
    const auto &manifest = dynamic_cast<ReleaseManifestTemplate<FileTableEntry> &>(*loaded);
    EXPECT_STREQ(manifest.GetProjectName(), "atlas");
    EXPECT_EQ(manifest.GetReleaseVersion(), 0x01010000u);
    EXPECT_THAT(Keld::Test::WalkManifest(manifest), testing::ElementsAre("data/", "readme.txt", "data/a.dds"));
    EXPECT_EQ(manifest.GetFile(0).flags, 0u);
    EXPECT_EQ(manifest.GetFile(0).size, 12u);
    EXPECT_EQ(manifest.GetFile(1).flags, FileFlagArchived | FileFlagCompressed | FileFlagZlib);
    EXPECT_EQ(manifest.GetFile(1).size, 300u);
    EXPECT_EQ(manifest.GetFile(1).version, 0x01000000u);
}

TEST(ReleaseManifestPage, ShowsWhatTheTestsBuilderWrites)
{
    std::string firstDigest;
    std::string secondDigest;
    for (char byte = 0; byte < 16; ++byte)
    {
        firstDigest += byte;
        secondDigest += static_cast<char>(byte + 16);
    }
    Keld::Test::ManifestImage image("atlas", 0x01010000);
    image.File("readme.txt", {0, 12, 0x01010000, firstDigest});
    image.File("data/a.dds", {0x16, 300, 0x01000000, secondDigest});
    EXPECT_EQ(Keld::Test::ReadHexDump(ManifestPage), image.Bytes());
}
} // namespace
} // namespace Keld::MORV::Reader
