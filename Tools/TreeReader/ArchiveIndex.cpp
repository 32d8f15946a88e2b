#include "Tools/TreeReader/ArchiveIndex.h"

#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/file/ByteView.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

namespace Keld::TreeReader
{
using namespace MORV::Reader;

namespace
{
[[noreturn]] void Refuse(const std::filesystem::path &path)
{
    throw TreeError(path.string() + " is no archive index, or a damaged one: pack the release again");
}
} // namespace

std::vector<ArchivedFile> ReadArchiveIndex(const std::filesystem::path &path)
{
    const std::string image = ReadWholeFile(path);
    const ByteView view(image.data(), image.size());

    const ArchiveHeader *header = view.At<ArchiveHeader>(0);
    if (header == nullptr || header->magic != ArchiveMagic || header->version != ArchiveVersion)
    {
        Refuse(path);
    }
    const uint_size pathsAt = header->pathListOffset;
    const Little32 *count = view.At<Little32>(header->fileListOffset);
    const ArchivePathList *paths = view.At<ArchivePathList>(pathsAt);
    if (count == nullptr || paths == nullptr)
    {
        Refuse(path);
    }
    const auto *records = view.Records<ArchiveFileEntry>(header->fileListOffset + sizeof(Little32), *count);
    const auto *texts = view.Records<ArchivePathEntry>(pathsAt + sizeof(ArchivePathList), paths->count);
    if (records == nullptr || texts == nullptr)
    {
        Refuse(path);
    }

    std::vector<ArchivedFile> files;
    for (uint32 index = 0; index < *count; ++index)
    {
        const uint32 pathIndex = records[index].pathIndex;
        const bool hasPath = pathIndex < paths->count;
        const char *text = hasPath ? view.Text(pathsAt + texts[pathIndex].stringOffset, PathBufferSize) : nullptr;
        if (text != nullptr)
        {
            files.push_back({text, records[index].dataOffset, records[index].size});
        }
    }
    return files;
}
} // namespace Keld::TreeReader
