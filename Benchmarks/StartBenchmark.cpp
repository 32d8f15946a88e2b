// What does a start cost per file, and does ten times the files cost ten times the time, whatever the tree looks like?
// The limits are what one would write without the library: a hash table of the paths in the manifest, and the same with
// one query of the file system for each file.

#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"
#include "Support/TempTree.h"
#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/ArchiveWriter.h"
#include "Tools/TreeWriter/FileOutput.h"
#include "Tools/TreeWriter/ReleaseManifestWriter.h"

#include "KeldFoundation/CStd/Hash.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <sys/stat.h>

namespace Keld::Benchmarks
{
namespace
{
using namespace MORV::Reader;
using TreeReader::Storage;

constexpr MorvVersion ReleaseVersion = 0x01000000;
constexpr const char *ProjectName = "benchmark";
constexpr uint32 FilesPerDirectory = 40;
constexpr uint32 FilesPerArchive = 1000;
constexpr uint32 ChainCount = 64;

/// What the files of a release are spread over.
enum class Shape
{
    Wide,            ///< many directories of 40 files, one archive
    SingleDirectory, ///< one directory, one archive
    ManyArchives,    ///< directories of 40 files, an archive for each 1,000 files
    Deep,            ///< 64 chains of directories, a file in each directory, one archive
    Naked            ///< directories of 40 files, no archive
};

std::string Numbered(const char *text, uint32 number, size_t digits)
{
    const std::string digitsText = std::to_string(number);
    return text + std::string(digits - std::min(digits, digitsText.size()), '0') + digitsText;
}

std::vector<std::string> MakePaths(Shape shape, uint32 fileCount)
{
    std::vector<std::string> paths;
    for (uint32 file = 0; file < fileCount; ++file)
    {
        const std::string directory =
            shape == Shape::SingleDirectory ? "Content" : Numbered("Content/Area", file / FilesPerDirectory, 5);
        paths.push_back(directory + Numbered("/Texture", file, 7) + ".dds");
    }
    return paths;
}

template <class Record>
void Append(std::string &bytes, const Record &record)
{
    bytes.append(reinterpret_cast<const char *>(&record), sizeof record);
}

/// Level by level: each directory holds the one below it, named "d", and a file "f".
std::string BuildDeepManifest(uint32 levelCount)
{
    const uint32 fileCount = ChainCount * levelCount;
    std::string image;
    Append(image, ReleaseManifestHeader{Little32(ReleaseManifestMagic),
                                        Little32(ReleaseManifestVersion),
                                        {Little32(1), Little32(ReleaseVersion)},
                                        Little32(fileCount + 1)});
    Append(image, DirectoryTableEntry{Little32(0), Little32(1), Little32(ChainCount), Little32(0), Little32(0)});
    for (uint32 index = 1; index <= fileCount; ++index)
    {
        const bool isLast = index + ChainCount > fileCount;
        const uint32 name = index <= ChainCount ? 3 + index : 2;
        Append(image, DirectoryTableEntry{Little32(name), Little32(index + ChainCount), Little32(isLast ? 0U : 1U),
                                          Little32(index - 1), Little32(1)});
    }
    Append(image, Little32(fileCount));
    for (uint32 index = 0; index < fileCount; ++index)
    {
        FileTableEntry file{};
        file.nameIndex = 3;
        file.version = ReleaseVersion;
        file.flags = FileFlagArchived;
        file.size = 1;
        Append(image, file);
    }
    std::string strings = std::string(1, '\0') + ProjectName + '\0' + 'd' + '\0' + 'f' + '\0';
    for (uint32 chain = 0; chain < ChainCount; ++chain)
    {
        strings += Numbered("chain", chain, 2) + '\0';
    }
    Append(image, StringTableHeader{Little32(4 + ChainCount), Little32(static_cast<uint32>(strings.size()))});
    return image + strings;
}

/// An index whose records match whatever name has their hash, since the paths of deep files would fill gigabytes.
std::string BuildDeepIndex(uint32 levelCount)
{
    std::vector<uint32> hashes;
    for (uint32 chain = 0; chain < ChainCount; ++chain)
    {
        std::string path = Numbered("chain", chain, 2);
        for (uint32 level = 0; level < levelCount; ++level)
        {
            hashes.push_back(HashName((path + "/f").c_str()));
            path += "/d";
        }
    }
    std::sort(hashes.begin(), hashes.end());
    std::string image;
    const auto count = static_cast<uint32>(hashes.size());
    const uint32 pathList =
        static_cast<uint32>(sizeof(ArchiveHeader) + 4 + uint_size{count} * sizeof(ArchiveFileEntry));
    Append(image, ArchiveHeader{Little32(ArchiveMagic), Little32(ArchiveVersion), Little32(0),
                                Little32(sizeof(ArchiveHeader)), Little32(pathList)});
    Append(image, Little32(count));
    for (const uint32 hash : hashes)
    {
        Append(image, ArchiveFileEntry{Little32(hash), Little32(0), Little32(1), Little32(ArchivePathOfSearchedName)});
    }
    Append(image, ArchivePathList{Little32(0), Little32(0)});
    return image;
}

/// A release of files with one byte each.
class Release
{
public:
    Release(Shape shape, uint32 fileCount) : mPlaces(mTree.Path("MORV"))
    {
        if (shape == Shape::Deep)
        {
            WriteDeep(fileCount / ChainCount);
            return;
        }
        const Storage storage = shape == Shape::Naked ? Storage::Naked : Storage::Archive;
        TreeReader::ReleaseContents contents;
        contents.project = ProjectName;
        contents.release = ReleaseVersion;
        const uint32 flags = TreeReader::FlagsOf(storage, TreeReader::Compression::None);
        for (std::string &path : MakePaths(shape, fileCount))
        {
            contents.files.push_back({std::move(path), ReleaseVersion, {}, flags, 1});
        }
        TreeWriter::WriteFile(Manifest(), TreeWriter::BuildReleaseManifest(contents));
        std::filesystem::create_directories(WorkingDirectory());
        if (storage == Storage::Archive)
        {
            WriteArchives(contents, shape == Shape::ManyArchives ? FilesPerArchive : fileCount);
        }
        else
        {
            WriteNaked(contents);
        }
    }

    std::filesystem::path Manifest() const { return mPlaces.ReleaseManifest(ProjectName, ReleaseVersion); }
    std::string WorkingDirectory() const { return mPlaces.NakedFiles(ProjectName, ReleaseVersion).string(); }

private:
    void WriteDeep(uint32 levelCount) const
    {
        const std::filesystem::path index = mPlaces.Archives(ProjectName, ReleaseVersion) / "files.vka";
        TreeWriter::WriteFile(Manifest(), BuildDeepManifest(levelCount));
        TreeWriter::WriteFile(index, BuildDeepIndex(levelCount));
        TreeWriter::WriteFile(index.string() + ".dat", "x");
        std::filesystem::create_directories(WorkingDirectory());
    }

    void WriteArchives(const TreeReader::ReleaseContents &contents, uint32 filesPerArchive) const
    {
        std::unique_ptr<TreeWriter::ArchiveWriter> archive;
        for (uint32 index = 0; index < contents.files.size(); ++index)
        {
            if (index % filesPerArchive == 0)
            {
                if (archive != nullptr)
                {
                    archive->Finish();
                }
                archive = std::make_unique<TreeWriter::ArchiveWriter>(mPlaces.Archives(ProjectName, ReleaseVersion),
                                                                      Numbered("files", index / filesPerArchive, 5));
            }
            archive->Begin(contents.files[index].path);
            archive->Append("x");
        }
        archive->Finish();
    }

    void WriteNaked(const TreeReader::ReleaseContents &contents) const
    {
        for (const TreeReader::ReleaseFile &file : contents.files)
        {
            TreeWriter::WriteFile(mPlaces.NakedFiles(ProjectName, ReleaseVersion) / file.path, "x");
        }
    }

    Test::TempTree mTree;
    TreeReader::TreePlaces mPlaces;
};

/// One release at a time: the large ones fill a disk.
const Release &GetRelease(Shape shape, uint32 fileCount)
{
    static std::map<std::pair<Shape, uint32>, std::unique_ptr<Release>> releases;
    std::unique_ptr<Release> &release = releases[{shape, fileCount}];
    if (release == nullptr)
    {
        releases.clear();
        return *(releases[{shape, fileCount}] = std::make_unique<Release>(shape, fileCount));
    }
    return *release;
}

void CountPerFile(benchmark::State &state)
{
    state.counters["s/file"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// Calls `visit(path)` for each file of the manifest, with as little as that takes.
template <class Visit>
uint32 VisitPaths(const std::string &image, const Visit &visit)
{
    const auto *const header = reinterpret_cast<const ReleaseManifestHeader *>(image.data());
    const auto *const directories = reinterpret_cast<const DirectoryTableEntry *>(header + 1);
    const auto *const fileCount = reinterpret_cast<const Little32 *>(directories + header->directoryCount);
    const auto *const files = reinterpret_cast<const FileTableEntry *>(fileCount + 1);
    const auto *const table = reinterpret_cast<const StringTableHeader *>(files + *fileCount);
    std::vector<const char *> strings;
    const char *string = reinterpret_cast<const char *>(table + 1);
    for (uint32 index = 0; index < table->stringCount; ++index)
    {
        strings.push_back(string);
        string += std::strlen(string) + 1;
    }
    std::deque<std::pair<uint32, std::string>> queue;
    queue.emplace_back(0, "");
    for (; !queue.empty(); queue.pop_front())
    {
        const DirectoryTableEntry &directory = directories[queue.front().first];
        const std::string &prefix = queue.front().second;
        for (uint32 position = 0; position < directory.subdirectoryCount; ++position)
        {
            const uint32 index = directory.firstSubdirectory + position;
            queue.emplace_back(index, prefix + strings[directories[index].nameIndex] + "/");
        }
        for (uint32 position = 0; position < directory.fileCount; ++position)
        {
            visit(prefix + strings[files[directory.firstFile + position].nameIndex]);
        }
    }
    return *fileCount;
}

void Limit_HashTableOfThePaths(benchmark::State &state, Shape shape)
{
    const Release &release = GetRelease(shape, static_cast<uint32>(state.range(0)));
    for ([[maybe_unused]] auto _ : state)
    {
        std::unordered_map<std::string, uint32> table;
        table.reserve(static_cast<size_t>(state.range(0)));
        const std::string image = TreeReader::ReadWholeFile(release.Manifest());
        VisitPaths(image,
                   [&table](std::string &&path)
                   {
                       table.emplace(std::move(path), static_cast<uint32>(table.size()));
                   });
        state.PauseTiming();
        {
            const auto gone = std::move(table);
        }
        state.ResumeTiming();
    }
    CountPerFile(state);
}

void Limit_OneQueryForEachFile(benchmark::State &state, Shape shape)
{
    const Release &release = GetRelease(shape, static_cast<uint32>(state.range(0)));
    const std::string root = release.WorkingDirectory() + "/";
    for ([[maybe_unused]] auto _ : state)
    {
        uint32 found = 0;
        const std::string image = TreeReader::ReadWholeFile(release.Manifest());
        VisitPaths(image,
                   [&root, &found](const std::string &path)
                   {
                       struct stat status;
                       found += stat((root + path).c_str(), &status) == 0 ? 1U : 0U;
                   });
        if (found != state.range(0))
        {
            state.SkipWithError("the release is not whole");
        }
    }
    CountPerFile(state);
}

void Start(benchmark::State &state, Shape shape)
{
    const Release &release = GetRelease(shape, static_cast<uint32>(state.range(0)));
    const std::string directory = release.WorkingDirectory();
    for ([[maybe_unused]] auto _ : state)
    {
        if (MorvInitialize(0, 0, 0, directory.c_str()) != S_OK)
        {
            state.SkipWithError("the release does not start");
        }
        state.PauseTiming();
        MorvShutdown();
        state.ResumeTiming();
    }
    CountPerFile(state);
}

constexpr auto Unit = benchmark::kMillisecond;

BENCHMARK_CAPTURE(Limit_HashTableOfThePaths, Wide, Shape::Wide)->Arg(10'000)->Unit(Unit);
BENCHMARK_CAPTURE(Start, Wide, Shape::Wide)->Arg(10'000)->Unit(Unit);
BENCHMARK_CAPTURE(Limit_HashTableOfThePaths, Wide, Shape::Wide)->Arg(100'000)->Unit(Unit);
BENCHMARK_CAPTURE(Start, Wide, Shape::Wide)->Arg(100'000)->Unit(Unit);
BENCHMARK_CAPTURE(Limit_HashTableOfThePaths, Wide, Shape::Wide)->Arg(1'000'000)->Unit(Unit);
BENCHMARK_CAPTURE(Start, Wide, Shape::Wide)->Arg(1'000'000)->Unit(Unit);
BENCHMARK_CAPTURE(Start, SingleDirectory, Shape::SingleDirectory)->Arg(10'000)->Arg(100'000)->Unit(Unit);
BENCHMARK_CAPTURE(Start, ManyArchives, Shape::ManyArchives)->Arg(10'000)->Arg(100'000)->Unit(Unit);
BENCHMARK_CAPTURE(Start, Deep, Shape::Deep)->Arg(2'560)->Arg(25'600)->Arg(256'000)->Unit(Unit);
BENCHMARK_CAPTURE(Limit_OneQueryForEachFile, Naked, Shape::Naked)->Arg(10'000)->Unit(Unit);
BENCHMARK_CAPTURE(Start, Naked, Shape::Naked)->Arg(10'000)->Unit(Unit);
BENCHMARK_CAPTURE(Limit_OneQueryForEachFile, Naked, Shape::Naked)->Arg(100'000)->Unit(Unit);
BENCHMARK_CAPTURE(Start, Naked, Shape::Naked)->Arg(100'000)->Unit(Unit);
} // namespace
} // namespace Keld::Benchmarks
