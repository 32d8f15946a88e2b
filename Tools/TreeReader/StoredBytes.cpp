#include "Tools/TreeReader/StoredBytes.h"

#include <algorithm>

namespace Keld::TreeReader
{
bool StoredBytes::Read(const void *&data, uint32 &size)
{
    const uint32 chunk = std::min(mRemaining, MORV::Reader::InputChunkSize);
    const uint64 offset = mWidth == OffsetWidth::Bits32 ? static_cast<uint32>(mOffset) : mOffset;
    const Result<uint_size> count = mFile.ReadAt(offset, mBuffer, chunk);
    if (!count)
    {
        mFailure = count.GetFault();
        return false;
    }
    if (*count != chunk)
    {
        mFailure = Fault{FaultKind::EndsEarly, mFile.GetPath(),
                         "ends at byte " + std::to_string(mFile.GetSize()) + ", in the middle of a stored file", offset,
                         chunk};
        return false;
    }
    mOffset += chunk;
    mRemaining -= chunk;
    data = mBuffer;
    size = chunk;
    return true;
}
} // namespace Keld::TreeReader
