#pragma once

#include "KeldMorvIO/listing/ProjectListing.h"

// Entries hold their own name and a parent link, and no path is stored anywhere. Whatever needs one walks from the leaf
// towards the root and hands each entry to a processor, which works on the right-hand end of a text: so a walk upward
// needs no reversal, no recursion and no allocation.
namespace Keld::MORV::Reader
{
/// Visits the entries of a walk to the root. Lives on the stack of the function that walks, and for one walk.
class ProjectListing::PathProcessor
{
public:
    /// True means: go on to the parent.
    virtual bool Process(const ProjectListing::FileEntry *entry) = 0;

protected:
    ~PathProcessor() = default;
};

/// Compares a wanted path with the path of an entry, without regard to ASCII case.
class PathMatcher final : public ProjectListing::PathProcessor
{
public:
    /// \param text borrowed. With a leading '/' it can match: callers refuse such a path beforehand.
    explicit PathMatcher(const char *text);

    bool Process(const ProjectListing::FileEntry *entry) override;

    /// Whether the entries offered so far make up the whole text. Asked at the end of a walk.
    bool IsFullMatch() const { return mFullMatch; }

private:
    const char *mBegin;
    const char *mEnd; ///< end of the part that is not yet matched
    bool mFullMatch = false;
};

/// Measures a path, without a terminator; one that is too long for its number has the highest.
class PathLengthProcessor final : public ProjectListing::PathProcessor
{
public:
    bool Process(const ProjectListing::FileEntry *entry) override;

    uint32 GetLength() const { return mLength; }

private:
    uint32 mLength = 0;
};

/// Writes a path from its right-hand end on.
class PathBuilder final : public ProjectListing::PathProcessor
{
public:
    /// \param begin start of the buffer.
    /// \param end where the path is to end: `begin` plus the length that a PathLengthProcessor gave for this walk.
    PathBuilder(char *begin, char *end) : mBegin(begin), mEnd(end) {}

    bool Process(const ProjectListing::FileEntry *entry) override;

private:
    char *mBegin;
    char *mEnd; ///< end of the part that is not yet written
};
} // namespace Keld::MORV::Reader
