// The text manifest of a solution.

#include "FuzzSupport.h"
#include "KeldMorvIO/environment/SolutionManifest.h"

#include <algorithm>
#include <cerrno>

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    using namespace Keld;
    using MORV::Reader::SolutionManifest;
    Fuzz::SilenceLog();
    const Fuzz::MemoryFile file(data, size);
    for (const int staleError : {0, ENOENT}) // the reader judges what errno held before
    {
        errno = staleError;
        SolutionManifest manifest;
        manifest.Load(file.Path());
        const auto &projects = manifest.GetProjects();
        Fuzz::Require(std::is_sorted(projects.begin(), projects.end(), MORV::Reader::ManifestNameOrder()),
                      "projects are sorted by name");
        Fuzz::Require(projects.size() <= size + 1, "no more projects than lines");
    }
    return 0;
}
