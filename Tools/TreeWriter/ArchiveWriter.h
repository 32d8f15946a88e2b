#pragma once

#include "Tools/TreeReader/ArchiveIndex.h"
#include "Tools/TreeWriter/FileOutput.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::TreeWriter
{
/// The bytes of an archive index "<name>.vka". Records are put into the order that the reader searches by: hash, then
/// path without regard to case. Throws TreeError for two records of one path, and for sizes that add up to 0 modulo
/// 2^32: the reader deletes such an index.
std::string BuildArchiveIndex(const std::vector<TreeReader::ArchivedFile> &files);

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

    /// Bytes of the data file so far.
    uint64 GetSize() const { return mData.GetSize(); }

    /// Ends the data file and writes the index.
    void Finish();

private:
    std::filesystem::path mIndex;
    FileOutput mData;
    std::vector<TreeReader::ArchivedFile> mFiles;
};
} // namespace Keld::TreeWriter
