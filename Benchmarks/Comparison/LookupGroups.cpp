// Does a path exist, and what is in a directory? Asked of paths in random order.

#include "Benchmarks/Comparison/Deployment.h"
#include "Benchmarks/Comparison/FlatMap.h"
#include "Benchmarks/Comparison/Groups.h"
#include "Benchmarks/Comparison/Neighbours.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <cstring>

namespace Keld::Benchmarks
{
namespace
{
std::vector<ContentFile> OneByteFiles(const std::vector<std::string> &paths)
{
    std::vector<ContentFile> files;
    files.reserve(paths.size());
    for (const std::string &path : paths)
    {
        files.push_back({path, CorpusText(1)});
    }
    return files;
}

FlatMap MapOf(const std::vector<std::string> &paths)
{
    FlatMap map(paths.size());
    for (const std::string &path : paths)
    {
        map.Add(path, {0, 1});
    }
    return map;
}

void MeasureLookups(const std::string &work, const std::vector<std::string> &paths, bool present, double reach,
                    const std::vector<Neighbours::Member> &members, int repetitions)
{
    const FlatMap map = MapOf(paths);
    Questions questions(paths, present);
    Row row{work, "ns", reach, {}};
    row.contenders.push_back({"flat hash map", [&]
                              {
                                  return TimePerCall(
                                      [&]
                                      {
                                          return map.Find(questions.Next()) != nullptr ? 1U : 0U;
                                      });
                              }});
    row.contenders.push_back({"KeldMorvIO", [&]
                              {
                                  return TimePerCall(
                                      [&]
                                      {
                                          return MorvFileExists(questions.Next());
                                      });
                              }});
    for (const Neighbours::Member &member : members)
    {
        row.contenders.push_back({member.kind.name, [&]
                                  {
                                      return TimePerCall(
                                          [&]
                                          {
                                              return member.neighbour->Exists(questions.Next()) ? 1U : 0U;
                                          });
                                  }});
    }
    MeasureAndPrint(row, repetitions);
}

struct LookupPlan
{
    uint32 count;
    std::string countText;
    double hitReach;
    double missReach;
};

void Lookups(const LookupPlan &plan, int repetitions)
{
    const Workplace place;
    const std::vector<std::string> paths = MakePaths(plan.count);
    const std::vector<ContentFile> files = OneByteFiles(paths);
    const Deployment deployment(place.Path());
    deployment.Write(files);
    StartOrDie(deployment.WorkingDirectory(), paths.back().c_str());
    // Many files take long to make one by one, and PhysicsFS takes longer to open than all the rest to measure.
    const bool isLarge = plan.count > 10'000;
    const Neighbours neighbours(place, files, false,
                                [isLarge](const NeighbourKind &kind)
                                {
                                    return !isLarge || kind.name == "libzip" || kind.name == "LMDB";
                                });
    MeasureLookups("exists, hit, " + plan.countText, paths, true, plan.hitReach, neighbours.Members(), repetitions);
    MeasureLookups("exists, miss, " + plan.countText, paths, false, plan.missReach, neighbours.Members(), repetitions);
    MorvShutdown();
}

void SolutionLookups(int repetitions)
{
    const Workplace place;
    const std::vector<std::string> paths = MakePaths(100'000);
    Deployment deployment(place.Path());
    deployment.WriteSolution(OneByteFiles(paths), 8);
    StartOrDie(deployment.WorkingDirectory(), paths.back().c_str());
    MeasureLookups("exists, hit, 8 projects, 100k", paths, true, 3, {}, repetitions);
    MeasureLookups("exists, miss, 8 projects, 100k", paths, false, 5, {}, repetitions);
    MorvShutdown();
}

constexpr uint32 FilesPerDirectory = 40;

/// The names of every directory, one behind another, found by the directory's path.
class NamesInMemory
{
public:
    explicit NamesInMemory(const std::vector<std::string> &paths) : mMap(paths.size() / FilesPerDirectory)
    {
        for (std::size_t first = 0; first < paths.size(); first += FilesPerDirectory)
        {
            const std::size_t slash = paths[first].rfind('/');
            mMap.Add(paths[first].substr(0, slash), {static_cast<uint32>(mNames.size()), FilesPerDirectory});
            for (uint32 index = 0; index < FilesPerDirectory; ++index)
            {
                mNames += paths[first + index].substr(slash + 1) + '\0';
            }
        }
    }

    std::size_t Walk(const char *directory) const
    {
        const FlatMap::Place *const place = mMap.Find(directory);
        const char *name = mNames.data() + place->offset;
        std::size_t sum = 0;
        for (uint32 index = 0; index < place->size; ++index)
        {
            const std::size_t length = std::strlen(name);
            sum += length;
            name += length + 1;
        }
        return sum;
    }

private:
    FlatMap mMap;
    std::string mNames;
};

std::size_t ListByLibrary(const char *pattern)
{
    FindHandle *const find = MorvFindFirstFile(pattern);
    char name[256];
    uint32 isDirectory = 0;
    uint64 size = 0;
    std::size_t sum = 0;
    while (MorvFindNextFile(find, &isDirectory, &size, sizeof name, name) == S_OK)
    {
        sum += size;
    }
    MorvFindClose(find);
    return sum;
}

void Enumeration(int repetitions)
{
    const Workplace place;
    const std::vector<std::string> paths = MakePaths(20'000, FilesPerDirectory);
    const std::vector<ContentFile> files = OneByteFiles(paths);
    const Deployment deployment(place.Path());
    deployment.Write(files);
    StartOrDie(deployment.WorkingDirectory(), paths.back().c_str());
    const Neighbours neighbours(place, files, false,
                                [](const NeighbourKind &kind)
                                {
                                    return kind.name != "libzip" && kind.name != "LMDB" && kind.name != "SQLite";
                                });

    const NamesInMemory names(paths);
    std::vector<std::string> directories;
    std::vector<std::string> patterns;
    for (std::size_t first = 0; first < paths.size(); first += FilesPerDirectory)
    {
        directories.push_back(paths[first].substr(0, paths[first].rfind('/')));
        patterns.push_back(directories.back() + "/*");
    }
    Questions askedDirectories(directories, true);
    Questions askedPatterns(patterns, true);
    const auto perEntry = [](double nanoseconds)
    {
        return nanoseconds / FilesPerDirectory;
    };
    Row row{"enumeration, directories of 40, an entry", "ns", 5, {}};
    row.contenders.push_back({"names in memory", [&]
                              {
                                  return perEntry(TimePerCall(
                                      [&]
                                      {
                                          return names.Walk(askedDirectories.Next());
                                      }));
                              }});
    row.contenders.push_back({"KeldMorvIO", [&]
                              {
                                  return perEntry(TimePerCall(
                                      [&]
                                      {
                                          return ListByLibrary(askedPatterns.Next());
                                      }));
                              }});
    for (const Neighbours::Member &member : neighbours.Members())
    {
        row.contenders.push_back({member.kind.name, [&]
                                  {
                                      return perEntry(TimePerCall(
                                          [&]
                                          {
                                              return member.neighbour->List(askedDirectories.Next());
                                          }));
                                  }});
    }
    MeasureAndPrint(row, repetitions);
    MorvShutdown();
}
} // namespace

std::vector<Group> LookupGroups()
{
    const auto lookups = [](const LookupPlan &plan)
    {
        return [plan](int repetitions)
        {
            Lookups(plan, repetitions);
        };
    };
    return {{"lookup-10k", lookups({10'000, "10k", 2.3, 3})},
            {"lookup-100k", lookups({100'000, "100k", 1.7, 2.5})},
            {"lookup-1m", lookups({1'000'000, "1M", 1.8, 2.5})},
            {"lookup-solution", SolutionLookups},
            {"enumeration", Enumeration}};
}
} // namespace Keld::Benchmarks
