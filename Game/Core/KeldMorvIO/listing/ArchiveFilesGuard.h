#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/listing/FileArchiveMetadata.h"

namespace Keld::MORV::Reader
{
/// Holds the archive data files of a listing in the making, from before the first is opened: closes each once, unless
/// the listing takes them over. The records may be in any order, and are in another afterwards.
class ArchiveFilesGuard
{
public:
    explicit ArchiveFilesGuard(LargeVector<FileArchiveMetadata> &metadata) : mMetadata(&metadata) {}
    ~ArchiveFilesGuard();

    ArchiveFilesGuard(const ArchiveFilesGuard &) = delete;
    ArchiveFilesGuard &operator=(const ArchiveFilesGuard &) = delete;

    void Release() { mMetadata = nullptr; }

private:
    LargeVector<FileArchiveMetadata> *mMetadata;
};
} // namespace Keld::MORV::Reader
