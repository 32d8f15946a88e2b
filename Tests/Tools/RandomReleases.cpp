#include "Tools/RandomReleases.h"

#include "Tools/TreeWriter/ReleasePacker.h"
#include "Tools/TreeWriter/SolutionWriter.h"

namespace Keld::Test
{
using TreeReader::Compression;
using TreeReader::Storage;
using TreeWriter::StorageChoice;

namespace
{
constexpr std::size_t LargestContent = 0x40000 + 1; // more than one block of the decoders
} // namespace

StorageChoice RandomReleases::RandomChoice()
{
    constexpr StorageChoice choices[] = {{Storage::Naked, Compression::None},
                                         {Storage::Managed, Compression::None},
                                         {Storage::Archive, Compression::None},
                                         {Storage::Archive, Compression::Zlib},
                                         {Storage::Archive, Compression::Lzma}};
    return choices[mRandom.Below(std::size(choices))];
}

void RandomReleases::Pack(const std::string &project, const FileContents &files, MorvVersion version,
                          std::optional<MorvVersion> base)
{
    mDirectory.Remove("source");
    for (const auto &[path, content] : files)
    {
        mDirectory.Write("source/" + path, content.substr(0, LargestContent));
    }
    TreeWriter::PackRequest request;
    request.source = mDirectory.Path("source");
    request.root = mDirectory.Path("MORV");
    request.project = project;
    request.release = version;
    request.base = base;
    request.choice = RandomChoice();
    request.sync = false; // no test loses power
    for (const char *glob : {"*.dds", "*.txt", "data/*", "*a*", "b/*"})
    {
        request.rules.push_back({glob, RandomChoice()});
    }
    TreeWriter::PackRelease(request);
}

void RandomReleases::WriteSolution(const std::vector<std::string> &projects)
{
    TreeWriter::SolutionContents solution;
    solution.name = "suite";
    solution.release = 0x00000100;
    for (const std::string &project : projects)
    {
        solution.projects.push_back({project, First + 1, mRandom.Below(2), 0});
    }
    const std::string directory = "MORV/solutions/suite/releases/0.0.1.0/";
    mDirectory.Write(directory + "solutionmanifest", TreeWriter::BuildSolutionManifest(solution));
    mDirectory.Write(directory + "configurationmanifest", TreeWriter::BuildConfigurationManifest({"all", projects, 0}));
}
} // namespace Keld::Test
