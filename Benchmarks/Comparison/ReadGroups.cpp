// Reads inside a file that is open, one behind another and from the start again.

#include "Benchmarks/Comparison/Deployment.h"
#include "Benchmarks/Comparison/Groups.h"
#include "Benchmarks/Comparison/Neighbours.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Benchmarks
{
namespace
{
using TreeReader::Compression;
using TreeReader::Storage;

constexpr std::size_t FileSize = std::size_t{8} << 20;
constexpr const char *FilePath = "Content/Large.bin";

/// Offsets one behind another at which `size` bytes fit.
class Offsets
{
public:
    explicit Offsets(std::size_t size) : mSize(size) {}

    std::size_t Next()
    {
        const std::size_t offset = mNext;
        mNext = offset + 2 * mSize <= FileSize ? offset + mSize : 0;
        return offset;
    }

private:
    std::size_t mSize;
    std::size_t mNext = 0;
};

std::string SizeText(std::size_t size)
{
    return size < 1024                   ? std::to_string(size) + " B"
           : size < std::size_t{1} << 20 ? std::to_string(size >> 10) + " KiB"
                                         : std::to_string(size >> 20) + " MiB";
}

struct ReadPlan
{
    std::string work;
    Storage storage;
    Compression compression;
};

struct SizePlan
{
    std::size_t size;
    double reach;
};

/// The library's file, open for as long as this lives.
class LibraryFile
{
public:
    LibraryFile() : mFile(MorvOpenFile(FilePath)) {}
    ~LibraryFile() { MorvCloseFile(mFile); }
    LibraryFile(const LibraryFile &) = delete;
    LibraryFile &operator=(const LibraryFile &) = delete;

    std::size_t Read(std::size_t offset, std::size_t size, char *buffer) const
    {
        uint32 count = 0;
        MorvRead(mFile, offset, static_cast<uint32>(size), &count, buffer);
        return count;
    }

private:
    OpenFileHandle *mFile;
};

template <class Read>
Contender ReaderOf(const std::string &name, std::size_t size, std::string &buffer, const Read &read)
{
    return {name, [&buffer, size, read]
            {
                Offsets offsets(size);
                return TimePerCall(
                    [&]
                    {
                        return read(offsets.Next(), size, buffer.data());
                    });
            }};
}

void Reads(const ReadPlan &plan, const std::vector<SizePlan> &sizes, int repetitions)
{
    const Workplace place;
    const bool compressed = plan.compression != Compression::None;
    const std::vector<ContentFile> files = {{FilePath, CorpusText(FileSize)}};
    const Deployment deployment(place.Path());
    deployment.Write(files, {.storage = plan.storage, .compression = plan.compression});
    StartOrDie(deployment.WorkingDirectory(), FilePath);
    const Neighbours neighbours(place, files, false,
                                [compressed](const NeighbourKind &)
                                {
                                    return !compressed;
                                });
    const bool naked = plan.storage == Storage::Naked;
    const std::string data = naked ? deployment.NakedFiles() + "/" + FilePath : deployment.ArchiveData();
    const int bare = open(data.c_str(), O_RDONLY | O_CLOEXEC);
    {
        const LibraryFile library;
        for (const SizePlan &sizePlan : sizes)
        {
            const std::size_t size = sizePlan.size;
            std::string buffer(size, '\0');
            std::vector<std::unique_ptr<NeighbourFile>> open;
            Row row{plan.work + ", " + SizeText(size), "ns", sizePlan.reach, {}};
            const auto limit = [&](std::size_t offset, std::size_t count, char *bytes)
            {
                if (compressed)
                {
                    std::memcpy(bytes, files[0].bytes.data() + offset, count);
                    asm volatile("" : : "r"(bytes) : "memory");
                    return count;
                }
                return static_cast<std::size_t>(pread(bare, bytes, count, static_cast<off_t>(offset)));
            };
            row.contenders.push_back(ReaderOf(compressed ? "memcpy" : "pread", size, buffer, limit));
            row.contenders.push_back(ReaderOf("KeldMorvIO", size, buffer,
                                              [&library](std::size_t offset, std::size_t count, char *bytes)
                                              {
                                                  return library.Read(offset, count, bytes);
                                              }));
            for (const Neighbours::Member &member : neighbours.Members())
            {
                open.push_back(member.neighbour->Open(FilePath));
                row.contenders.push_back(
                    ReaderOf(member.kind.name, size, buffer,
                             [file = open.back().get()](std::size_t offset, std::size_t count, char *bytes)
                             {
                                 return file->Read(offset, count, bytes);
                             }));
            }
            MeasureAndPrint(row, repetitions);
        }
    }
    close(bare);
    MorvShutdown();
}
} // namespace

std::vector<Group> ReadGroups()
{
    const auto reads = [](const ReadPlan &plan, const std::vector<SizePlan> &sizes)
    {
        return [plan, sizes](int repetitions)
        {
            Reads(plan, sizes, repetitions);
        };
    };
    const std::vector<SizePlan> plain = {{64, 1.2}, {4 << 10, 1.15}, {64 << 10, 1.05}, {1 << 20, 1.02}};
    return {{"read-stored", reads({"read, stored", Storage::Archive, Compression::None}, plain)},
            {"read-naked", reads({"read, naked", Storage::Naked, Compression::None}, plain)},
            {"read-zlib", reads({"read, opened zlib file", Storage::Archive, Compression::Zlib}, {{64, 1.8}})}};
}
} // namespace Keld::Benchmarks
