#pragma once

#include "KeldMorvIO/listing/ListingRecords.h"

namespace Keld::MORV::Reader
{
/// Walks one directory's children: subdirectories first, then files, both ascending without regard to case. A plain
/// value, private to its user; stepping takes no lock.
class DirectoryIterator
{
public:
    /// Stands on the first child. Empty for null and for a file.
    explicit DirectoryIterator(const FileEntry *directory);

    bool IsValid() const;
    bool IsDirectory() const;

    /// The current child, or its name; null when not valid.
    const FileEntry *GetEntry() const;
    const char *GetName() const;

    /// Steps, and tells whether the iterator is still valid. An invalid one stays as it is.
    bool Next();

private:
    const DirectoryEntry *mDirectory;
    uint32 mPosition;
};
static_assert(std::is_trivially_copyable_v<DirectoryIterator>);
} // namespace Keld::MORV::Reader
