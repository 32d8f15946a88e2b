#pragma once

#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <array>
#include <filesystem>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
using Digest = std::array<unsigned char, 16>;

/// 32 hexadecimal digits.
std::string DigestText(const Digest &digest);

/// One file of a release, as its manifest tells it.
struct ReleaseFile
{
    std::string path;
    MorvVersion version = 0; ///< the release that stored the bytes
    Digest digest = {};
    uint32 flags = 0;
    uint32 size = 0; ///< bytes of the content, uncompressed

    bool operator==(const ReleaseFile &) const = default;
};

/// A release manifest as plain values. Paths are virtual paths: '/' between names, none in front.
struct ReleaseContents
{
    std::string project;
    MorvVersion release = 0;
    uint32 formatVersion = MORV::Reader::ReleaseManifestVersion; ///< or ReleaseManifestVersionV0
    std::vector<std::string> directories; ///< without the root; parents of files need not be told
    std::vector<ReleaseFile> files;
};

class ManifestTree;

/// The values of a manifest. Directories and files come level by level, in the order of the tables. Left out are paths
/// too long to be asked for.
ReleaseContents MakeContents(const ManifestTree &tree);

/// A whole small file. Throws TreeError.
std::string ReadWholeFile(const std::filesystem::path &path);
} // namespace Keld::TreeReader
