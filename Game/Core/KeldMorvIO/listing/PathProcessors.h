#pragma once

#include "KeldMorvIO/listing/ListingRecords.h"

#include <string>

// Entries hold their own name and a parent link, and no path is stored anywhere. Whatever needs one walks from the leaf
// towards the root and hands each entry to a processor. Processors work on a text from its right-hand end, so that a
// walk upward needs no reversal, no recursion and no allocation.
namespace Keld::MORV::Reader
{
/// Visits the entries of a walk to the root. Lives on the stack of the function that walks, and for one walk.
class PathProcessor
{
public:
    /// True means: go on to the parent.
    virtual bool Process(const FileEntry *entry) = 0;

protected:
    ~PathProcessor() = default;
};

/// Compares a wanted path with the path of an entry, without regard to ASCII case.
class PathMatcher final : public PathProcessor
{
public:
    /// \param text borrowed. With a leading '/' it can match: callers refuse such a path beforehand.
    explicit PathMatcher(const char *text);

    bool Process(const FileEntry *entry) override;

    /// The same for whoever has names without entries: offers the next one upward.
    bool ProcessName(const char *name);

    /// Whether the entries offered so far make up the whole text. Asked at the end of a walk.
    bool IsFullMatch() const { return mFullMatch; }

private:
    const char *mBegin;
    const char *mEnd; ///< end of the part that is not yet matched
    bool mFullMatch = false;
};

/// Measures a path, without a terminator; one that is too long for its number has the highest.
class PathLengthProcessor final : public PathProcessor
{
public:
    bool Process(const FileEntry *entry) override;

    uint32 GetLength() const { return mLength; }

private:
    uint32 mLength = 0;
};

/// Writes a path from its right-hand end on.
class PathBuilder final : public PathProcessor
{
public:
    /// \param begin start of the buffer.
    /// \param end where the path is to end: `begin` plus the length that a PathLengthProcessor gave for this walk.
    PathBuilder(char *begin, char *end) : mBegin(begin), mEnd(end) {}

    bool Process(const FileEntry *entry) override;

private:
    char *mBegin;
    char *mEnd; ///< end of the part that is not yet written
};

/// The walk, and the virtual paths that it makes. ProjectListing gives these members on as its own.
class EntryPaths
{
public:
    /// Offers `entry` to the processor, then its ancestors without the root, until the processor refuses.
    /// \returns the last answer of the processor.
    static bool WalkToRoot(const FileEntry *entry, PathProcessor &processor);

    /// The length of an entry's virtual path, without a terminator.
    static uint32 GetPathLength(const FileEntry *entry);

    /// Writes an entry's virtual path with its terminator. False, with nothing written, for a null buffer and for a
    /// path that does not fit.
    static bool GetFilePath(const FileEntry *entry, char *buffer, uint32 size);

    /// The same as a text; empty when the path does not fit a path buffer.
    static std::string GetFilePath(const FileEntry *entry);
};
} // namespace Keld::MORV::Reader
