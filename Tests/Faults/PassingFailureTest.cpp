#include "Faults/FaultRun.h"
#include "Tools/CheckedTree.h"

#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeMount/MountedFileSystem.h"
#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/DataFiles.h"
#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/ReleaseParts.h"

#include <atomic>
#include <new>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
using TreeReader::EntryIndex;
using TreeReader::View;

/// Follows a plan in this process, until the end of the scope.
class Armed
{
public:
    explicit Armed(const FaultPoint &point) : mPlan(point.Plan())
    {
        FaultFollow(&mPlan);
        mPlan.armed = 1;
    }
    ~Armed()
    {
        mPlan.armed = 0;
        FaultFollow(nullptr);
    }

    Armed(const Armed &) = delete;
    Armed &operator=(const Armed &) = delete;

    bool HasFailed() const { return mPlan.injected != 0; }

private:
    FaultPlan mPlan;
};

/// What the reading core and its neighbours make of calls that fail for a moment.
class PassingFailureTest : public CheckedTree
{
protected:
    View Open() { return std::move(*View::Open(mReader, {false, "game", Second})); }

    TreeReader::Tree mReader{mTree.Path("MORV")};
};

TEST_F(PassingFailureTest, AFileThatCannotBeLookedAtIsADoubtAndNotLeftOut)
{
    const View view = Open();
    const auto gather = [&]
    {
        return GatherParts(view, mTree.Path("MORV"), 1);
    };
    const std::size_t count = gather().parts.size();
    unsigned failures = 0;
    for (bool hasFailed = true; hasFailed; ++failures)
    {
        const Armed armed({FaultStat, failures + 1, 0});
        const TreeReader::ReleaseParts gathered = gather();
        hasFailed = armed.HasFailed();
        EXPECT_EQ(gathered.parts.size() + gathered.doubts.size(), count);
        EXPECT_EQ(gathered.doubts.size(), hasFailed ? 1U : 0U);
    }
    EXPECT_GT(failures, 5U);
}

TEST_F(PassingFailureTest, AFileThatIsThereAgainIsStillExplained)
{
    const View view = Open();
    const TreeReader::Release &release = view.GetRelease(0);
    const std::string path = GameReleases + "1.0.0.1/deploy/Data/naked.txt";
    const std::string bytes = mTree.Read(path);
    mTree.Remove(path);
    const std::vector<EntryIndex> missing = release.GetMissing(1);
    ASSERT_EQ(missing.size(), 1U);
    mTree.Write(path, bytes);
    EXPECT_EQ(release.ExplainMissing(missing.front()).GetMessage(),
              "Data/naked.txt: was not found a moment ago, though it is there now: try again");
}

TEST_F(PassingFailureTest, ADirectoryThatBreaksOffGivesNoNames)
{
    const std::string directory = mTree.Path("MORV/projects/game");
    unsigned failures = 0;
    for (bool hasFailed = true; hasFailed; ++failures)
    {
        const Armed armed({FaultReaddir, failures + 1, 0});
        const auto names = TreeReader::ReadNames(directory);
        hasFailed = armed.HasFailed();
        EXPECT_EQ(static_cast<bool>(names), !hasFailed);
    }
    EXPECT_GT(failures, 3U);
}

// Where a sanitizer has its own allocator, nothing fails and one round is made.
TEST_F(PassingFailureTest, AVisitThatRunsOutOfMemoryIsRefused)
{
    const std::string directory = mTree.Path("MORV");
    std::vector<std::string> expected;
    const auto visit = [&directory](std::vector<std::string> &paths)
    {
        return TreeReader::VisitTree(directory,
                                     [&paths](const std::string &path, const struct stat &)
                                     {
                                         paths.push_back(path);
                                         return true;
                                     });
    };
    ASSERT_FALSE(visit(expected));
    bool hasFailed = true;
    for (unsigned index = 1; hasFailed; ++index)
    {
        std::vector<std::string> paths;
        bool isRefused = false;
        const Armed armed({FaultMalloc, index, 0});
        try
        {
            isRefused = visit(paths).has_value();
        }
        catch (const std::bad_alloc &)
        {
            isRefused = true;
        }
        hasFailed = armed.HasFailed();
        EXPECT_EQ(isRefused, hasFailed) << index;
        EXPECT_TRUE(hasFailed || paths == expected);
    }
}

// An answer frees the request of libfuse, and a second one would do so again.
TEST_F(PassingFailureTest, AReadOfAMountThatRunsOutOfMemoryIsAnsweredOrThrown)
{
    const View view = Open();
    const TreeReader::Hit first = view.Find("new.l");
    bool hasFailed = true;
    for (unsigned index = 1; hasFailed; ++index)
    {
        TreeMount::MountedFileSystem fileSystem(std::move(*TreeMount::MountedTree::Make(view, "")), {},
                                                {.readsAhead = true}, [](const std::string &) {});
        int ends = 0;
        const auto read = [&](const TreeReader::Hit &file)
        {
            try
            {
                fileSystem.GetFiles().Read(file, 0, view.GetRelease(0).GetTree().GetFields(file.entry).size,
                                           [&ends](const TreeReader::Result<std::string_view> &)
                                           {
                                               ++ends;
                                           });
            }
            catch (const std::bad_alloc &)
            {
                ++ends;
            }
        };
        {
            const Armed armed({FaultMalloc, index, 0});
            read(first); // and ahead the files behind it
            hasFailed = armed.HasFailed();
        }
        EXPECT_EQ(ends, 1) << index;
        for (const char *path : {"new.l", "packed.l", "twin.z"})
        {
            read(view.Find(path));
        }
        EXPECT_EQ(ends, 4) << index;
    }
}

TEST_F(PassingFailureTest, AReleaseThatAnotherIsServedFromIsNeverReplaced)
{
    TreeWriter::PackRequest request = Request(TreeReader::Storage::Naked);
    request.replace = true;
    const std::string manifest = GameReleases + "1.0.0.0/releasemanifest";
    const std::string before = mTree.Read(manifest);
    for (const FaultCall call : {FaultStat, FaultOpendir, FaultReaddir})
    {
        bool hasFailed = true;
        for (unsigned index = 1; hasFailed; ++index)
        {
            const Armed armed({call, index, 0});
            EXPECT_THROW(TreeWriter::PackRelease(request), std::runtime_error) << FaultCallName(call) << " " << index;
            hasFailed = armed.HasFailed();
        }
        EXPECT_EQ(mTree.Read(manifest), before);
    }
}

TEST_F(PassingFailureTest, AVersionThatCannotBeLookedAtIsADoubtAndNotLeftOut)
{
    const std::string releases = mTree.Path("MORV/projects/game/releases");
    for (unsigned index = 1; index <= 2; ++index)
    {
        const Armed armed({FaultStat, index, 0});
        EXPECT_THROW(TreeReader::ListVersionDirectories(releases), TreeReader::TreeError);
        EXPECT_TRUE(armed.HasFailed());
    }
    EXPECT_EQ(TreeReader::ListVersionDirectories(releases).size(), 2U);
}

// A number that was free for a moment would be given to whoever asks next.
TEST_F(PassingFailureTest, AFileThatNoOtherCanReplaceKeepsItsNumber)
{
    using namespace MORV::Reader;
    const int lower = dup(STDIN_FILENO);
    const AsyncFile file = AsyncOpen(mTree.Path(Suite + "solutionmanifest").c_str());
    ASSERT_GT(static_cast<int>(file), lower);
    close(lower);
    {
        const Armed armed({FaultOpen, 1, 0});
        AsyncCloseKeepingNumber(file);
        EXPECT_TRUE(armed.HasFailed());
    }
    EXPECT_NE(fcntl(static_cast<int>(file), F_GETFD), -1);
    char byte = 0;
    EXPECT_FALSE(AsyncRead(file, 0, 1, nullptr, &byte));
    AsyncClose(file);
    EXPECT_EQ(fcntl(static_cast<int>(file), F_GETFD), -1);
}

TEST_F(PassingFailureTest, FewerThreadsDoTheSameWork)
{
    for (unsigned index = 1; index <= 3; ++index)
    {
        std::atomic<unsigned> done{0};
        const Armed armed({FaultThread, index, 0});
        Common::ForEachInParallel(4, 100,
                                  [&done](std::size_t)
                                  {
                                      ++done;
                                  });
        EXPECT_TRUE(armed.HasFailed());
        EXPECT_EQ(done, 100U);
    }
}
} // namespace
} // namespace Keld::Test
