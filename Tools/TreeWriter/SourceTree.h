#pragma once

#include "Tools/TreeReader/ReleaseContents.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::TreeWriter
{
struct SourceFile
{
    std::string path; ///< virtual: relative to the source folder, '/' between names
    uint64 size = 0;
};

/// What a folder holds, directories before what is in them, in ascending order without regard to case.
struct SourceTree
{
    std::filesystem::path root;
    std::vector<std::string> directories;
    std::vector<SourceFile> files;
};

/// Looks through a folder. Throws TreeError that names every entry a release cannot hold, with the reason: symbolic
/// links, devices and other special files, names that differ in case alone or hold a backslash, virtual paths over 1023
/// bytes, files over 4 GiB, and what cannot be read.
SourceTree ScanSource(const std::filesystem::path &source);

struct ContentSummary
{
    uint64 size = 0;
    TreeReader::Digest digest = {};

    bool operator==(const ContentSummary &) const = default;
};

/// Reads a file from its start to its end, in pieces. Throws TreeError when it cannot be read.
ContentSummary ReadContent(const std::filesystem::path &file, const std::function<void(std::string_view)> &sink);
} // namespace Keld::TreeWriter
