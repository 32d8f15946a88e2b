#pragma once

#include "Tools/Delivery/Sources/Source.h"

#include <optional>

// What every kind of source holds a download against.
namespace Keld::Delivery
{
/// Whether a download came in an earlier run, whole; then it is marked and told. One of another size is taken away.
bool IsBrought(Download &download, const DownloadPlace &place, const DownloadCalls &calls);

/// What a part is to be tagged with: empty for one that is not worth going on with.
/// \param identity of the source's file, in its own words
std::string MakeTag(const Download &download, uint64 size, const std::string &identity);

/// The size and the words that a tag holds; nothing for what is no tag.
struct TagContent
{
    uint64 size = 0;
    std::string identity;
};
std::optional<TagContent> ReadTag(const std::string &tag);

/// Refuses, by SourceError, a file with another size than the download expects, or than it allows.
/// \param name of the file, for the message
void RequireExpectedSize(const Download &download, const std::string &name, uint64 size);

/// Refuses, by SourceError, a file that is larger than it may be.
void RequireNotLarger(const std::string &name, uint64 size, uint64 limit);

/// Refuses, by SourceError, that a file is not there which must be.
void RequireMayLack(const Download &download, const std::string &name);
} // namespace Keld::Delivery
