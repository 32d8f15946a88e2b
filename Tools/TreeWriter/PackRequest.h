#pragma once

#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeWriter/Compression.h"
#include "Tools/TreeWriter/SourceTree.h"

#include "KeldFoundation/version/MorvVersion.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Keld::TreeWriter
{
struct StorageChoice
{
    TreeReader::Storage storage = TreeReader::Storage::Naked;
    TreeReader::Compression compression = TreeReader::Compression::None; ///< for archives alone

    bool operator==(const StorageChoice &) const = default;
};

/// Which files go where. The pattern is one of Common::Glob.
struct StorageRule
{
    std::string glob;
    StorageChoice choice;
    bool inheritCompression = false; ///< in an archive a path keeps the compression that it has in the base
};

inline constexpr uint64 DefaultArchiveSize = uint64{1} << 30;

/// What a packing is at.
enum class PackPhase
{
    Comparing, ///< large files are read that may have to be stored or not
    Packing,
    Checking ///< what was written is read back
};

/// One release to be made from a folder or a tar stream.
struct PackRequest
{
    std::filesystem::path source; ///< the folder
    int tarStream = -1;           ///< a descriptor from which a tar stream is read in place of the folder; borrowed
    std::filesystem::path root;   ///< the directory named "MORV"
    std::string project;
    MorvVersion release = 0;
    SourceOptions sourceOptions = {};
    StorageChoice choice = {};               ///< for files that no rule names
    bool inheritStorage = false;             ///< a path keeps the storage that it has in the base, before `choice`
    bool inheritCompression = false;         ///< and in an archive its compression
    std::vector<StorageRule> rules = {};     ///< the first that matches decides
    int level = DefaultLevel;                ///< LeastLevel to MostLevel
    uint64 archiveSize = DefaultArchiveSize; ///< bytes of data from which on the next file starts another archive
    std::optional<MorvVersion> base = {};    ///< an earlier release: what did not change is served from its files
    bool replace = false;                    ///< take the place of an existing release
    bool compressAlways = false;             ///< compress also where the result is no smaller
    bool longRecords = false;                ///< write the manifest in the older format, which has longer records
    bool sync = true;                        ///< bring the release to disk before it is seen; false is for tests
    bool protect = false;                    ///< leave the archives in a directory that nobody may write
    bool dryRun = false;                     ///< only tell what would be done
    unsigned threadCount = 1;                ///< the release does not depend on it

    /// Told what is worth knowing and no failure, one sentence each.
    std::function<void(const std::string &)> note = [](const std::string &) {};

    /// Called when a phase begins, with the bytes of content that it goes through.
    std::function<void(PackPhase, uint64)> begin = [](PackPhase, uint64) {};

    /// Called with the bytes that a phase has gone through since the last call. By any thread.
    std::function<void(uint64)> advance = [](uint64) {};

    /// Called again and again, by any thread. What it throws ends the packing, and nothing of it stays.
    std::function<void()> checkpoint = [] {};

    /// Called before each step of publishing that changes the tree; for tests.
    std::function<void()> publishStep = [] {};
};
} // namespace Keld::TreeWriter
