#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// A release manifest, word for word. Directory 0 is the root; children are numbers of records, in the order of the
/// file.
struct ReleaseManifestWords
{
    struct Directory
    {
        std::string name;
        std::vector<std::uint32_t> directories;
        std::vector<std::uint32_t> files;
    };

    struct File
    {
        std::string name;
        std::uint32_t version = 0;
        std::uint32_t flags = 0;
        std::uint32_t size = 0;
    };

    std::string project;
    std::uint32_t version = 0;
    std::vector<Directory> directories;
    std::vector<File> files;
};

/// The little-endian word at an offset that is known to lie in the bytes.
std::uint32_t WordAt(const std::string &bytes, std::size_t offset);

/// Nothing where the manifest is refused.
std::optional<ReleaseManifestWords> ReadReleaseManifest(const std::string &bytes);
} // namespace Keld::Test::Oracle
