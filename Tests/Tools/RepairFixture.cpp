#include "Tools/RepairFixture.h"

#include "Tools/Delivery/Sources/OpenSource.h"
#include "Tools/Delivery/Sums/Publication.h"

#include <cstdlib>
#include <filesystem>

namespace Keld::Test
{
namespace fs = std::filesystem;
using TreeReader::FaultKind;
using TreeReader::ReleaseName;

RepairFixture::RepairFixture()
{
    setenv("no_proxy", "127.0.0.1", 1);
    mTree.Write("MORV/" + Odd + "releases/1.0.0.0/releasemanifest", OddManifest().Bytes());
    mTree.Write("MORV/" + Odd + "filearchives/1.0.0.0/files-0001.vka", OddIndex().Bytes());
    mTree.Write("MORV/" + Odd + "filearchives/1.0.0.0/files-0001.vka.dat", "content");
    mTree.MakeDirectory("MORV/" + Odd + "releases/1.0.0.0/deploy");
}

ManifestImage RepairFixture::OddManifest(const std::string &project)
{
    ManifestImage manifest(project);
    manifest.File("Aa", Archived("con")).File("Bb", Archived("tent"));
    manifest.File("Cc", Archived("con")).File("Dd", Archived("tent"));
    return manifest;
}

ArchiveImage RepairFixture::OddIndex(const std::string &first, std::uint32_t second)
{
    ArchiveImage index;
    index.File(first, 0, 3).File("Bb", second, 4).File("Cc", 0, 3).File("Dd", 3, 4);
    return index;
}

void RepairFixture::Publish() const
{
    Delivery::PublishRequest request;
    request.root = mTree.Path("MORV");
    request.releases = mReleases;
    request.sync = false;
    Delivery::PublishShipLists(request);
}

void RepairFixture::Split() const
{
    for (const std::string place : {"server", "client"})
    {
        if (place == "client" || !mTree.Exists(place))
        {
            fs::remove_all(mTree.Path(place));
            mTree.MakeDirectory(place);
            fs::copy(mTree.Path("MORV"), mTree.Path(place + "/MORV"), fs::copy_options::recursive);
        }
    }
}

std::set<FaultKind> RepairFixture::FaultsOfClient(const std::vector<ReleaseName> &releases) const
{
    TreeReader::Tree tree(mTree.Path("client/MORV"));
    std::set<FaultKind> kinds;
    for (const TreeChecker::Finding &finding : TreeChecker::CheckTree(tree, releases, {}).faults)
    {
        kinds.insert(finding.fault.kind);
    }
    return kinds;
}

Delivery::RepairReport RepairFixture::Repair(const std::string &source, const std::vector<ReleaseName> &releases) const
{
    const auto opened = Delivery::OpenSource(source, "/", {});
    Delivery::RepairRequest request;
    request.root = mTree.Path("client/MORV");
    request.releases = releases;
    request.source = opened.get();
    request.sync = false;
    return Delivery::Repair(request);
}

void RepairFixture::ExpectSameFiles() const
{
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(mTree.Path("server/MORV")))
    {
        if (entry.is_regular_file())
        {
            const std::string path = fs::relative(entry.path(), mTree.Path("server"));
            EXPECT_EQ(mTree.Read("client/" + path), mTree.Read("server/" + path)) << path;
        }
    }
    EXPECT_FALSE(mTree.Exists("client/MORV/arriving"));
}

void RepairFixture::WriteManifest(const ManifestImage &manifest) const
{
    mTree.Write(Place("odd/releases/1.0.0.0/releasemanifest"), manifest.Bytes());
}

void RepairFixture::WriteIndex(const ByteImage &index) const
{
    mTree.Write(Place("odd/filearchives/1.0.0.0/files-0001.vka"), index.Bytes());
}
} // namespace Keld::Test
