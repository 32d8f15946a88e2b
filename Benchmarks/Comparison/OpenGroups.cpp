// A file of random choice, opened, measured, read whole and closed; and the first open of compressed files alone.

#include "Benchmarks/Comparison/Deployment.h"
#include "Benchmarks/Comparison/FlatMap.h"
#include "Benchmarks/Comparison/Groups.h"
#include "Benchmarks/Comparison/Neighbours.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "Tools/TreeReader/VersionArchives.h"

#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace Keld::Benchmarks
{
namespace
{
using TreeReader::Compression;
using TreeReader::Storage;

constexpr std::size_t BufferSize = std::size_t{8} << 20;

std::size_t ReadByLibrary(const char *path, char *buffer)
{
    OpenFileHandle *const file = MorvOpenFile(path);
    uint32 count = 0;
    MorvRead(file, 0, static_cast<uint32>(MorvGetFileSize(file)), &count, buffer);
    MorvCloseFile(file);
    return count;
}

std::size_t ReadByPath(const char *path, char *buffer)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    fstat(file, &status);
    const ssize_t count = pread(file, buffer, static_cast<std::size_t>(status.st_size), 0);
    close(file);
    return static_cast<std::size_t>(count);
}

/// The limit of an archived file: a hash map of the paths, the data file, and `uncompress`.
class MapAndData
{
public:
    MapAndData(const Deployment &deployment, const std::vector<ContentFile> &files, bool compressed)
        : mMap(files.size()), mFile(open(deployment.ArchiveData().c_str(), O_RDONLY | O_CLOEXEC)),
          mPlainSize(compressed ? files.front().bytes.size() : 0)
    {
        const std::string directory = deployment.ArchiveData().substr(0, deployment.ArchiveData().rfind('/'));
        const TreeReader::VersionArchives archives(directory, directory);
        for (const auto &archive : archives.GetArchives())
        {
            const auto &index = archive->GetIndex();
            for (uint32 record = 0; record < index.GetEntryCount(); ++record)
            {
                mMap.Add(index.GetEntryPath(record),
                         {index.GetEntry(record)->dataOffset, index.GetEntry(record)->size});
            }
        }
        for (const ContentFile &file : files)
        {
            if (mMap.Find(file.path.c_str()) == nullptr)
            {
                throw std::runtime_error("no archive in " + directory + " holds " + file.path);
            }
        }
    }
    ~MapAndData() { close(mFile); }
    MapAndData(const MapAndData &) = delete;
    MapAndData &operator=(const MapAndData &) = delete;

    std::size_t Read(const char *path, char *buffer)
    {
        const FlatMap::Place place = *mMap.Find(path);
        char *const target = mPlainSize == 0 ? buffer : mStored;
        const auto count = static_cast<std::size_t>(pread(mFile, target, place.size, place.offset));
        if (mPlainSize == 0)
        {
            return count;
        }
        uLongf size = mPlainSize;
        uncompress(reinterpret_cast<Bytef *>(buffer), &size, reinterpret_cast<const Bytef *>(mStored), count);
        return size;
    }

private:
    FlatMap mMap;
    int mFile;
    std::size_t mPlainSize;
    char mStored[1 << 16];
};

struct OpenPlan
{
    std::string work;
    uint32 count;
    uint32 size;
    Storage storage;
    Compression compression;
    double reach;
};

std::vector<std::string> PathsOf(const std::vector<ContentFile> &files)
{
    std::vector<std::string> paths;
    paths.reserve(files.size());
    for (const ContentFile &file : files)
    {
        paths.push_back(file.path);
    }
    return paths;
}

void Opens(const OpenPlan &plan, int repetitions)
{
    const Workplace place;
    const bool compressed = plan.compression == Compression::Zlib;
    const bool naked = plan.storage == Storage::Naked;
    const std::vector<ContentFile> files = MakeContent(plan.count, plan.size);
    const std::vector<std::string> paths = PathsOf(files);
    const Deployment deployment(place.Path());
    deployment.Write(files, {.storage = plan.storage, .compression = plan.compression});
    StartOrDie(deployment.WorkingDirectory(), paths.back().c_str());
    const bool isLarge = plan.count > 10'000; // many files take long to make one by one, and some take long to open
    const Neighbours neighbours(place, files, compressed,
                                [naked, isLarge](const NeighbourKind &kind)
                                {
                                    const bool isFast =
                                        kind.name == "libzip" || kind.name == "LMDB" || kind.name == "EROFS";
                                    return naked ? kind.name == "squashfs" || kind.name == "EROFS" : !isLarge || isFast;
                                });

    std::vector<std::string> onDisk;
    onDisk.reserve(paths.size());
    for (const std::string &path : paths)
    {
        onDisk.push_back(deployment.NakedFiles() + "/" + path);
    }
    Questions questions(paths, true);
    Questions questionsOnDisk(onDisk, true);
    std::string buffer(BufferSize, '\0');
    std::unique_ptr<MapAndData> limit;
    Row row{plan.work, "ns", plan.reach, {}};
    const auto add = [&](const std::string &name, const auto &read, Questions &asked)
    {
        row.contenders.push_back({name, [&, read]
                                  {
                                      return TimePerCall(
                                          [&]
                                          {
                                              return read(asked.Next(), buffer.data());
                                          });
                                  }});
    };
    if (naked)
    {
        add("open, fstat, pread, close", ReadByPath, questionsOnDisk);
    }
    else
    {
        limit = std::make_unique<MapAndData>(deployment, files, compressed);
        add(
            compressed ? "hash map, pread, uncompress" : "hash map, pread",
            [&limit](const char *path, char *bytes)
            {
                return limit->Read(path, bytes);
            },
            questions);
    }
    add("KeldMorvIO", ReadByLibrary, questions);
    for (const Neighbours::Member &member : neighbours.Members())
    {
        add(
            member.kind.name,
            [&member](const char *path, char *bytes)
            {
                return member.neighbour->ReadWhole(path, bytes);
            },
            questions);
    }
    MeasureAndPrint(row, repetitions);
    MorvShutdown();
}

struct InflatePlan
{
    std::string name;
    std::string_view content;
    std::size_t fileSize;
    double reach;
};

/// The content cut into files, which take turns: a stream that is decoded again and again is one whose every branch the
/// processor foresees, and that is not what a first open meets.
std::vector<ContentFile> Cut(const InflatePlan &plan)
{
    std::vector<ContentFile> files;
    for (std::size_t offset = 0; offset < plan.content.size(); offset += plan.fileSize)
    {
        files.push_back({plan.name + "/" + std::to_string(files.size()), plan.content.substr(offset, plan.fileSize)});
    }
    return files;
}

std::vector<std::string> StreamsOf(const std::vector<ContentFile> &files)
{
    std::vector<std::string> streams;
    streams.reserve(files.size());
    for (const ContentFile &file : files)
    {
        streams.push_back(ZlibStream(file.bytes));
    }
    return streams;
}

void FirstOpensOf(const InflatePlan &plan, const Neighbours &neighbours, int repetitions)
{
    const std::vector<ContentFile> files = Cut(plan);
    const std::vector<std::string> streams = StreamsOf(files);
    Questions questions(PathsOf(files), true);
    std::string buffer(BufferSize, '\0');
    std::size_t next = 0;
    Row row{"first open, zlib, " + plan.name, "ns", plan.reach, {}};
    const auto add = [&row](const std::string &name, const auto &open)
    {
        row.contenders.push_back({name, [open]
                                  {
                                      return TimePerCall(open);
                                  }});
    };
    add("uncompress",
        [&]
        {
            const std::string &stream = streams[next];
            next = next + 1 < streams.size() ? next + 1 : 0;
            uLongf size = buffer.size();
            uncompress(reinterpret_cast<Bytef *>(buffer.data()), &size, reinterpret_cast<const Bytef *>(stream.data()),
                       stream.size());
            return size;
        });
    add("KeldMorvIO",
        [&]
        {
            OpenFileHandle *const file = MorvOpenFile(questions.Next());
            MorvCloseFile(file);
            return file != nullptr ? 1U : 0U;
        });
    for (const Neighbours::Member &member : neighbours.Members())
    {
        add(member.kind.name,
            [&]
            {
                return member.neighbour->ReadWhole(questions.Next(), buffer.data());
            });
    }
    MeasureAndPrint(row, repetitions);
}

// The library decompresses at the open; neighbours do so as they read, so they read whole.
void FirstOpens(int repetitions)
{
    constexpr std::size_t mebibyte = std::size_t{1} << 20;
    const std::vector<InflatePlan> plans = {{"4 KiB of C headers", CorpusText(4 * mebibyte), 4 << 10, 0.9},
                                            {"64 KiB of C headers", CorpusText(8 * mebibyte), 64 << 10, 0.55},
                                            {"1 MiB of C headers", CorpusText(8 * mebibyte), mebibyte, 0.5},
                                            {"8 MiB of C headers", CorpusText(8 * mebibyte), 8 * mebibyte, 0.5},
                                            {"1 MiB of libraries", CorpusCode(8 * mebibyte), mebibyte, 0.5}};
    const Workplace place;
    std::vector<ContentFile> files;
    for (const InflatePlan &plan : plans)
    {
        const std::vector<ContentFile> some = Cut(plan);
        files.insert(files.end(), some.begin(), some.end());
    }
    const Deployment deployment(place.Path());
    deployment.Write(files, {.compression = Compression::Zlib});
    StartOrDie(deployment.WorkingDirectory(), files.front().path.c_str());
    const Neighbours neighbours(place, files, true,
                                [](const NeighbourKind &kind)
                                {
                                    return kind.name == "libzip" || kind.name == "PhysicsFS";
                                });
    for (const InflatePlan &plan : plans)
    {
        FirstOpensOf(plan, neighbours, repetitions);
    }
    MorvShutdown();
}
} // namespace

std::vector<Group> OpenGroups()
{
    const auto opens = [](const OpenPlan &plan)
    {
        return [plan](int repetitions)
        {
            Opens(plan, repetitions);
        };
    };
    constexpr uint32 size = 2048;
    return {
        {"open-stored-10k", opens({"open, size, read, close: stored, 2 KiB, 10k", 10'000, size, Storage::Archive,
                                   Compression::None, 1.25})},
        {"open-stored-100k", opens({"open, size, read, close: stored, 2 KiB, 100k", 100'000, size, Storage::Archive,
                                    Compression::None, 1.25})},
        {"open-naked",
         opens({"open, size, read, close: naked, 2 KiB, 10k", 10'000, size, Storage::Naked, Compression::None, 1.1})},
        {"open-zlib",
         opens({"open, size, read, close: zlib, 4 KiB, 10k", 10'000, 4096, Storage::Archive, Compression::Zlib, 0.8})},
        {"first-open", FirstOpens}};
}
} // namespace Keld::Benchmarks
