#include "Tools/TreeWriter/ArchiveWriter.h"

#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/TreeWriter/RecordBytes.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

#include <algorithm>

namespace Keld::TreeWriter
{
namespace
{
using namespace MORV::Reader;
using TreeReader::TreeError;

struct SortKey
{
    uint32 hash;
    std::string folded;
    const ArchivedFile *file;
    uint32 pathIndex = 0;

    bool operator<(const SortKey &other) const
    {
        return hash != other.hash ? hash < other.hash : folded < other.folded;
    }
};

std::vector<SortKey> SortForSearch(const std::vector<ArchivedFile> &files)
{
    std::vector<SortKey> keys;
    keys.reserve(files.size());
    for (const ArchivedFile &file : files)
    {
        keys.push_back({HashName(file.path.c_str()), TreeReader::FoldPath(file.path), &file});
    }
    std::sort(keys.begin(), keys.end());
    const auto twin = std::adjacent_find(keys.begin(), keys.end(),
                                         [](const SortKey &left, const SortKey &right)
                                         {
                                             return !(left < right);
                                         });
    if (twin != keys.end())
    {
        throw TreeError("an archive cannot hold two files of the path " + twin->file->path);
    }
    return keys;
}

/// The records' keys in the order of their paths. A reader that looks its files up in that order finds them in a row.
std::vector<const SortKey *> SortPaths(std::vector<SortKey> &keys)
{
    std::vector<SortKey *> sorted;
    sorted.reserve(keys.size());
    for (SortKey &key : keys)
    {
        sorted.push_back(&key);
    }
    std::sort(sorted.begin(), sorted.end(),
              [](const SortKey *left, const SortKey *right)
              {
                  return left->folded < right->folded;
              });
    for (uint32 index = 0; index < sorted.size(); ++index)
    {
        sorted[index]->pathIndex = index;
    }
    return {sorted.begin(), sorted.end()};
}

std::string BuildPathList(const std::vector<const SortKey *> &keys)
{
    std::string list;
    ArchivePathList head;
    head.reserved = 0;
    head.count = static_cast<uint32>(keys.size());
    AppendRecord(list, head);
    std::string texts;
    const uint_size textsAt = sizeof(ArchivePathList) + keys.size() * sizeof(ArchivePathEntry);
    for (const SortKey *const key : keys)
    {
        ArchivePathEntry entry;
        entry.stringOffset = static_cast<uint32>(textsAt + texts.size());
        entry.reserved = 0;
        AppendRecord(list, entry);
        texts.append(key->file->path).push_back('\0');
    }
    return list + texts;
}
} // namespace

std::string BuildArchiveIndex(const std::vector<ArchivedFile> &files)
{
    uint32 sizeSum = 0;
    for (const ArchivedFile &file : files)
    {
        sizeSum += file.size;
    }
    if (sizeSum == 0)
    {
        throw TreeError("an archive must hold at least one file that is not empty: the reader deletes any other");
    }

    std::vector<SortKey> keys = SortForSearch(files);
    const std::string pathList = BuildPathList(SortPaths(keys));
    ArchiveHeader header;
    header.magic = ArchiveMagic;
    header.version = ArchiveVersion;
    header.reserved = 0;
    header.fileListOffset = sizeof header;
    const uint64 pathListOffset = sizeof header + sizeof(Little32) + keys.size() * sizeof(ArchiveFileEntry);
    header.pathListOffset = static_cast<uint32>(pathListOffset);

    std::string image;
    AppendRecord(image, header);
    AppendRecord(image, Little32(static_cast<uint32>(keys.size())));
    for (const SortKey &key : keys)
    {
        ArchiveFileEntry entry;
        entry.hash = key.hash;
        entry.dataOffset = key.file->offset;
        entry.size = key.file->size;
        entry.pathIndex = key.pathIndex;
        AppendRecord(image, entry);
    }
    image += pathList;
    if (image.size() > ArchiveWriter::LargestSize)
    {
        throw TreeError("an archive index would exceed 4 GiB: make the archives smaller");
    }
    return image;
}

ArchiveWriter::ArchiveWriter(const std::filesystem::path &directory, const std::string &name)
    : mIndex(directory / (name + "." + ArchiveIndexExtension)), mData(DataPath(directory, name))
{
}

std::filesystem::path ArchiveWriter::DataPath(const std::filesystem::path &directory, const std::string &name)
{
    return directory / (name + "." + ArchiveIndexExtension + "." + ArchiveDataExtension);
}

void ArchiveWriter::Begin(std::string path)
{
    mFiles.push_back({std::move(path), static_cast<uint32>(GetSize()), 0});
}

void ArchiveWriter::Append(std::string_view stored)
{
    if (!HasRoom(stored.size()))
    {
        throw TreeError("an archive would exceed 4 GiB with " + mFiles.back().path +
                        ": store that file naked or managed");
    }
    mData.Write(stored);
    mSizeSum += stored.size();
    mFiles.back().size += static_cast<uint32>(stored.size());
}

void ArchiveWriter::DropLast()
{
    mSizeSum -= mFiles.back().size;
    mData.SetSize(mFiles.back().offset);
    mFiles.pop_back();
}

void ArchiveWriter::Share(std::string path, ArchiveRange range)
{
    mSizeSum += range.size;
    mFiles.push_back({std::move(path), range.offset, range.size});
}

void ArchiveWriter::CloseData()
{
    if (!mDataClosed)
    {
        mData.Close();
        mDataClosed = true;
    }
}

void ArchiveWriter::Finish()
{
    const std::string index = BuildArchiveIndex(mFiles);
    CloseData();
    WriteFile(mIndex, index);
    if (TreeReader::ReadWholeFile(mIndex) != index)
    {
        throw TreeError(mIndex.string() + ": what was written there cannot be read back");
    }
}

void ArchiveWriter::Abandon()
{
    CloseData();
    std::filesystem::remove(GetDataPath());
}
} // namespace Keld::TreeWriter
