#pragma once

#include "Tools/TreeWriter/ArchiveWriter.h"

#include <memory>

namespace Keld::TreeWriter
{
/// The archives of one release: files share archives, up to a size; a file compressed with LZMA has one of its own,
/// since its first open closes the archive's data file for all that share it.
class ArchiveSet
{
public:
    ArchiveSet(std::filesystem::path directory, uint64 archiveSize);

    /// The archive that a file with `storedSize` bytes, at least one, is to be added to.
    ArchiveWriter &ForShared(uint64 storedSize);

    /// Writes an archive with this file alone.
    void AddAlone(const std::string &path, std::string_view stored);

    /// Adds an empty file to an archive that holds others. False when there is none: an archive of empty files alone
    /// would be deleted by the reader.
    bool AddEmpty(const std::string &path);

    void Finish();

    uint64 GetArchiveCount() const { return mSharedCount + mAloneCount; }

private:
    std::filesystem::path mDirectory;
    uint64 mArchiveSize;
    std::unique_ptr<ArchiveWriter> mShared;
    uint64 mSharedCount = 0;
    uint64 mAloneCount = 0;
};
} // namespace Keld::TreeWriter
