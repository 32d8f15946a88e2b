#pragma once

#include "KeldFoundation/CStd/PathLimit.h"

namespace Keld::MORV::Reader
{
/// A path made ready to be looked up in any number of listings: canonical, folded to lower case, hashed and split, all
/// in one pass over what the consumer gave. Lies on the stack; nothing is allocated.
class LookupPath
{
public:
    enum class Form
    {
        Consumer, ///< any separators, any number of them: read as CanonicalizePath reads it, a trailing one dropped
        Canonical ///< read as it stands
    };

    /// \param path not null. Only looked at during construction.
    LookupPath(const char *path, Form form);

    LookupPath(const LookupPath &) = delete;
    LookupPath &operator=(const LookupPath &) = delete;

    /// False for a path that does not fit a path buffer. Nothing else may be asked then.
    bool Fits() const { return mFits; }

    uint32 GetHash() const { return mHash; } ///< HashPathLower of the path

    const char *GetText() const { return mText; } ///< canonical, lower case
    uint32 GetLength() const { return mLength; }

    /// The names between the separators, from left to right. The empty path has one, which is empty.
    uint32 GetNameCount() const { return mNameCount; }
    const char *GetName(uint32 index) const { return mText + mNameStarts[index]; }
    uint32 GetNameLength(uint32 index) const { return mNameStarts[index + 1] - mNameStarts[index] - 1u; }

private:
    // Only what is in use is written: to clear all of it would cost more than to read a path.
    char mText[PathBufferSize + 1];         ///< room for a trailing separator, which is dropped
    uint16 mNameStarts[PathBufferSize + 2]; ///< offsets; behind that of the last name, where a further one would begin
    uint32 mNameCount;
    uint32 mLength;
    uint32 mHash;
    bool mFits;
};
} // namespace Keld::MORV::Reader
