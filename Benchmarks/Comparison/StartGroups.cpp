// Starts, each in a process of its own: its time and its memory, beside what a plain hash table would take.

#include "Benchmarks/Comparison/Deployment.h"
#include "Benchmarks/Comparison/Groups.h"
#include "Benchmarks/Comparison/ManifestTable.h"
#include "Benchmarks/Comparison/Neighbours.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace Keld::Benchmarks
{
namespace
{
using TreeReader::Storage;

// All starts of one group shall take no more than this together, but each contender has some.
constexpr std::chrono::seconds LongStarts{30};
constexpr std::size_t FewestStarts = 3;

/// Each start is one process and gives several figures: time, memory kept, memory at the peak.
class Starts
{
public:
    struct Starter
    {
        std::string name;
        std::string arguments;
        bool isSlow = false; ///< has one turn alone
    };

    Starts(std::vector<Starter> starters, int repetitions) : mStarters(std::move(starters))
    {
        std::erase_if(mStarters,
                      [](const Starter &starter)
                      {
                          return !HasTurns(starter.name);
                      });
        using Clock = std::chrono::steady_clock;
        const Clock::time_point begin = Clock::now();
        const std::size_t turns = std::max(FewestStarts, static_cast<std::size_t>(repetitions));
        for (std::size_t turn = 0; turn < turns && (turn < FewestStarts || Clock::now() - begin < LongStarts); ++turn)
        {
            for (const Starter &starter : mStarters)
            {
                if (turn == 0 || !starter.isSlow)
                {
                    mResults[starter.name].push_back(RunOnce(starter.arguments));
                }
            }
        }
    }

    /// A row of one of the figures, over a number of files.
    void Print(const std::string &work, const std::string &unit, double reach, double OnceResult::*figure,
               double count) const
    {
        for (const Starter &starter : mStarters)
        {
            std::vector<double> figures;
            for (const OnceResult &result : mResults.at(starter.name))
            {
                figures.push_back(result.*figure / count);
            }
            PrintMeasured(work, unit, reach, Summarize(starter.name, std::move(figures)));
        }
    }

private:
    std::vector<Starter> mStarters;
    std::map<std::string, std::vector<OnceResult>> mResults;
};

std::vector<ContentFile> OneByteFiles(uint32 count, uint32 filesPerDirectory = 40)
{
    std::vector<ContentFile> files;
    for (std::string &path : MakePaths(count, filesPerDirectory))
    {
        files.push_back({std::move(path), CorpusText(1)});
    }
    return files;
}

void ArchivedStarts(uint32 count, const std::string &countText, double reach, int repetitions)
{
    const Workplace place;
    const std::vector<ContentFile> files = OneByteFiles(count);
    const Deployment deployment(place.Path());
    deployment.Write(files);
    std::vector<Starts::Starter> starters = {{"hash table", "table " + deployment.Manifest()},
                                             {"KeldMorvIO", "library " + deployment.WorkingDirectory()}};
    for (const NeighbourKind &kind : NeighbourKinds())
    {
        // PhysicsFS takes time that grows with the square of the files.
        const bool isSlow = kind.name == "PhysicsFS";
        if (kind.name == "libzip" || (isSlow && count <= 100'000))
        {
            starters.push_back(
                {kind.name, "neighbour " + kind.name + " " + WriteNeighbour(kind, place, files, false), isSlow});
        }
    }
    const Starts starts(std::move(starters), repetitions);
    starts.Print("start, archived, " + countText + ", a file", "ns", reach, &OnceResult::nanoseconds, count);
    starts.Print("resident, archived, " + countText + ", an entry", "bytes", 105, &OnceResult::residentBytes, count);
    starts.Print("resident at the peak of the start, " + countText + ", an entry", "bytes", 190, &OnceResult::peakBytes,
                 count);
}

void NakedStarts(int repetitions)
{
    constexpr uint32 count = 100'000;
    const Workplace place;
    const Deployment deployment(place.Path());
    deployment.Write(OneByteFiles(count), {.storage = Storage::Naked});
    const Starts starts({{"manifest and stat", "stat " + deployment.Manifest() + " " + deployment.NakedFiles()},
                         {"KeldMorvIO", "library " + deployment.WorkingDirectory()}},
                        repetitions);
    starts.Print("start, naked, 100k, a file", "ns", 1.3, &OnceResult::nanoseconds, count);
}

/// A shape in two sizes, of which the larger has ten times the entries.
struct Shape
{
    std::string name;
    void (*write)(const Deployment &deployment, uint32 scale);
};

void WriteDeep(const Deployment &deployment, uint32 scale)
{
    ReleasePlan plan;
    for (int chain = 0; chain < 64; ++chain)
    {
        std::string path = "chain" + std::to_string(chain);
        for (uint32 level = 1; level < 400 * scale; ++level)
        {
            path += "/level" + std::to_string(level % 1000);
        }
        plan.directories.push_back(std::move(path));
    }
    deployment.Write({{"file", CorpusText(1)}}, plan);
}

const Shape Shapes[] = {
    {"wide: directories of 40",
     [](const Deployment &deployment, uint32 scale)
     {
         deployment.Write(OneByteFiles(50'000 * scale));
     }},
    {"deep: 64 chains of 400 and of 4,000 levels", WriteDeep},
    {"single directory",
     [](const Deployment &deployment, uint32 scale)
     {
         deployment.Write(OneByteFiles(50'000 * scale, 50'000 * scale));
     }},
    {"many archives: 64 of them",
     [](const Deployment &deployment, uint32 scale)
     {
         deployment.Write(OneByteFiles(20'000 * scale), {.archiveCount = 64});
     }},
    {"naked",
     [](const Deployment &deployment, uint32 scale)
     {
         deployment.Write(OneByteFiles(10'000 * scale), {.storage = Storage::Naked});
     }},
};

// The row's "limit" is ten times the small start, so that a ratio of 1 is linear and 1.2 the most.
void Linearity(const Shape &shape, int repetitions)
{
    const Workplace place;
    std::vector<Starts::Starter> starters;
    for (const uint32 scale : {1U, 10U})
    {
        const std::filesystem::path directory = place.Path() / std::to_string(scale);
        const Deployment deployment(directory);
        shape.write(deployment, scale);
        starters.push_back({scale == 1 ? "10 x the small start" : "KeldMorvIO",
                            (scale == 1 ? "library-10 " : "library ") + deployment.WorkingDirectory()});
    }
    const Starts starts(std::move(starters), repetitions);
    starts.Print("ten times the files, " + shape.name, "ns", 1.2, &OnceResult::nanoseconds, 1);
}
} // namespace

std::vector<Group> StartGroups()
{
    std::vector<Group> groups = {{"start-100k",
                                  [](int repetitions)
                                  {
                                      ArchivedStarts(100'000, "100k", 1.6, repetitions);
                                  }},
                                 {"start-1m",
                                  [](int repetitions)
                                  {
                                      ArchivedStarts(1'000'000, "1M", 1.4, repetitions);
                                  }},
                                 {"start-naked", NakedStarts}};
    for (const Shape &shape : Shapes)
    {
        groups.push_back({"linear-" + shape.name.substr(0, shape.name.find_first_of(": ")), [&shape](int repetitions)
                          {
                              Linearity(shape, repetitions);
                          }});
    }
    return groups;
}
} // namespace Keld::Benchmarks
