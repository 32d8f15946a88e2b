#include "KeldMorvIO/archive/ArchiveManager.h"

#include "Support/ArchiveImage.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using Test::ArchiveImage;
using Test::Error;
using Test::ExpectedLine;
using Test::LogRecorder;
using Test::ReaderLogCapture;
using Test::TempTree;

constexpr const char *ManagerSignature =
    "const Keld::MORV::Reader::ArchiveVersionManager *Keld::MORV::Reader::ArchiveManager::GetVersionManager("
    "const std::string &, const std::string &, const MorvVersion)";
constexpr MorvVersion First = 0x01000000;
constexpr MorvVersion Second = 0x01000002;

class ArchiveManagerTest : public testing::Test
{
protected:
    void WriteArchive(const std::string &project, const std::string &version, const std::string &file) const
    {
        mTree.Write("projects/" + project + "/filearchives/" + version + "/a.vka",
                    ArchiveImage().File(file, 10, 1).Bytes());
    }

    const ArchiveVersionManager *Get(const std::string &project, MorvVersion version)
    {
        return mManager.GetVersionManager(mTree.Root(), project, version);
    }

    std::vector<ExpectedLine> FailureOf(const std::string &root, const std::string &project,
                                        const std::string &version) const
    {
        return {Error("No valid archive files were found in the directory: " + root + "/projects/" + project +
                      "/filearchives/" + version + "/*.vka"),
                Error("Failed to create file system manager for project \"" + project + "\" and release " + version,
                      ManagerSignature)};
    }

    TempTree mTree;
    ReaderLogCapture mLog;
    ArchiveManager mManager;
};

TEST_F(ArchiveManagerTest, BuildsTheManagerOfAVersion)
{
    WriteArchive("atlas", "1.0.0.0", "a");
    const ArchiveVersionManager *const manager = Get("atlas", First);
    ASSERT_NE(nullptr, manager);
    EXPECT_TRUE(manager->FileExists("a"));
    EXPECT_EQ(mTree.Root() + "/projects/atlas/filearchives/1.0.0.0", manager->GetDirectory());
    mLog.ExpectFailures({});
}

TEST_F(ArchiveManagerTest, ASecondCallGivesTheSameManagerAndReadsNothing)
{
    WriteArchive("atlas", "1.0.0.0", "a");
    const ArchiveVersionManager *const manager = Get("atlas", First);
    ASSERT_NE(nullptr, manager);
    mTree.Remove("projects");
    LogRecorder::Clear();
    EXPECT_EQ(manager, Get("atlas", First));
    mLog.ExpectAll({});
}

// Each of the wildcards would be searched for all that fits the ones before.
TEST_F(ArchiveManagerTest, AProjectNameOfManyWildcardsIsAnEmptyFolder)
{
    WriteArchive("atlas", "1.0.0.0", "a");
    const std::string project = "*/../*/../*/../atlas";
    EXPECT_EQ(nullptr, Get(project, First));
    mLog.ExpectFailures(FailureOf(mTree.Root(), project, "1.0.0.0"));
    EXPECT_TRUE(mTree.Exists("projects/atlas/filearchives/1.0.0.0/a.vka"));
}

TEST_F(ArchiveManagerTest, TheRootIsNoPartOfTheKey)
{
    WriteArchive("atlas", "1.0.0.0", "a");
    const ArchiveVersionManager *const manager = Get("atlas", First);
    ASSERT_NE(nullptr, manager);
    EXPECT_EQ(manager, mManager.GetVersionManager("/elsewhere", "atlas", First));
}

TEST_F(ArchiveManagerTest, VersionsAndProjectsHaveManagersOfTheirOwn)
{
    WriteArchive("atlas", "1.0.0.0", "a");
    WriteArchive("atlas", "1.0.0.2", "b");
    WriteArchive("other", "1.0.0.0", "c");
    const ArchiveVersionManager *const first = Get("atlas", First);
    const ArchiveVersionManager *const second = Get("atlas", Second);
    const ArchiveVersionManager *const other = Get("other", First);
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    ASSERT_NE(nullptr, other);
    EXPECT_TRUE(first->FileExists("a"));
    EXPECT_TRUE(second->FileExists("b"));
    EXPECT_TRUE(other->FileExists("c"));
}

TEST_F(ArchiveManagerTest, ProjectNamesAreTakenWithTheirCase)
{
    WriteArchive("atlas", "1.0.0.0", "a");
    WriteArchive("Atlas", "1.0.0.0", "b");
    const ArchiveVersionManager *const lower = Get("atlas", First);
    const ArchiveVersionManager *const upper = Get("Atlas", First);
    ASSERT_NE(nullptr, lower);
    ASSERT_NE(nullptr, upper);
    EXPECT_NE(lower, upper);
}

TEST_F(ArchiveManagerTest, AFailureIsLoggedAtEveryCallAndNotKept)
{
    EXPECT_EQ(nullptr, Get("atlas", First));
    mLog.ExpectFailures(FailureOf(mTree.Root(), "atlas", "1.0.0.0"));
    EXPECT_EQ(nullptr, Get("atlas", First));
    mLog.ExpectFailures(FailureOf(mTree.Root(), "atlas", "1.0.0.0"));

    WriteArchive("atlas", "1.0.0.0", "a");
    EXPECT_NE(nullptr, Get("atlas", First));
    mLog.ExpectFailures({});
}

TEST_F(ArchiveManagerTest, AMissingVersionOfAKnownProjectFailsAlone)
{
    WriteArchive("atlas", "1.0.0.0", "a");
    const ArchiveVersionManager *const manager = Get("atlas", First);
    EXPECT_EQ(nullptr, Get("atlas", Second));
    mLog.ExpectFailures(FailureOf(mTree.Root(), "atlas", "1.0.0.2"));
    EXPECT_EQ(manager, Get("atlas", First));
}

TEST_F(ArchiveManagerTest, TheDirectoryIsJoinedAsItStands)
{
    EXPECT_EQ(nullptr, mManager.GetVersionManager("", "no-such-project", First));
    mLog.ExpectFailures(FailureOf("", "no-such-project", "1.0.0.0"));

    WriteArchive("atlas", "1.0.0.0", "a");
    const ArchiveVersionManager *const manager = mManager.GetVersionManager(mTree.Root() + "/", "atlas", First);
    ASSERT_NE(nullptr, manager);
    EXPECT_EQ(mTree.Root() + "//projects/atlas/filearchives/1.0.0.0", manager->GetDirectory());
}

TEST_F(ArchiveManagerTest, ThreadsThatAskTogetherShareOneManager)
{
    WriteArchive("atlas", "1.0.0.0", "a");
    std::vector<const ArchiveVersionManager *> managers(4);
    std::vector<std::thread> threads;
    threads.reserve(managers.size());
    for (const ArchiveVersionManager *&manager : managers)
    {
        threads.emplace_back(
            [this, &manager]
            {
                manager = Get("atlas", First);
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    ASSERT_NE(nullptr, managers[0]);
    EXPECT_EQ(managers, std::vector<const ArchiveVersionManager *>(4, managers[0]));
}
} // namespace
} // namespace Keld::MORV::Reader
