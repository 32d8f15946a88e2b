#pragma once

#include "Tools/TreeReader/Storage.h"

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

/// Which files go where. A pattern without '/' is held against the file's name, one with '/' against its whole virtual
/// path; '*' and '?' match '/' too, and case does not count.
struct StorageRule
{
    std::string glob;
    StorageChoice choice;
};

inline constexpr uint64 DefaultArchiveSize = uint64{1} << 30;

/// One release to be made from a folder.
struct PackRequest
{
    std::filesystem::path source;
    std::filesystem::path root; ///< the directory named "MORV"
    std::string project;
    MorvVersion release = 0;
    StorageChoice choice = {};               ///< for files that no rule names
    std::vector<StorageRule> rules = {};     ///< the first that matches decides
    uint64 archiveSize = DefaultArchiveSize; ///< bytes of data from which on the next file starts another archive
    std::optional<MorvVersion> base = {};    ///< an earlier release: what did not change is served from its files
    bool replace = false;                    ///< take the place of an existing release
    bool compressAlways = false;             ///< compress also where the result is no smaller
    bool longRecords = false;                ///< write the manifest in the older format, which has longer records

    bool sync = true; ///< bring the release to disk before it is seen; false is for tests

    /// Told what is worth knowing and no failure, one sentence each.
    std::function<void(const std::string &)> note = [](const std::string &) {};

    /// Called before each step of publishing that changes the tree; for tests.
    std::function<void()> publishStep = [] {};

    /// Called again and again while content is read. What it throws ends the packing, and nothing of it stays.
    std::function<void()> checkpoint = [] {};
};
} // namespace Keld::TreeWriter
