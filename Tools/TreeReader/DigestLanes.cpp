#include "Tools/TreeReader/DigestLanes.h"

#include "Tools/TreeReader/DigestSteps.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace Keld::TreeReader
{
namespace
{
constexpr uint32 FewLanes = 2; // with no more than that, one after the other is faster

/// One content on its way through a lane: its whole blocks, then what is left of it with the padding. It points into
/// itself, so it stays where it is.
class Work
{
public:
    Work() = default;
    Work(const Work &) = delete;
    Work &operator=(const Work &) = delete;

    void Begin(std::string_view content);
    void Advance(uint64 count);

    const char *GetData() const { return mData; }
    uint64 GetBlocks() const { return mBlocks; } ///< of the content or of the tail; 0 when all is done

private:
    void GoOnToTail();

    const char *mData = nullptr;
    uint64 mBlocks = 0;
    uint32 mTailBlocks = 0;
    std::array<char, std::size_t{2} * DigestBlockSize> mTail;
};

void Work::Begin(std::string_view content)
{
    constexpr uint32 lengthSize = sizeof(uint64);
    const uint_size left = content.size() % DigestBlockSize;
    mData = content.data();
    mBlocks = content.size() / DigestBlockSize;
    mTailBlocks = left < DigestBlockSize - lengthSize ? 1 : 2;
    mTail = {};
    content.copy(mTail.data(), left, content.size() - left);
    mTail[left] = '\x80';
    const uint64 bits = uint64{content.size()} * 8;
    for (uint32 byte = 0; byte < lengthSize; ++byte)
    {
        mTail[uint_size{mTailBlocks} * DigestBlockSize - lengthSize + byte] =
            static_cast<char>(bits >> (8 * byte) & 0xFF);
    }
    GoOnToTail();
}

void Work::Advance(uint64 count)
{
    mData += count * DigestBlockSize;
    mBlocks -= count;
    GoOnToTail();
}

void Work::GoOnToTail()
{
    if (mBlocks == 0)
    {
        mData = mTail.data();
        mBlocks = mTailBlocks;
        mTailBlocks = 0;
    }
}

class LaneSet
{
public:
    LaneSet(std::span<const std::string_view> contents, std::vector<Digest> &digests)
        : mContents(contents), mDigests(digests), mOrder(contents.size())
    {
        // The longest first, so that all lanes end together.
        std::iota(mOrder.begin(), mOrder.end(), uint_size{0});
        std::stable_sort(mOrder.begin(), mOrder.end(),
                         [this](uint_size left, uint_size right)
                         {
                             return mContents[left].size() > mContents[right].size();
                         });
    }

    void Run();

private:
    struct Lane
    {
        Work work;
        uint_size content = 0; ///< whose work it is
    };

    void Fill(uint32 lane);
    void Step();
    void FinishOne(uint32 lane);
    void TakeDigest(uint32 lane);

    uint32 GetNumber(uint32 lane, uint32 index) const
    {
        return mStates[lane / LanesPerGroup][index][lane % LanesPerGroup];
    }
    void SetNumber(uint32 lane, uint32 index, uint32 number)
    {
        mStates[lane / LanesPerGroup][index][lane % LanesPerGroup] = number;
    }

    std::span<const std::string_view> mContents;
    std::vector<Digest> &mDigests;
    std::vector<uint_size> mOrder;
    uint_size mNext = 0; ///< in mOrder
    uint32 mBusy = 0;    ///< lanes that have work
    LaneStates mStates = {};
    std::array<Lane, LaneCount> mLanes;
};

void LaneSet::Run()
{
    for (uint32 lane = 0; lane < LaneCount; ++lane)
    {
        Fill(lane);
    }
    while (mBusy > FewLanes)
    {
        Step();
    }
    for (uint32 lane = 0; lane < LaneCount; ++lane)
    {
        while (mLanes[lane].work.GetBlocks() != 0)
        {
            FinishOne(lane);
        }
    }
}

/// Gives a lane without work the next content, if there is one.
void LaneSet::Fill(uint32 lane)
{
    if (mNext == mOrder.size())
    {
        return;
    }
    mLanes[lane].content = mOrder[mNext++];
    mLanes[lane].work.Begin(mContents[mLanes[lane].content]);
    ++mBusy;
    for (uint32 index = 0; index < DigestStart.size(); ++index)
    {
        SetNumber(lane, index, DigestStart[index]);
    }
}

/// As many blocks as every lane has. A lane without work goes along with another's.
void LaneSet::Step()
{
    LanePointers data = {};
    uint64 count = 0;
    const char *any = nullptr;
    for (uint32 lane = 0; lane < LaneCount; ++lane)
    {
        const Work &work = mLanes[lane].work;
        if (work.GetBlocks() != 0)
        {
            data[lane] = work.GetData();
            any = work.GetData();
            count = count == 0 ? work.GetBlocks() : std::min(count, work.GetBlocks());
        }
    }
    std::replace(data.begin(), data.end(), static_cast<const char *>(nullptr), any);
    AddBlocks(mStates, data, count);
    for (uint32 lane = 0; lane < LaneCount; ++lane)
    {
        Work &work = mLanes[lane].work;
        if (work.GetBlocks() == 0)
        {
            continue;
        }
        work.Advance(count);
        if (work.GetBlocks() == 0)
        {
            TakeDigest(lane);
            Fill(lane);
        }
    }
}

/// The rest of a content by itself, without the other lanes.
void LaneSet::FinishOne(uint32 lane)
{
    Work &work = mLanes[lane].work;
    DigestState<uint32> state;
    for (uint32 index = 0; index < state.size(); ++index)
    {
        state[index] = GetNumber(lane, index);
    }
    while (work.GetBlocks() != 0)
    {
        const uint64 count = work.GetBlocks();
        AddBlocks(state, work.GetData(), count);
        work.Advance(count);
    }
    for (uint32 index = 0; index < state.size(); ++index)
    {
        SetNumber(lane, index, state[index]);
    }
    TakeDigest(lane);
    Fill(lane);
}

void LaneSet::TakeDigest(uint32 lane)
{
    --mBusy;
    Digest &digest = mDigests[mLanes[lane].content];
    for (uint32 byte = 0; byte < digest.size(); ++byte)
    {
        digest[byte] = static_cast<unsigned char>(GetNumber(lane, byte / 4) >> (byte % 4 * 8) & 0xFF);
    }
}
} // namespace

std::vector<Digest> DigestsOf(std::span<const std::string_view> contents)
{
    std::vector<Digest> digests(contents.size());
    LaneSet(contents, digests).Run();
    return digests;
}
} // namespace Keld::TreeReader
