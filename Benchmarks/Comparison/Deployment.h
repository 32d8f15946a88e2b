#pragma once

#include "Benchmarks/Comparison/Content.h"

#include "Tools/TreeReader/Storage.h"

namespace Keld::Benchmarks
{
/// How a release keeps its files.
struct ReleasePlan
{
    TreeReader::Storage storage = TreeReader::Storage::Archive;
    TreeReader::Compression compression = TreeReader::Compression::None;
    uint32 archiveCount = 1;
    std::vector<std::string> directories = {}; ///< without files
};

/// A deployment tree of one project, or of a solution over several.
class Deployment
{
public:
    /// Below `place`, which is there.
    explicit Deployment(const std::filesystem::path &place);

    /// Writes a release of a project.
    void Write(const std::vector<ContentFile> &files, const ReleasePlan &plan = {},
               const std::string &project = "benchmark") const;

    /// Writes a solution whose projects share the files evenly, and starts with it from now on.
    void WriteSolution(const std::vector<ContentFile> &files, uint32 projectCount);

    /// Where to start the library.
    std::string WorkingDirectory() const;

    std::string Manifest(const std::string &project = "benchmark") const;
    std::string NakedFiles() const;

    /// Of the only archive.
    std::string ArchiveData() const;

private:
    std::filesystem::path mRoot;
    bool mIsSolution = false;
};

/// Ends the process with a word unless the library starts there and holds a path of the files.
void StartOrDie(const std::string &workingDirectory, const char *path);
} // namespace Keld::Benchmarks
