#include "Tools/morv/PackOptions.h"

#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/TreeWriter/ArchiveWriter.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <unistd.h>

namespace Keld::Morv
{
using TreeReader::Compression;
using TreeReader::Storage;
using TreeWriter::LinkPolicy;
using TreeWriter::PackRequest;
using TreeWriter::StorageChoice;
using TreeWriter::StorageRule;

namespace
{
Storage StorageOption(const std::string &text)
{
    const auto storage = TreeReader::ParseStorage(text);
    if (!storage)
    {
        throw UsageError("\"" + text + "\" is no storage: naked, managed or archive");
    }
    return *storage;
}

Compression CompressionOption(const std::string &text)
{
    const auto compression = TreeReader::ParseCompression(text);
    if (!compression)
    {
        throw UsageError("\"" + text + "\" is no compression: none, zlib or lzma");
    }
    return *compression;
}

/// Only archives are compressed: a compression that no file can get was meant otherwise.
void RequireUseOfCompression(const PackRequest &request, const std::optional<Compression> &compression)
{
    const auto usesArchives = [](const StorageRule &rule)
    {
        return rule.choice.storage == Storage::Archive;
    };
    const bool used = request.inheritStorage || request.choice.storage == Storage::Archive ||
                      std::any_of(request.rules.begin(), request.rules.end(), usesArchives);
    if (compression && *compression != Compression::None && !used)
    {
        throw UsageError("--compression is for archives: add --storage archive, or a --rule with archive");
    }
}

Common::Glob ParseGlob(const std::string &pattern)
{
    try
    {
        return Common::Glob(pattern);
    }
    catch (const Common::GlobError &error)
    {
        throw UsageError(error.what());
    }
}

std::string ReadStandardInput()
{
    std::string text;
    char buffer[65536];
    while (const std::size_t size = std::fread(buffer, 1, sizeof buffer, stdin))
    {
        text.append(buffer, size);
    }
    if (std::ferror(stdin) != 0)
    {
        throw TreeReader::TreeError(std::string("standard input cannot be read: ") + std::strerror(errno));
    }
    return text;
}

std::vector<std::string> Split(const std::string &text, char separator)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        if (end > begin)
        {
            parts.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return parts;
}

/// One path a line; or, where the list holds a NUL, as "find -print0" writes it.
std::vector<std::string> ReadFileList(const std::string &file)
{
    const std::string text = file == "-" ? ReadStandardInput() : TreeReader::ReadWholeFile(file);
    return Split(text, text.find('\0') != text.npos ? '\0' : '\n');
}

void AddRulesOfFile(const std::string &file, const RuleDefault &general, std::vector<StorageRule> &rules)
{
    std::size_t number = 0;
    std::istringstream lines(TreeReader::ReadWholeFile(file));
    for (std::string line; std::getline(lines, line);)
    {
        ++number;
        const std::size_t begin = line.find_first_not_of(" \t");
        const std::size_t end = line.find_last_not_of(" \t\r");
        if (begin == line.npos || line[begin] == '#')
        {
            continue;
        }
        try
        {
            rules.push_back(ParseRule(line.substr(begin, end - begin + 1), general));
        }
        catch (const UsageError &error)
        {
            throw UsageError(file + ", line " + std::to_string(number) + ": " + error.what());
        }
    }
}

void ChooseSource(const PackOptions &options, PackRequest &request)
{
    request.source = options.source;
    request.sourceOptions.links = options.links == "follow" ? LinkPolicy::Follow
                                  : options.links == "skip" ? LinkPolicy::Skip
                                                            : LinkPolicy::Refuse;
    for (const std::string &pattern : options.excludes)
    {
        request.sourceOptions.excludes.push_back(ParseGlob(pattern));
    }
    if (options.source == "-")
    {
        request.tarStream = STDIN_FILENO;
        if (!options.filesFrom.empty() || options.dryRun)
        {
            throw UsageError("a tar stream is packed whole and read once: --files-from and --dry-run need a folder");
        }
        if (isatty(STDIN_FILENO) == 1)
        {
            throw UsageError("pack - reads a tar stream from standard input, as in: tar -C art -c . | morv pack - ...");
        }
    }
    else if (!options.filesFrom.empty())
    {
        request.sourceOptions.only = ReadFileList(options.filesFrom);
    }
}

/// What is not said is as it is in the base.
void ChooseStorage(const PackOptions &options, PackRequest &request)
{
    RuleDefault general;
    general.hasBase = request.base.has_value();
    if (!options.compression.empty())
    {
        general.compression = CompressionOption(options.compression);
    }
    request.choice.storage = options.storage.empty() ? Storage::Naked : StorageOption(options.storage);
    request.choice.compression = general.compression.value_or(Compression::None);
    request.inheritStorage = general.hasBase && options.storage.empty();
    request.inheritCompression = general.hasBase && !general.compression;
    for (const std::string &rule : options.rules)
    {
        request.rules.push_back(ParseRule(rule, general));
    }
    if (!options.ruleFile.empty())
    {
        AddRulesOfFile(options.ruleFile, general, request.rules);
    }
    RequireUseOfCompression(request, general.compression);
}
} // namespace

MorvVersion ParseVersionOption(const std::string &text)
{
    try
    {
        return TreeReader::ParseVersionText(text);
    }
    catch (const TreeReader::TreeError &error)
    {
        throw UsageError(error.what());
    }
}

uint64 ParseByteCount(const std::string &text)
{
    uint64 count = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, count);
    const std::string unit(rest, end);
    const std::size_t power = unit.empty() ? 0 : std::string(" KMG").find(unit);
    const bool valid = error == std::errc() && unit.size() <= 1 && unit != " " && power != std::string::npos &&
                       count >= 1 && count <= TreeWriter::ArchiveWriter::LargestSize >> (10 * power);
    if (!valid)
    {
        throw UsageError("\"" + text + "\" is no archive size: 1 to 4294967295 bytes, or as in 512K, 64M, 1G");
    }
    return count << (10 * power);
}

StorageRule ParseRule(const std::string &text, const RuleDefault &general)
{
    const std::size_t equals = text.rfind('=');
    if (equals == std::string::npos || equals == 0)
    {
        throw UsageError("\"" + text +
                         "\" is no rule: GLOB=STORAGE or GLOB=STORAGE:COMPRESSION, as in "
                         "'*.dds=archive:lzma'");
    }
    const std::string choice = text.substr(equals + 1);
    const std::size_t colon = choice.find(':');
    StorageRule rule;
    rule.glob = text.substr(0, equals);
    if (ParseGlob(rule.glob).IsForDirectories())
    {
        throw UsageError("\"" + text + "\": rules are for files: write " + rule.glob + "** for all below a directory");
    }
    rule.choice.storage = StorageOption(choice.substr(0, colon));
    const bool isArchive = rule.choice.storage == Storage::Archive;
    if (colon != std::string::npos)
    {
        rule.choice.compression = CompressionOption(choice.substr(colon + 1));
    }
    else if (isArchive)
    {
        rule.choice.compression = general.compression.value_or(Compression::None);
        rule.inheritCompression = !general.compression && general.hasBase;
    }
    if (!isArchive && rule.choice.compression != Compression::None)
    {
        throw UsageError("\"" + text + "\": only archives are compressed");
    }
    return rule;
}

std::string ChooseRoot(const std::string &typed)
{
    const char *root = std::getenv("MORV_ROOT");
    if (!typed.empty())
    {
        return typed;
    }
    if (root == nullptr || *root == '\0')
    {
        throw UsageError("--root is required, or the variable MORV_ROOT: the deployment tree, a directory named MORV");
    }
    return root;
}

PackRequest MakePackRequest(const PackOptions &options)
{
    PackRequest request;
    request.root = ChooseRoot(options.root);
    request.project = options.project;
    request.release = ParseVersionOption(options.release);
    ChooseSource(options, request);
    if (!options.base.empty())
    {
        request.base = ParseVersionOption(options.base);
    }
    ChooseStorage(options, request);
    if (!options.archiveSize.empty())
    {
        request.archiveSize = ParseByteCount(options.archiveSize);
    }
    request.level = options.level;
    request.replace = options.force;
    request.compressAlways = options.compressAlways;
    request.dryRun = options.dryRun;
    request.sync = !options.noSync;
    request.protect = options.protect;
    return request;
}
} // namespace Keld::Morv
