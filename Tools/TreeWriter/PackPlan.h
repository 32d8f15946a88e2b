#pragma once

#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/BaseRelease.h"
#include "Tools/TreeWriter/PackRequest.h"
#include "Tools/TreeWriter/SourceTree.h"

#include <optional>
#include <vector>

namespace Keld::TreeWriter
{
/// Content up to this size is held in memory whole; anything above is streamed in pieces.
inline constexpr uint64 LargestHeld = uint64{8} << 20;

/// Content of larger files is read, compressed and handed on in pieces of this size.
inline constexpr uint64 PieceSize = uint64{1} << 20;

/// Contents of small files are read and digested together, up to about so many bytes and files: side by side each
/// digest costs a fraction, and a processor's caches still hold them all.
inline constexpr uint64 BatchSize = uint64{2} << 20;
inline constexpr std::size_t MostInBatch = 1024;

/// One file of the release to be. `entry` is what the manifest will say; storing gives it its digest and may change its
/// flags, where compression does not pay and for empty files.
struct PlannedFile
{
    TreeReader::ReleaseFile entry;
    std::string source; ///< where its content is read, on the disk
    StorageChoice choice;
    const TreeReader::ReleaseFile *inBase = nullptr;    ///< the base's record of the path with the same size
    bool isTooLong = false;                             ///< the reader could not hold its path outside of archives
    bool canBeKept = false;                             ///< inBase lies where this release can refer to it
    std::size_t aloneNumber = 0;                        ///< of the archive that an LZMA file has to itself, from 1 on
    bool mayHaveTwin = false;                           ///< another file of the same size could share its stored form
    std::optional<TreeReader::Digest> knownDigest = {}; ///< of a large file that had to be read beforehand
    std::optional<std::size_t> twin = {};               ///< the earlier large file that has the same bytes

    bool kept = false; ///< nothing was stored: the bytes lie where the base has them

    bool IsLarge() const { return entry.size > LargestHeld; }
    bool IsUnchanged(const TreeReader::Digest &digest) const { return inBase != nullptr && inBase->digest == digest; }
};

class RuleBook;

/// The choice for one file by the rules of a request, and else by the base and by the request's own.
class StorageChooser
{
public:
    StorageChooser(const PackRequest &request, const BaseRelease &base, RuleBook &rules)
        : mRequest(request), mBase(base), mRules(rules)
    {
    }

    StorageChoice Choose(const std::string &path) const;

private:
    const PackRequest &mRequest;
    const BaseRelease &mBase;
    RuleBook &mRules;
};

/// Refuses, by TreeError, to store a file outside of archives where the reader could not hold its path on disk.
void RequireHeldPlain(const PlannedFile &file);

/// Decides for every file, from names and sizes alone, and refuses, by TreeError, what would end at a path on disk that
/// the reader cannot hold.
std::vector<PlannedFile> PlanRelease(const PackRequest &request, const TreeReader::TreePlaces &tree,
                                     const SourceTree &source, BaseRelease &base);
} // namespace Keld::TreeWriter
