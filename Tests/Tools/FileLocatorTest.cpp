#include "Tools/TreeReader/FileLocator.h"

#include "Support/TempTree.h"

#include "Tools/TreeWriter/ArchiveWriter.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using TreeReader::FileLocation;
using TreeReader::FileLocator;
using TreeReader::ReleaseFile;
using TreeReader::TreePlaces;

constexpr MorvVersion Release = 0x01000002;
constexpr MorvVersion Version = 0x01000000;

class FileLocatorTest : public testing::Test
{
protected:
    FileLocation Locate(const std::string &path, uint32 flags)
    {
        FileLocator locator(TreePlaces(mTree.Root()), "game");
        return locator.Locate(ReleaseFile{path, Version, {}, flags, 1}, Release);
    }

    TempTree mTree;
};

TEST_F(FileLocatorTest, ANakedFileLiesUnderTheReleaseAndAManagedOneUnderItsVersion)
{
    mTree.Write("projects/game/releases/1.0.0.2/deploy/d/a", "12");
    mTree.Write("projects/game/managedfiles/1.0.0.0/d/a", "123");
    EXPECT_TRUE(Locate("d/a", 0).found);
    EXPECT_EQ(Locate("d/a", 0).storedSize, 2u);
    EXPECT_EQ(Locate("d/a", 1).storedSize, 3u);
    EXPECT_EQ(Locate("d/a", 1).file, mTree.Path("projects/game/managedfiles/1.0.0.0/d/a"));
    EXPECT_FALSE(Locate("d", 0).found);
    EXPECT_FALSE(Locate("other", 1).found);
}

TEST_F(FileLocatorTest, AnArchivedFileIsFoundWithoutRegardToCase)
{
    const std::string archives = "projects/game/filearchives/1.0.0.0/";
    mTree.Write(archives + "x.vka", TreeWriter::BuildArchiveIndex({{"D/a", 5, 7}}));
    EXPECT_FALSE(Locate("d/A", 3).found); // its data file is missing
    mTree.Write(archives + "x.vka.dat", "data");
    const FileLocation location = Locate("d/A", 3);
    EXPECT_TRUE(location.found);
    EXPECT_EQ(location.file, mTree.Path(archives + "x.vka.dat"));
    EXPECT_EQ(location.offset, 5u);
    EXPECT_EQ(location.storedSize, 7u);
    EXPECT_FALSE(Locate("d/b", 2).found);
}

TEST_F(FileLocatorTest, ADamagedIndexHoldsNothingAndStays)
{
    const std::string index = "projects/game/filearchives/1.0.0.0/x.vka";
    mTree.Write(index, "no index");
    EXPECT_FALSE(Locate("a", 2).found);
    EXPECT_TRUE(mTree.Exists(index));
}
} // namespace
} // namespace Keld::Test
