// What do a lookup and an enumeration cost in a release of 100,000 files? The first of each group is the limit; the map
// is what one would write without the library, and it heeds case.

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "KeldMorvIO/Public/MorvExportsMain.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"
#include "KeldMorvIO/listing/ProjectListing.h"
#include "Support/TempTree.h"
#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/ArchiveWriter.h"
#include "Tools/TreeWriter/FileOutput.h"
#include "Tools/TreeWriter/ReleaseManifestWriter.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

namespace Keld::Benchmarks
{
namespace
{
using MORV::Reader::ProjectListing;

constexpr uint32 DirectoryCount = 100;
constexpr uint32 FilesPerDirectory = 1000;
constexpr MorvVersion ReleaseVersion = 0x01000000;
constexpr const char *ProjectName = "benchmark";
constexpr const char *ListedDirectory = "Content/Area042";

std::string Numbered(const char *text, uint32 number, size_t digits)
{
    const std::string digitsText = std::to_string(number);
    return text + std::string(digits - digitsText.size(), '0') + digitsText;
}

std::vector<std::string> MakePaths()
{
    std::vector<std::string> paths;
    for (uint32 directory = 0; directory < DirectoryCount; ++directory)
    {
        for (uint32 file = 0; file < FilesPerDirectory; ++file)
        {
            paths.push_back(Numbered("Content/Area", directory, 3) + Numbered("/Texture", file, 4) + ".dds");
        }
    }
    return paths;
}

// Neighbours in the order of asking are not neighbours in the tree.
const std::vector<std::string> &ShuffledPaths()
{
    static const std::vector<std::string> shuffled = []
    {
        std::vector<std::string> paths = MakePaths();
        std::shuffle(paths.begin(), paths.end(), std::mt19937(1));
        return paths;
    }();
    return shuffled;
}

// A release of files with one byte each, all in one archive.
class Release
{
public:
    Release() : mPlaces(mTree.Path("MORV"))
    {
        TreeReader::ReleaseContents contents;
        contents.project = ProjectName;
        contents.release = ReleaseVersion;
        const uint32 flags = TreeReader::FlagsOf(TreeReader::Storage::Archive, TreeReader::Compression::None);
        for (std::string &path : MakePaths())
        {
            contents.files.push_back({std::move(path), ReleaseVersion, {}, flags, 1});
        }
        TreeWriter::WriteFile(Manifest(), TreeWriter::BuildReleaseManifest(contents));
        WriteArchive(contents);
    }

    std::filesystem::path Manifest() const { return mPlaces.ReleaseManifest(ProjectName, ReleaseVersion); }
    std::string WorkingDirectory() const { return mPlaces.NakedFiles(ProjectName, ReleaseVersion).string(); }

private:
    void WriteArchive(const TreeReader::ReleaseContents &contents) const
    {
        TreeWriter::ArchiveWriter archive(mPlaces.Archives(ProjectName, ReleaseVersion), "files");
        for (const TreeReader::ReleaseFile &file : contents.files)
        {
            archive.Begin(file.path);
            archive.Append("x");
        }
        archive.Finish();
    }

    Test::TempTree mTree;
    TreeReader::TreePlaces mPlaces;
};

bool Start()
{
    static const Release release;
    return MorvInitialize(0, 0, 0, release.WorkingDirectory().c_str()) == S_OK;
}

// The library, started for as long as this lives.
class StartedLibrary
{
public:
    StartedLibrary() : mStarted(Start()) {}
    ~StartedLibrary() { MorvShutdown(); }

    StartedLibrary(const StartedLibrary &) = delete;
    StartedLibrary &operator=(const StartedLibrary &) = delete;

    // Null, and the benchmark refused, if the release is not whole.
    const ProjectListing *Listing(benchmark::State &state) const
    {
        const uint32 lastFile = DirectoryCount * FilesPerDirectory - 1;
        if (!mStarted || MorvFileExists(MakePaths()[lastFile].c_str()) == 0)
        {
            state.SkipWithError("the release does not start");
            return nullptr;
        }
        return MORV::Reader::GetExportsMain().Get()->GetListings().front();
    }

private:
    bool mStarted;
};

// Times `look(path)` over all paths again and again.
template <class Look>
void TimeLookups(benchmark::State &state, const Look &look)
{
    const std::vector<std::string> &paths = ShuffledPaths();
    size_t index = 0;
    for ([[maybe_unused]] auto _ : state)
    {
        benchmark::DoNotOptimize(look(paths[index]));
        index = index + 1 < paths.size() ? index + 1 : 0;
    }
}

void Lookup_HashAlone(benchmark::State &state)
{
    TimeLookups(state,
                [](const std::string &path)
                {
                    return HashPathLower(path.c_str());
                });
}

void Lookup_UnorderedMap(benchmark::State &state)
{
    std::unordered_map<std::string, size_t> map;
    for (const std::string &path : MakePaths())
    {
        map.emplace(path, map.size());
    }
    TimeLookups(state,
                [&map](const std::string &path)
                {
                    return map.find(path)->second;
                });
}

void Lookup_FindEntry(benchmark::State &state)
{
    const StartedLibrary library;
    if (const ProjectListing *const listing = library.Listing(state))
    {
        TimeLookups(state,
                    [listing](const std::string &path)
                    {
                        return listing->FindEntry(path.c_str());
                    });
    }
}

void Lookup_MorvFileExists(benchmark::State &state)
{
    const StartedLibrary library;
    if (library.Listing(state) != nullptr)
    {
        TimeLookups(state,
                    [](const std::string &path)
                    {
                        return MorvFileExists(path.c_str());
                    });
    }
}

void ExpectWholeDirectory(benchmark::State &state, uint32 count)
{
    if (count != FilesPerDirectory)
    {
        state.SkipWithError("the directory is not whole");
    }
}

void Enumerate_NamesAlone(benchmark::State &state)
{
    const StartedLibrary library;
    const ProjectListing *const listing = library.Listing(state);
    for ([[maybe_unused]] auto _ : state)
    {
        uint32 count = 0;
        ProjectListing::DirectoryIterator child(listing->FindEntry(ListedDirectory));
        for (; child.IsValid(); child.Next(), ++count)
        {
            benchmark::DoNotOptimize(child.GetName());
        }
        ExpectWholeDirectory(state, count);
    }
}

void Enumerate_MorvFindNextFile(benchmark::State &state)
{
    const StartedLibrary library;
    library.Listing(state);
    const std::string pattern = ListedDirectory + std::string("/*");
    for ([[maybe_unused]] auto _ : state)
    {
        uint32 count = 0;
        char name[256];
        FindHandle *const find = MorvFindFirstFile(pattern.c_str());
        for (; MorvFindNextFile(find, nullptr, nullptr, sizeof name, name) == S_OK; ++count)
        {
            benchmark::ClobberMemory();
        }
        MorvFindClose(find);
        ExpectWholeDirectory(state, count);
    }
}

BENCHMARK(Lookup_HashAlone);
BENCHMARK(Lookup_UnorderedMap);
BENCHMARK(Lookup_FindEntry);
BENCHMARK(Lookup_MorvFileExists);
BENCHMARK(Enumerate_NamesAlone)->Unit(benchmark::kMicrosecond);
BENCHMARK(Enumerate_MorvFindNextFile)->Unit(benchmark::kMicrosecond);
} // namespace
} // namespace Keld::Benchmarks
