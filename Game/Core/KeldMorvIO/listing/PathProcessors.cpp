#include "KeldMorvIO/listing/PathProcessors.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/ReaderTypes.h"

#include <algorithm>
#include <limits>

namespace Keld::MORV::Reader
{
PathMatcher::PathMatcher(const char *text) : mBegin(text), mEnd(text + std_strlen(text)) {}

bool PathMatcher::Process(const FileEntry *entry)
{
    return ProcessName(GetListingEntry(entry).mName);
}

bool PathMatcher::ProcessName(const char *name)
{
    // After a full match nothing is left to compare, so a further ancestor makes the entry's path longer than the text.
    // It is refused here, because the end does not move with the name that completes a match: against the text "b" the
    // parent of "b/b" would match the same "b" once more.
    const bool complete = mFullMatch;
    mFullMatch = false;
    if (complete)
    {
        return false;
    }

    const auto unmatched = static_cast<uint_size>(mEnd - mBegin);
    const uint_size length = std_strnlen(name, unmatched + 1); // a damaged manifest may have names of any length
    if (length > unmatched)
    {
        return false;
    }
    const char *position = mEnd - length;
    if (std_strnicmp(position, name, length) != 0)
    {
        return false;
    }
    if (position > mBegin)
    {
        if (position[-1] != '/')
        {
            return false;
        }
        --position;
        mEnd = position;
    }
    mFullMatch = position == mBegin;
    return true;
}

bool PathLengthProcessor::Process(const FileEntry *entry)
{
    const uint_size separator = mLength != 0 ? 1 : 0;
    const uint_size length = mLength + separator + std_strlen(GetListingEntry(entry).mName);
    mLength = static_cast<uint32>(std::min(length, uint_size{std::numeric_limits<uint32>::max()}));
    return true;
}

bool PathBuilder::Process(const FileEntry *entry)
{
    const char *const name = GetListingEntry(entry).mName;
    const uint_size length = std_strlen(name);
    if (length > static_cast<uint_size>(mEnd - mBegin))
    {
        // The measured length has no separator behind an empty leaf, so the names can need one byte more.
        return true;
    }
    char *const start = mEnd - length;
    std_memcpy(start, length, name, length);
    mEnd = start;
    if (start > mBegin)
    {
        --mEnd;
        *mEnd = '/';
    }
    return true;
}

bool EntryPaths::WalkToRoot(const FileEntry *entry, PathProcessor &processor)
{
    bool goOn = processor.Process(entry);
    const DirectoryEntry *ancestor = GetListingEntry(entry).mParent;
    while (goOn && ancestor != nullptr && ancestor->mEntry.mParent != nullptr)
    {
        goOn = processor.Process(AsFileEntry(ancestor));
        ancestor = ancestor->mEntry.mParent;
    }
    return goOn;
}

uint32 EntryPaths::GetPathLength(const FileEntry *entry)
{
    PathLengthProcessor measure;
    WalkToRoot(entry, measure);
    return measure.GetLength();
}

bool EntryPaths::GetFilePath(const FileEntry *entry, char *buffer, uint32 size)
{
    if (buffer == nullptr)
    {
        return false;
    }
    const uint32 length = GetPathLength(entry);
    if (length >= size)
    {
        return false;
    }
    buffer[length] = '\0';
    PathBuilder builder(buffer, buffer + length);
    WalkToRoot(entry, builder);
    return true;
}

std::string EntryPaths::GetFilePath(const FileEntry *entry)
{
    char buffer[PathBufferSize] = {};
    GetFilePath(entry, buffer, sizeof buffer);
    return buffer;
}
} // namespace Keld::MORV::Reader
