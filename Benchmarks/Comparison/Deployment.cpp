#include "Benchmarks/Comparison/Deployment.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/ArchiveWriter.h"
#include "Tools/TreeWriter/ReleaseManifestWriter.h"

#include <set>
#include <stdexcept>

namespace Keld::Benchmarks
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::Compression;
using TreeReader::Storage;

constexpr MorvVersion ReleaseVersion = 0x01000000;

void WriteArchives(const TreeReader::TreePlaces &places, const std::string &project,
                   const std::vector<ContentFile> &files, const ReleasePlan &plan)
{
    const std::size_t share = (files.size() + plan.archiveCount - 1) / plan.archiveCount;
    for (std::size_t begin = 0; begin < files.size(); begin += share)
    {
        TreeWriter::ArchiveWriter archive(places.Archives(project, ReleaseVersion),
                                          "files" + std::to_string(begin / share));
        for (std::size_t index = begin; index < std::min(begin + share, files.size()); ++index)
        {
            const ContentFile &file = files[index];
            archive.Begin(file.path);
            if (plan.compression == Compression::Zlib)
            {
                archive.Append(ZlibStream(file.bytes));
            }
            else
            {
                archive.Append(file.bytes);
            }
        }
        archive.Finish();
    }
}

void WriteNaked(const std::string &directory, const std::vector<ContentFile> &files)
{
    std::set<std::string> made;
    for (const ContentFile &file : files)
    {
        const std::string path = directory + "/" + file.path;
        const std::string parent = path.substr(0, path.rfind('/'));
        if (made.insert(parent).second)
        {
            fs::create_directories(parent);
        }
        WriteQuickly(path, file.bytes);
    }
}
} // namespace

Deployment::Deployment(const fs::path &place) : mRoot(place / "MORV") {}

void Deployment::Write(const std::vector<ContentFile> &files, const ReleasePlan &plan, const std::string &project) const
{
    const TreeReader::TreePlaces places(mRoot);
    TreeReader::ReleaseContents contents;
    contents.project = project;
    contents.release = ReleaseVersion;
    contents.directories = plan.directories;
    const uint32 flags = TreeReader::FlagsOf(plan.storage, plan.compression);
    for (const ContentFile &file : files)
    {
        contents.files.push_back({file.path, ReleaseVersion, {}, flags, static_cast<uint32>(file.bytes.size())});
    }
    fs::create_directories(places.NakedFiles(project, ReleaseVersion));
    if (plan.storage == Storage::Archive)
    {
        WriteArchives(places, project, files, plan);
    }
    else
    {
        WriteNaked(places.NakedFiles(project, ReleaseVersion).string(), files);
    }
    WriteQuickly(places.ReleaseManifest(project, ReleaseVersion).string(), TreeWriter::BuildReleaseManifest(contents));
}

void Deployment::WriteSolution(const std::vector<ContentFile> &files, uint32 projectCount)
{
    std::string solution = "MORV Solution Manifest\n1.0.0.0\nsuite\n1.0.0.0\n" + std::to_string(projectCount) + "\n";
    std::string configuration = "MORV Configuration Manifest\n1.0.0.0\ndefault\n" + std::to_string(projectCount) + "\n";
    for (uint32 project = 0; project < projectCount; ++project)
    {
        const std::string name = "project" + std::to_string(project);
        std::vector<ContentFile> share;
        for (std::size_t index = project; index < files.size(); index += projectCount)
        {
            share.push_back(files[index]);
        }
        Write(share, {}, name);
        solution += name + "\n1.0.0.0\n" + std::to_string(project) + "\n0\n";
        configuration += name + "\n";
    }
    mIsSolution = true;
    fs::create_directories(WorkingDirectory());
    WriteQuickly(WorkingDirectory() + "/solutionmanifest", solution + "0\n");
    WriteQuickly(WorkingDirectory() + "/configurationmanifest", configuration);
}

std::string Deployment::WorkingDirectory() const
{
    const TreeReader::TreePlaces places(mRoot);
    const fs::path directory =
        mIsSolution ? places.Solution("suite", ReleaseVersion) : places.Release("benchmark", ReleaseVersion);
    return directory.string();
}

std::string Deployment::Manifest(const std::string &project) const
{
    return TreeReader::TreePlaces(mRoot).ReleaseManifest(project, ReleaseVersion).string();
}

std::string Deployment::NakedFiles() const
{
    return TreeReader::TreePlaces(mRoot).NakedFiles("benchmark", ReleaseVersion).string();
}

std::string Deployment::ArchiveData() const
{
    return (TreeReader::TreePlaces(mRoot).Archives("benchmark", ReleaseVersion) / "files0.vka.dat").string();
}

void StartOrDie(const std::string &workingDirectory, const char *path)
{
    if (MorvInitialize(0, 0, 0, workingDirectory.c_str()) != S_OK || MorvFileExists(path) == 0)
    {
        throw std::runtime_error("the library does not start in " + workingDirectory);
    }
}
} // namespace Keld::Benchmarks
