#pragma once

#include "Tools/TreeMount/DecodedFile.h"
#include "Tools/TreeReader/ContentReader.h"

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace Keld::TreeMount
{
/// Keeps the compressed files that were read last in decoded form, and lets each be decoded by one thread at a time:
/// who asks meanwhile is answered when it is done, by the thread that decodes, and need not wait. What is decoded never
/// takes more memory than was allowed; what finds no room goes into a temporary file. Any thread may ask.
class DecodedFiles
{
public:
    using Key = uint64;
    using Content = std::shared_ptr<const DecodedFile>;
    using Taker = std::function<void(const TreeReader::Result<Content> &)>;

    /// Hands the whole content to the sink. Runs on the thread that asks first.
    using Decode = std::function<TreeReader::Failure(const TreeReader::ContentSink &)>;

    struct Request
    {
        Key key;
        uint64 size;    ///< bytes of the content
        bool isLasting; ///< more reads of it are to be expected: keep it; else give it up if it is kept
    };

    /// \param capacity bytes of memory for contents.
    explicit DecodedFiles(uint64 capacity) : mCapacity(capacity) {}

    /// Calls `take` once, now or later. A failure is not kept: the next one who asks decodes again. What `take` throws
    /// reaches the caller when it is called now, and nobody when it is called later.
    void Take(const Request &request, const Decode &decode, Taker take);

    /// Decodes a file that somebody is likely to ask for, unless it is there or being decoded, or finds no room in
    /// memory. Who asks meanwhile is answered when it is done, and who reads all of it takes it away.
    void Prepare(Key key, uint64 size, const Decode &decode);

    uint64 GetUsedMemory() const;

private:
    struct Slot
    {
        Content content; ///< null while it is being decoded
        std::vector<Taker> waiting;
        std::list<Key>::iterator place; ///< in mLastUsed, once there is content
    };
    using Slots = std::unordered_map<Key, Slot>;

    bool ReserveMemory(uint64 size);
    void Drop(std::list<Key>::iterator place);
    Content TakeKept(const Request &request, const Slot &slot);
    void DropSpilled();
    bool Keep(Slot &slot, Key key, const Content &content);
    std::vector<Taker> Finish(const Request &request, bool hasMemory, const TreeReader::Result<Content> &result);

    const uint64 mCapacity;
    mutable std::mutex mMutex; ///< guards what follows
    Slots mSlots;
    std::list<Key> mLastUsed; ///< of the slots with content, the last one used in front
    uint64 mUsed = 0;         ///< bytes of memory that contents take, those that are being decoded included
};
} // namespace Keld::TreeMount
