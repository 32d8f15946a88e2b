#include "Tools/TreeMount/DecodedFiles.h"

#include <exception>
#include <iterator>
#include <new>

namespace Keld::TreeMount
{
using TreeReader::Failure;
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Result;

namespace
{
// Temporary files that are kept when nobody reads them.
constexpr uint_size SpilledKept = 4;

Result<DecodedFiles::Content> DecodeInto(std::unique_ptr<DecodedFile> file, const DecodedFiles::Decode &decode)
{
    const Failure failure = decode(
        [&file](std::string_view bytes)
        {
            file->Append(bytes);
        });
    return failure ? Result<DecodedFiles::Content>(*failure) : DecodedFiles::Content(std::move(file));
}

/// Whatever happens, those who wait for the content get an answer.
Result<DecodedFiles::Content> DecodeSafely(uint64 size, bool hasMemory, const DecodedFiles::Decode &decode)
{
    try
    {
        return DecodeInto(hasMemory ? DecodedFile::MakeInMemory(size) : DecodedFile::MakeOnDisk(size), decode);
    }
    catch (const std::bad_alloc &)
    {
        return Fault{FaultKind::ReadError, "memory",
                     "there is not enough of it to decode " + std::to_string(size) + " bytes"};
    }
    catch (const std::exception &error)
    {
        return Fault{FaultKind::ReadError, "decoding", error.what()};
    }
}

/// What befalls one of those who waited is not to keep the others, or the one who decoded, from their answers.
void AnswerWaiting(const std::vector<DecodedFiles::Taker> &waiting, const Result<DecodedFiles::Content> &result)
{
    for (const DecodedFiles::Taker &take : waiting)
    {
        try
        {
            take(result);
        }
        catch (const std::exception &)
        {
        }
    }
}
} // namespace

void DecodedFiles::Take(const Request &request, const Decode &decode, Taker take)
{
    std::unique_lock<std::mutex> lock(mMutex);
    const auto [place, isNew] = mSlots.try_emplace(request.key);
    Slot &slot = place->second;
    if (slot.content != nullptr)
    {
        const Result<Content> content(TakeKept(request, slot));
        lock.unlock();
        take(content);
        return;
    }
    if (!isNew)
    {
        slot.waiting.push_back(std::move(take));
        return;
    }
    const bool hasMemory = ReserveMemory(request.size);
    lock.unlock();
    const Result<Content> result = DecodeSafely(request.size, hasMemory, decode);
    AnswerWaiting(Finish(request, hasMemory, result), result);
    take(result);
}

void DecodedFiles::Prepare(Key key, uint64 size, const Decode &decode)
{
    const Request request{key, size, true};
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto [place, isNew] = mSlots.try_emplace(key);
        if (!isNew)
        {
            return;
        }
        if (!ReserveMemory(size))
        {
            mSlots.erase(place);
            return;
        }
    }
    const Result<Content> result = DecodeSafely(size, true, decode);
    AnswerWaiting(Finish(request, true, result), result);
}

DecodedFiles::Content DecodedFiles::TakeKept(const Request &request, const Slot &slot)
{
    Content content = slot.content;
    if (request.isLasting)
    {
        mLastUsed.splice(mLastUsed.begin(), mLastUsed, slot.place);
    }
    else
    {
        Drop(slot.place);
    }
    return content;
}

uint64 DecodedFiles::GetUsedMemory() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mUsed;
}

/// Gives up what was not used for longest until there is room. False when even that is not enough.
bool DecodedFiles::ReserveMemory(uint64 size)
{
    auto place = mLastUsed.end();
    while (mUsed + size > mCapacity && place != mLastUsed.begin())
    {
        const auto candidate = std::prev(place);
        if (mSlots.find(*candidate)->second.content->IsInMemory())
        {
            Drop(candidate);
        }
        else
        {
            place = candidate;
        }
    }
    const bool fits = mUsed + size <= mCapacity;
    mUsed += fits ? size : 0;
    return fits;
}

void DecodedFiles::Drop(std::list<Key>::iterator place)
{
    const auto slot = mSlots.find(*place);
    const DecodedFile &content = *slot->second.content;
    mUsed -= content.IsInMemory() ? content.GetSize() : 0;
    mSlots.erase(slot);
    mLastUsed.erase(place);
}

void DecodedFiles::DropSpilled()
{
    uint_size kept = 0;
    for (auto place = mLastUsed.begin(); place != mLastUsed.end();)
    {
        const auto next = std::next(place);
        const bool isSpilled = !mSlots.find(*place)->second.content->IsInMemory();
        kept += isSpilled ? 1 : 0;
        if (isSpilled && kept > SpilledKept)
        {
            Drop(place);
        }
        place = next;
    }
}

/// False where there is no memory to keep it in mind.
bool DecodedFiles::Keep(Slot &slot, Key key, const Content &content)
{
    try
    {
        mLastUsed.push_front(key);
    }
    catch (const std::bad_alloc &)
    {
        return false;
    }
    slot.content = content;
    slot.waiting.clear();
    slot.place = mLastUsed.begin();
    DropSpilled();
    return true;
}

/// Gives those who asked while the content was being decoded.
std::vector<DecodedFiles::Taker> DecodedFiles::Finish(const Request &request, bool hasMemory,
                                                      const Result<Content> &result)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto slot = mSlots.find(request.key);
    std::vector<Taker> waiting = std::move(slot->second.waiting);
    const bool isWanted = request.isLasting || !waiting.empty();
    if (result && isWanted && Keep(slot->second, request.key, *result))
    {
        return waiting;
    }
    mUsed -= hasMemory ? request.size : 0;
    mSlots.erase(slot);
    return waiting;
}
} // namespace Keld::TreeMount
