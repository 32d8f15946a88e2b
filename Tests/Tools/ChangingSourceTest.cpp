#include "Tools/PackFixture.h"

#include "Tools/TreeWriter/PackPlan.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

/// Lets all of a large file be read but the piece that is asked for first, and changes the file before that is read.
class LatePiece
{
public:
    LatePiece(std::function<void()> change, std::uint64_t size) : mChange(std::move(change)), mLeft(size) {}

    void Wait()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        if (!mPacks || mHasWaited)
        {
            return;
        }
        mHasWaited = true;
        mRead.wait(lock,
                   [this]
                   {
                       return mLeft <= TreeWriter::PieceSize;
                   });
        mChange();
    }

    void Begin()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mPacks = true;
    }

    void Count(std::uint64_t size)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLeft -= std::min(mLeft, size);
        mRead.notify_all();
    }

private:
    const std::function<void()> mChange;
    std::mutex mMutex; // guards what follows
    std::condition_variable mRead;
    std::uint64_t mLeft;
    bool mPacks = false;
    bool mHasWaited = false;
};

using ChangingSourceTest = PackFixture;

TEST_F(ChangingSourceTest, ALargeFileIsHeldAgainstItselfWhenAllThreadsHaveReadIt)
{
    constexpr std::size_t size = 9 * TreeWriter::PieceSize;
    const std::string path = mTree.Write("source/large", std::string(size, 'a'));
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
    LatePiece late(
        [&]
        {
            mTree.Write("source/large", std::string(size, 'b'));
        },
        size);
    TreeWriter::PackRequest request = Request(TreeReader::Storage::Archive);
    request.threadCount = 2;
    request.begin = [&late](TreeWriter::PackPhase, uint64)
    {
        late.Begin();
    };
    request.checkpoint = [&late]
    {
        late.Wait();
    };
    request.advance = [&late](uint64 bytes)
    {
        late.Count(bytes);
    };
    ExpectRefusal(request, "large: changed while it was");
    EXPECT_FALSE(mTree.Exists("MORV"));
}
} // namespace
} // namespace Keld::Test
