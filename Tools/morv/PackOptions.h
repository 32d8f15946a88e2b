#pragma once

#include "Tools/TreeWriter/PackRequest.h"
#include "Tools/morv/CommandSet.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
/// The words of "morv pack" as they were typed.
struct PackOptions
{
    std::string source;
    std::string root;
    std::string project;
    std::string release;
    std::string storage = "naked";
    std::string compression;
    std::vector<std::string> rules;
    std::string archiveSize;
    std::string base;
    bool force = false;
    bool compressAlways = false;
};

/// Throws UsageError.
TreeWriter::PackRequest MakePackRequest(const PackOptions &options);

/// "GLOB=STORAGE" or "GLOB=STORAGE:COMPRESSION"; the compression left out is `compression`. Throws UsageError.
TreeWriter::StorageRule ParseRule(const std::string &text, TreeReader::Compression compression);

/// A number of bytes, with K, M or G for powers of 1024: at least 1, below 4 GiB. Throws UsageError.
uint64 ParseByteCount(const std::string &text);

/// As TreeReader::ParseVersionText, but a UsageError.
MorvVersion ParseVersionOption(const std::string &text);
} // namespace Keld::Morv
