#pragma once

#include "KeldMorvIO/listing/ManifestFileIterator.h"
#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"

#include <memory>
#include <string>
#include <vector>

namespace Keld::Test
{
/// A manifest made from bytes without the checks that come before the image's own.
template <class EntryType = MORV::Reader::FileTableEntry>
std::unique_ptr<MORV::Reader::ReleaseManifestTemplate<EntryType>> ParseManifest(const std::string &bytes)
{
    LargeVector<char> image(bytes.begin(), bytes.end());
    return std::make_unique<MORV::Reader::ReleaseManifestTemplate<EntryType>>(image);
}

/// The paths of a walk over a valid manifest, those of directories with a '/' at their end.
template <class EntryType>
std::vector<std::string> WalkManifest(const MORV::Reader::ReleaseManifestTemplate<EntryType> &manifest)
{
    std::vector<std::string> paths;
    LargeVector<uint32> parents;
    for (MORV::Reader::ManifestFileIterator entry(manifest, parents); entry.IsValid(); entry.Next())
    {
        paths.push_back(entry.GetFile() != nullptr ? entry.GetPath() : entry.GetPath() + "/");
    }
    return paths;
}
} // namespace Keld::Test
