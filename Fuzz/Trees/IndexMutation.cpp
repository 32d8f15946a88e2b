#include "Trees/IndexMutation.h"

#include "Mutation/ByteMutation.h"
#include "Trees/RecordBytes.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/file/ByteView.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>

#include <strings.h>

namespace Keld::Fuzz
{
namespace
{
using namespace MORV::Reader;

constexpr std::size_t MostIndexGrowth = 256; // bytes

/// One file of an index.
struct IndexedFile
{
    ArchiveFileEntry record;
    std::string path;
};

std::optional<std::vector<IndexedFile>> ReadIndex(const std::string &bytes)
{
    const ByteView view(bytes.data(), bytes.size());
    const auto *header = view.Records<ArchiveHeader>(0, 1);
    if (header == nullptr || header->magic != ArchiveMagic)
    {
        return std::nullopt;
    }
    const auto *count = view.Records<Little32>(header->fileListOffset, 1);
    const auto *paths = view.Records<ArchivePathList>(header->pathListOffset, 1);
    if (count == nullptr || paths == nullptr)
    {
        return std::nullopt;
    }
    const auto *records = view.Records<ArchiveFileEntry>(uint_size{header->fileListOffset} + sizeof *count, *count);
    const auto *entries =
        view.Records<ArchivePathEntry>(uint_size{header->pathListOffset} + sizeof *paths, paths->count);
    if (records == nullptr || entries == nullptr)
    {
        return std::nullopt;
    }
    std::vector<IndexedFile> files;
    for (uint32 index = 0; index < *count; ++index)
    {
        IndexedFile file{records[index], ""};
        const uint_size start = file.record.pathIndex < paths->count
                                    ? uint_size{header->pathListOffset} + entries[file.record.pathIndex].stringOffset
                                    : bytes.size();
        if (start < bytes.size())
        {
            file.path = bytes.substr(start, std::min(bytes.find('\0', start), bytes.size()) - start);
        }
        files.push_back(std::move(file));
    }
    return files;
}

bool Precedes(const IndexedFile &left, const IndexedFile &right)
{
    if (left.record.hash != right.record.hash)
    {
        return left.record.hash < right.record.hash;
    }
    return strcasecmp(left.path.c_str(), right.path.c_str()) < 0;
}

/// \param isSorted true for records in the order that a search needs
std::string WriteIndex(std::vector<IndexedFile> files, bool isSorted)
{
    const auto count = static_cast<uint32>(files.size());
    if (isSorted)
    {
        std::stable_sort(files.begin(), files.end(), Precedes);
    }
    std::string bytes;
    const auto pathList =
        static_cast<uint32>(sizeof(ArchiveHeader) + sizeof(Little32) + count * sizeof(ArchiveFileEntry));
    AppendRecord(bytes, ArchiveHeader{ArchiveMagic, ArchiveVersion, 0, uint32{sizeof(ArchiveHeader)}, pathList});
    AppendRecord(bytes, Little32(count));
    for (uint32 index = 0; index < count; ++index)
    {
        files[index].record.pathIndex = index;
        AppendRecord(bytes, files[index].record);
    }
    AppendRecord(bytes, ArchivePathList{0, count});
    auto place = static_cast<uint32>(sizeof(ArchivePathList) + count * sizeof(ArchivePathEntry));
    for (const IndexedFile &file : files)
    {
        AppendRecord(bytes, ArchivePathEntry{place, 0});
        place += static_cast<uint32>(file.path.size() + 1);
    }
    for (const IndexedFile &file : files)
    {
        bytes += file.path;
        bytes += '\0';
    }
    return bytes;
}

void ChangePath(std::string &path, Random &random, const std::vector<std::string> &words)
{
    switch (random.Below(3))
    {
    case 0:
        path = random.Pick(words);
        break;
    case 1:
        path.insert(random.Below(path.size() + 1), "/");
        break;
    default:
        MutateBytes(path, random, path.size() + 8);
        std::erase(path, '\0');
        break;
    }
}

void ChangeFiles(std::vector<IndexedFile> &files, Random &random, const std::vector<std::string> &words)
{
    if (files.empty())
    {
        files.push_back({ArchiveFileEntry{0, 0, 1, 0}, random.Pick(words)});
    }
    IndexedFile &file = random.Pick(files);
    const bool keepsHash = random.OneIn(8);
    switch (random.Below(6))
    {
    case 0:
        file.record.dataOffset = OddNumber(file.record.dataOffset, random);
        break;
    case 1:
        file.record.size = OddNumber(file.record.size, random);
        break;
    case 2:
        ChangePath(file.path, random, words);
        break;
    case 3:
        files.push_back(IndexedFile(file));
        break;
    case 4:
        file = IndexedFile(files.back());
        files.pop_back();
        break;
    default:
        std::swap(file.record, random.Pick(files).record);
        break;
    }
    for (IndexedFile &indexed : files)
    {
        indexed.record.hash = keepsHash ? uint32{indexed.record.hash} : HashName(indexed.path.c_str());
    }
}

/// A number of the head, of a record or of a path's entry becomes an odd one.
void ChangeNumber(std::string &bytes, Random &random)
{
    const std::size_t words = bytes.size() / sizeof(Little32);
    if (words != 0)
    {
        const std::size_t place = random.Below(random.OneIn(2) ? std::min<std::size_t>(words, 6) : words);
        Little32 number;
        std::memcpy(&number, bytes.data() + place * sizeof number, sizeof number);
        number = OddNumber(number, random);
        std::memcpy(bytes.data() + place * sizeof number, &number, sizeof number);
    }
}
} // namespace

void MutateIndex(std::string &bytes, Random &random, const std::vector<std::string> &words)
{
    std::optional<std::vector<IndexedFile>> files = ReadIndex(bytes);
    if (!files || random.OneIn(8))
    {
        MutateBytes(bytes, random, bytes.size() + MostIndexGrowth);
        return;
    }
    if (random.OneIn(4))
    {
        ChangeNumber(bytes, random);
        return;
    }
    ChangeFiles(*files, random, words);
    bytes = WriteIndex(std::move(*files), !random.OneIn(16));
}
} // namespace Keld::Fuzz
