#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "Tools/TreeWriter/FileOutput.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::TreeWriter
{
/// One stored file of an archive.
struct ArchivedFile
{
    std::string path;
    uint32 offset = 0; ///< bytes from the start of the data file
    uint32 size = 0;   ///< bytes of the stored form

    bool operator==(const ArchivedFile &) const = default;
};

/// The bytes of an archive index "<name>.vka". Records are put into the order that the reader searches by: hash, then
/// path without regard to case. Throws TreeError for two records of one path, and for sizes that add up to 0 modulo
/// 2^32: the reader deletes such an index.
std::string BuildArchiveIndex(const std::vector<ArchivedFile> &files);

/// Where a stored form lies in a data file.
struct ArchiveRange
{
    uint32 offset = 0;
    uint32 size = 0;
};

/// Writes an archive: the data file as files are added, the index at the end.
class ArchiveWriter
{
public:
    /// Data offsets and the sum of all sizes stay below this.
    static constexpr uint64 LargestSize = 0xFFFFFFFF;

    /// Makes "<directory>/<name>.vka.dat", and the directory too.
    ArchiveWriter(const std::filesystem::path &directory, const std::string &name);

    /// Starts a stored form that `Append` then fills, until the next `Begin` or `Finish`.
    void Begin(std::string path);
    void Append(std::string_view stored);

    /// Makes a file that was added last as if it had never been.
    void DropLast();

    /// Adds a file whose stored form is one that is there already. Not for LZMA, whose first open closes the data file.
    void Share(std::string path, ArchiveRange range);

    /// Whether the sizes of all records would still have a sum that the format can hold.
    bool CanShare(ArchiveRange range) const { return mSizeSum + range.size <= LargestSize; }

    /// Whether another stored form of that size has room, in the data file and in the sum of all sizes.
    bool HasRoom(uint64 storedSize) const { return std::max(GetSize(), mSizeSum) + storedSize <= LargestSize; }

    /// The stored form that was added last.
    ArchiveRange GetLast() const { return {mFiles.back().offset, mFiles.back().size}; }

    /// Bytes of the data file so far.
    uint64 GetSize() const { return mData.GetSize(); }

    const std::filesystem::path &GetDataPath() const { return mData.GetPath(); }
    static std::filesystem::path DataPath(const std::filesystem::path &directory, const std::string &name);

    /// Ends the data file. Records can still be added by Share and, for empty files, by Begin.
    void CloseData();

    /// Ends the data file, where that was not done, and writes the index.
    void Finish();

    /// Removes the data file. Nothing may be called after it.
    void Abandon();

private:
    std::filesystem::path mIndex;
    FileOutput mData;
    bool mDataClosed = false;
    uint64 mSizeSum = 0; ///< of all records; where forms are shared it exceeds the size of the data file
    std::vector<ArchivedFile> mFiles;
};
} // namespace Keld::TreeWriter
