#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/listing/ManifestTables.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"

#include <memory>

namespace Keld::MORV::Reader
{
/// Why an image is no release manifest.
enum class ManifestRefusal
{
    None,
    TooShort, ///< for magic and version word
    WrongMagic,
    UnknownVersion,
    Damaged ///< its tables or strings do not fit together
};

/// What became of an image.
struct ParsedImage
{
    std::unique_ptr<ReleaseManifest> manifest; ///< null when the image was refused
    const ManifestTables *tables = nullptr;    ///< of the manifest
    ManifestRefusal refusal = ManifestRefusal::None;
    uint32 version = 0; ///< the version word, where it was looked at
};

/// Bytes of the magic and the version word, which are looked at before anything else.
inline constexpr uint32 ManifestLeadSize = 8;

/// Checks and sorts the image of a manifest file, without a word in the log. A valid manifest takes the bytes over.
/// \throws std::length_error for a string count of ReleaseManifestStringLimit or more, std::bad_alloc.
ParsedImage ParseReleaseManifest(LargeVector<char> &image);
} // namespace Keld::MORV::Reader
