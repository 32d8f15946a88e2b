#pragma once

#include "Oracle/Decoding.h"
#include "Oracle/Disk.h"
#include "Oracle/ReleaseManifestRules.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// A data file as one listing has it open.
struct OpenData
{
    Disk::Content bytes;
    bool isClosed = false; ///< by the first open of an LZMA file in it, for good
};

/// A file or a directory of a listing.
struct ListedEntry
{
    std::string name;
    std::string path; ///< below the root, with its case
    bool isDirectory = false;
    std::uint32_t size = 0;

    // Of a directory.
    std::vector<ListedEntry *> children; ///< directories, then files, each in order
    bool hasOrder = true;                ///< no two children of one kind differ in case alone

    // Of a file: where its bytes are, and what is open.
    bool isArchived = false;
    std::string plainPath = {}; ///< on disk
    std::shared_ptr<OpenData> data = {};
    Compression compression = Compression::None;
    std::uint32_t offset = 0;
    std::uint32_t storedSize = 0;
    std::uint32_t openCount = 0;
    Disk::Content plain = {};                ///< while it is open
    std::optional<std::string> decoded = {}; ///< while it is open
};

/// What a read gives. A count that is not written stays away.
struct ReadAnswer
{
    bool isGood = false;
    std::optional<std::uint32_t> count = {};
    std::string bytes = {};
};

/// One project release.
class ListingRules
{
public:
    /// Null when no listing comes of it. Index files of no use go from the disk.
    static std::unique_ptr<ListingRules> Make(Disk &disk, const std::string &root, const std::string &releaseDirectory);

    /// All entries of a path. More than one have no order among them: any may be found.
    std::vector<ListedEntry *> Find(const std::string &path) const;

    const std::vector<std::unique_ptr<ListedEntry>> &Entries() const { return mEntries; }

    static bool Open(const Disk &disk, ListedEntry &entry);
    static void Close(ListedEntry &entry);
    static ReadAnswer Read(const ListedEntry &entry, std::uint64_t offset, std::uint32_t size);

    /// One line for each entry.
    std::string Text() const;

private:
    ListingRules() = default;

    std::string mRootName;
    std::vector<std::unique_ptr<ListedEntry>> mEntries; ///< the root is the first
    friend class ListingMaking;
};
} // namespace Keld::Test::Oracle
