#include "Tools/morv/PackOptions.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/TreeWriter/ArchiveWriter.h"

#include <algorithm>
#include <charconv>

namespace Keld::Morv
{
using TreeReader::Compression;
using TreeReader::Storage;
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
void RequireUseOfCompression(const PackRequest &request, Compression compression)
{
    const auto usesArchives = [](const StorageChoice &choice)
    {
        return choice.storage == Storage::Archive;
    };
    const bool used = usesArchives(request.choice) || std::any_of(request.rules.begin(), request.rules.end(),
                                                                  [&](const StorageRule &rule)
                                                                  {
                                                                      return usesArchives(rule.choice);
                                                                  });
    if (compression != Compression::None && !used)
    {
        throw UsageError("--compression is for archives: add --storage archive, or a --rule with archive");
    }
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

StorageRule ParseRule(const std::string &text, Compression compression)
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
    rule.choice.storage = StorageOption(choice.substr(0, colon));
    const bool isArchive = rule.choice.storage == Storage::Archive;
    if (colon != std::string::npos)
    {
        rule.choice.compression = CompressionOption(choice.substr(colon + 1));
    }
    else if (isArchive)
    {
        rule.choice.compression = compression;
    }
    if (!isArchive && rule.choice.compression != Compression::None)
    {
        throw UsageError("\"" + text + "\": only archives are compressed");
    }
    return rule;
}

PackRequest MakePackRequest(const PackOptions &options)
{
    PackRequest request;
    request.source = options.source;
    request.root = options.root;
    request.project = options.project;
    request.release = ParseVersionOption(options.release);
    const Compression compression =
        options.compression.empty() ? Compression::None : CompressionOption(options.compression);
    request.choice.storage = StorageOption(options.storage);
    if (request.choice.storage == Storage::Archive)
    {
        request.choice.compression = compression;
    }
    for (const std::string &rule : options.rules)
    {
        request.rules.push_back(ParseRule(rule, compression));
    }
    RequireUseOfCompression(request, compression);
    if (!options.archiveSize.empty())
    {
        request.archiveSize = ParseByteCount(options.archiveSize);
    }
    if (!options.base.empty())
    {
        request.base = ParseVersionOption(options.base);
    }
    request.replace = options.force;
    request.compressAlways = options.compressAlways;
    return request;
}
} // namespace Keld::Morv
