#include "KeldMorvIO/blocks/AsyncRequest.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <sys/mman.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
/// Room for a read of gigabytes that takes little memory: one small file in memory, mapped again and again.
class RepeatedRoom
{
public:
    explicit RepeatedRoom(std::size_t size) : mSize(size)
    {
        const int file = memfd_create("room", MFD_CLOEXEC);
        EXPECT_EQ(ftruncate(file, Step), 0);
        mData = static_cast<char *>(mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        for (std::size_t offset = 0; offset < size; offset += Step)
        {
            const std::size_t step = std::min<std::size_t>(Step, size - offset);
            EXPECT_NE(mmap(mData + offset, step, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0), MAP_FAILED);
        }
        close(file);
    }
    ~RepeatedRoom() { munmap(mData, mSize); }
    RepeatedRoom(const RepeatedRoom &) = delete;
    RepeatedRoom &operator=(const RepeatedRoom &) = delete;

    void *Data() const { return mData; }

private:
    static constexpr off_t Step = off_t{4} << 20;

    std::size_t mSize;
    char *mData;
};

TEST(LargeTransferTest, DeliversAtMostWhatThePlatformTransfersAtATime)
{
    const int hole = memfd_create("hole", MFD_CLOEXEC);
    ASSERT_EQ(ftruncate(hole, off_t{3} << 30), 0);
    const RepeatedRoom room(0x80001000);
    for (const uint32 size : {0x7FFFF000U, 0x7FFFF001U, 0x80001000U})
    {
        AsyncRequest *const request = AsyncBeginRead(static_cast<AsyncFile>(hole), 5, size, room.Data());
        ASSERT_NE(request, nullptr);
        EXPECT_EQ(AsyncGetBytesRead(request), 0x7FFFF000) << size;
        EXPECT_EQ(AsyncGetError(request), 0) << size;
        AsyncRelease(request);
    }
    close(hole);
}
} // namespace
} // namespace Keld::MORV::Reader
