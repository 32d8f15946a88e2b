#include "KeldMorvIO/listing/PlainFileFinder.h"

#include "KeldMorvIO/ReaderTypes.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::Error;

constexpr MorvVersion Release = 0x02000000;

class PlainFileFinderTest : public testing::Test
{
protected:
    bool Find(uint32 flags, MorvVersion version, const std::string &path)
    {
        FileTableFields file{};
        file.flags = flags;
        file.version = version;
        return mFinder.Find(file, path);
    }

    Keld::Test::TempTree mTree;
    Keld::Test::ReaderLogCapture mLog;
    PlainFileFinder mFinder{mTree.Root().c_str(), Release, "signature"};
};

TEST_F(PlainFileFinderTest, FindsNakedAndManagedFilesOfSeveralVersionsInTurn)
{
    mTree.Write("releases/2.0.0.0/deploy/a/1", "");
    mTree.Write("releases/2.0.0.0/deploy/a/2", "");
    mTree.Write("managedfiles/1.0.0.0/a/3", "");
    mTree.Write("managedfiles/1.0.0.1/a/3", "");
    for (int round = 0; round < 2; ++round)
    {
        EXPECT_TRUE(Find(0, 0x01000000, "a/1"));
        EXPECT_TRUE(Find(0, 0x09000000, "a/2")); // the file's own version is not that of a naked one
        EXPECT_TRUE(Find(FileFlagManaged, 0x01000000, "a/3"));
        EXPECT_TRUE(Find(FileFlagManaged, 0x01000001, "a/3"));
        EXPECT_FALSE(Find(FileFlagManaged, 0x01000002, "a/3"));
        EXPECT_FALSE(Find(FileFlagManaged, 0x01000001, "a/1"));
        EXPECT_FALSE(Find(0, 0x01000000, "a/3"));
        EXPECT_FALSE(Find(0, 0x01000000, "a"));
        const std::string root = mTree.Root();
        mLog.ExpectFailures({Error("Missing managed file: " + root + "/managedfiles/1.0.0.2/a/3", "signature"),
                             Error("Missing managed file: " + root + "/managedfiles/1.0.0.1/a/1", "signature"),
                             Error("Missing naked file: " + root + "/releases/2.0.0.0/deploy/a/3", "signature"),
                             Error("Missing naked file: " + root + "/releases/2.0.0.0/deploy/a", "signature")});
    }
}

TEST_F(PlainFileFinderTest, APathThatBeginsAtTheRootOfTheDiskIsTheDiskPath)
{
    const std::string file = mTree.Write("elsewhere", "");
    mTree.Write("releases/2.0.0.0/deploy/a", "");
    EXPECT_TRUE(Find(0, 0, "a"));
    EXPECT_TRUE(Find(0, 0, file));
    EXPECT_TRUE(Find(0, 0, "a"));
    EXPECT_FALSE(Find(0, 0, "")); // the directory
    EXPECT_TRUE(Find(0, 0, "a"));
    mLog.ExpectFailures({Error("Missing naked file: " + mTree.Root() + "/releases/2.0.0.0/deploy", "signature")});
}

TEST_F(PlainFileFinderTest, APathFitsOrIsLoggedByWhoMakesIt)
{
    const std::string directory = mTree.Root() + "/releases/2.0.0.0/deploy/";
    mTree.Write("releases/2.0.0.0/deploy/a", "");
    const std::string fits(PathBufferSize - 1 - directory.size(), 'f');
    for (int round = 0; round < 2; ++round)
    {
        EXPECT_FALSE(Find(0, 0, fits + "f"));
        mLog.ExpectFailures({Error("The path is too long: " + directory + fits + "f")});
        EXPECT_FALSE(Find(0, 0, fits));
        mLog.ExpectFailures({Error("Missing naked file: " + directory + fits, "signature")});
        EXPECT_TRUE(Find(0, 0, "a"));
    }
}
} // namespace
} // namespace Keld::MORV::Reader
