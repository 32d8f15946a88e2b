// All archive indexes of one version, in the directory "archives": load them, with the deletion of what cannot be used,
// and ask for every path. Nothing but unusable indexes may be gone afterwards.

#include "FuzzSupport.h"
#include "Trees/TreeCase.h"

#include "KeldMorvIO/archive/ArchiveFile.h"
#include "KeldMorvIO/archive/ArchiveVersionManager.h"

#include <algorithm>
#include <map>
#include <memory>

#include <sys/stat.h>

namespace
{
using namespace Keld;
using Fuzz::Require;
using MORV::Reader::ArchiveFile;
using MORV::Reader::ArchiveVersionManager;

constexpr std::size_t MostPaths = 64;
const std::string Directory = "archives";

/// What stands at the places that an input names, and whether it is to stay.
std::map<std::string, bool> Foretell(const Fuzz::TreeOnDisk &disk, const Fuzz::TreeInput &input)
{
    std::map<std::string, bool> stays;
    for (const Fuzz::TreeEntry &entry : input.entries)
    {
        struct stat status = {};
        const bool isThere = Fuzz::IsPlainPath(entry.path) && lstat(disk.GetPath(entry.path).c_str(), &status) == 0;
        if (!isThere || S_ISLNK(status.st_mode)) // a link depends on what becomes of another entry
        {
            continue;
        }
        const std::string name(Fuzz::NameOfPath(entry.path));
        const bool isAsked = entry.path == Directory + "/" + name && name.ends_with(".vka") && name.front() != '.';
        if (isAsked && S_ISREG(status.st_mode))
        {
            ArchiveFile archive(name, disk.GetPath(Directory), 0);
            stays[entry.path] = archive.Read(nullptr) && archive.GetTotalSize() != 0;
        }
        else
        {
            stays[entry.path] = true;
        }
    }
    return stays;
}

void AskForAll(const ArchiveVersionManager &manager)
{
    std::vector<std::string> paths;
    manager.GetContents(paths);
    for (std::size_t index = 0; index < std::min(paths.size(), MostPaths); ++index)
    {
        std::string archive;
        uint32 offset = 0;
        uint32 size = 0;
        const bool isFound = manager.Find(paths[index], archive, offset, size);
        Require(!isFound || archive.ends_with(".vka.dat"), "a path lies in a data file");
        Require(!isFound || manager.FileExists(paths[index].c_str()), "what has a place is there");
    }
    Require(!manager.FileExists("no such name in any seed"), "what was never packed is not there");
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size);
    const Fuzz::TreeOnDisk &disk = test.GetDisk();
    const std::map<std::string, bool> foretold = Foretell(disk, test.GetInput());
    const std::unique_ptr<const ArchiveVersionManager> manager(ArchiveVersionManager::Create(disk.GetPath(Directory)));
    if (manager != nullptr)
    {
        AskForAll(*manager);
    }
    for (const auto &[path, stays] : foretold)
    {
        Require(disk.Has(path) == stays, "an index is deleted when it cannot be used, and nothing else is");
    }
    return 0;
}
