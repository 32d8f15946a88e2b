#pragma once

#include "Tools/TreeWriter/PackRequest.h"
#include "Tools/morv/CommandSet.h"

#include <optional>
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
    std::string storage;
    std::string compression;
    std::vector<std::string> rules;
    std::string ruleFile;
    std::vector<std::string> excludes;
    std::string filesFrom;
    std::string links = "refuse";
    int level = TreeWriter::DefaultLevel;
    std::string archiveSize;
    std::string base;
    bool force = false;
    bool compressAlways = false;
    bool dryRun = false;
    bool noSync = false;
    bool protect = false;
};

/// Throws UsageError, and TreeError when a file that it names cannot be read.
TreeWriter::PackRequest MakePackRequest(const PackOptions &options);

/// What a rule that names no compression gets.
struct RuleDefault
{
    std::optional<TreeReader::Compression> compression; ///< of the command line
    bool hasBase = false;                               ///< without one of the command line, a base may know it
};

/// "GLOB=STORAGE" or "GLOB=STORAGE:COMPRESSION". Throws UsageError.
TreeWriter::StorageRule ParseRule(const std::string &text, const RuleDefault &general);

/// A number of bytes, with K, M or G for powers of 1024: at least 1, below 4 GiB. Throws UsageError.
uint64 ParseByteCount(const std::string &text);

/// As TreeReader::ParseVersionText, but a UsageError.
MorvVersion ParseVersionOption(const std::string &text);

/// The root of the tree: what --root says, or else the environment's MORV_ROOT. Throws UsageError without either.
std::string ChooseRoot(const std::string &typed);
} // namespace Keld::Morv
