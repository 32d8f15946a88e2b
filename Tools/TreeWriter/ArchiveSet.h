#pragma once

#include "Tools/TreeWriter/ArchiveWriter.h"

#include <memory>
#include <vector>

namespace Keld::TreeWriter
{
/// The archives of one release that files share. Their indexes are written at the end, so that a file may share a
/// stored form with any before it.
class ArchiveSet
{
public:
    /// \param archiveSize bytes of data from which on the next file starts another archive
    ArchiveSet(std::filesystem::path directory, uint64 archiveSize);

    /// The archive that a file with `storedSize` bytes, at least one, is to be added to. It lives as long as the set.
    ArchiveWriter &ForShared(uint64 storedSize);

    /// The same for a file whose stored size shows only when it was added; at most `mostSize`, or it is dropped again.
    ArchiveWriter &ForStream(uint64 mostSize);

    /// Adds an empty file to an archive that holds others. False when there is none: an archive of empty files alone
    /// would be deleted by the reader.
    bool AddEmpty(const std::string &path);

    /// Ends all archives and writes their indexes. A set that got nothing leaves nothing.
    void Finish();

    uint64 GetArchiveCount() const { return mArchives.size(); }

private:
    ArchiveWriter &Next();

    std::filesystem::path mDirectory;
    uint64 mArchiveSize;
    std::vector<std::unique_ptr<ArchiveWriter>> mArchives; ///< only the last takes data
};
} // namespace Keld::TreeWriter
