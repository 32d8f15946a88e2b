#include "Load/LoadTree.h"

#include "Support/ArchiveImage.h"
#include "Support/CompressedStream.h"

#include <map>

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

namespace Keld::Test::Load
{
namespace
{
constexpr std::uint32_t FlagsOfStorage[] = {0, 0x01, 0x02, 0x02 | 0x10 | 0x04, 0x02 | 0x10 | 0x20};
const std::string ProjectVersion = "1.0.0.0";

struct ArchiveParts
{
    ArchiveImage index;
    std::string data;
};

std::string StoredFormOf(const LoadFile &file)
{
    const std::string &content = file.content;
    return file.storage == Storage::Zlib   ? ZlibStream(content)
           : file.storage == Storage::Lzma ? LzmaFile(content)
                                           : content;
}
} // namespace

std::uint64_t DigestOf(std::string_view bytes)
{
    const auto *const start = reinterpret_cast<const Bytef *>(bytes.data());
    return std::uint64_t{crc32_z(0, start, bytes.size())} << 32 | adler32_z(1, start, bytes.size());
}

LoadTree::LoadTree()
{
    WriteProject("plain", {Storage::Naked, Storage::Managed}, 40);
    WriteProject("packed", {Storage::Stored, Storage::Zlib}, 60);
    WriteProject("dense", {Storage::Lzma}, 8);
    mDirectory =
        mTree.Solution("suite", ProjectVersion,
                       {{"plain", ProjectVersion, 3}, {"packed", ProjectVersion, 2}, {"dense", ProjectVersion, 1}});
}

void LoadTree::Evict() const
{
    for (const std::string &path : mDataFiles)
    {
        if (const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC); file != -1)
        {
            posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
            close(file);
        }
    }
}

void LoadTree::WriteProject(const std::string &project, const std::vector<Storage> &storages, std::size_t fileCount)
{
    const std::string root = "MORV/projects/" + project;
    const std::string release = root + "/releases/" + ProjectVersion;
    ManifestImage manifest(project);
    std::map<std::string, ArchiveParts> archives;
    for (std::size_t index = 0; index < fileCount; ++index)
    {
        LoadFile file;
        file.path = "all/" + project + std::to_string(index % 5) + "/file" + std::to_string(index);
        file.storage = storages[index % storages.size()];
        const std::size_t size = index % 10 == 9 ? 150'000 + 40'000 * index % 400'000 : 1000 + 997 * index % 30'000;
        const auto seed = static_cast<std::uint32_t>(mFiles.size());
        file.content = index % 3 == 0 ? PatternedBytes(size, seed) : RandomBytes(size, seed);
        file.digest = DigestOf(file.content);

        ManifestFile record;
        record.flags = FlagsOfStorage[static_cast<std::size_t>(file.storage)];
        record.size = SizeOf(file.content);
        manifest.File(file.path, record);
        if (NeedsDescriptor(file.storage))
        {
            const std::string folder =
                file.storage == Storage::Naked ? release + "/deploy/" : root + "/managedfiles/" + ProjectVersion + "/";
            mTree.Disk().Write(folder + file.path, file.content);
        }
        else
        {
            // The first open of an LZMA file closes its archive, so that each has one of its own.
            const std::size_t number = file.storage == Storage::Lzma ? index : index % 3;
            ArchiveParts &archive = archives["archive" + std::to_string(number)];
            const std::string stored = StoredFormOf(file);
            archive.index.File(file.path, SizeOf(archive.data), SizeOf(stored));
            archive.data += stored;
        }
        mFiles.push_back(std::move(file));
    }
    for (const auto &[name, archive] : archives)
    {
        const std::string path = root + "/filearchives/" + ProjectVersion + "/" + name + ".vka";
        mTree.Disk().Write(path, archive.index.Bytes());
        mDataFiles.push_back(mTree.Disk().Write(path + ".dat", archive.data));
    }
    mTree.Disk().Write(release + "/releasemanifest", manifest.Bytes());
}
} // namespace Keld::Test::Load
