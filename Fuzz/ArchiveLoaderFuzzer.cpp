// All archive indexes of one version, in the directory "archives": load them, with the deletion of what cannot be used,
// and ask for every path. Nothing but unusable indexes may be gone afterwards.

#include "FuzzSupport.h"
#include "Trees/TreeCase.h"

#include "KeldMorvIO/archive/ArchiveFile.h"
#include "KeldMorvIO/archive/ArchiveVersionManager.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <system_error>

#include <sys/stat.h>

namespace
{
using namespace Keld;
using Fuzz::Require;
using MORV::Reader::ArchiveFile;
using MORV::Reader::ArchiveVersionManager;

constexpr std::size_t MostPaths = 64;
const std::string Directory = "archives";

/// The names that are asked for.
struct AskedNames
{
    std::set<std::string> all;
    std::set<std::string> byOthers; ///< those that another name leads to
};

/// A backslash separates names for the library, so it asks for what follows the last one.
AskedNames ListAsked(const std::string &directory)
{
    AskedNames asked;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(directory, error))
    {
        const std::string name = entry.path().filename();
        if (name.ends_with(".vka") && name.front() != '.')
        {
            const std::string last = name.substr(name.rfind('\\') + 1);
            asked.all.insert(last);
            if (last != name)
            {
                asked.byOthers.insert(last);
            }
        }
    }
    return asked;
}

/// What stands at the places that an input names, and whether it is to stay.
std::map<std::string, bool> Foretell(const Fuzz::TreeOnDisk &disk, const Fuzz::TreeInput &input)
{
    const AskedNames asked = ListAsked(disk.GetPath(Directory));
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
        const bool isWithin = entry.path == Directory + "/" + name;
        const bool isAsked = isWithin && asked.all.count(name) != 0;
        if (isWithin && !S_ISREG(status.st_mode) && asked.byOthers.count(name) != 0)
        {
            continue; // passed over by its own name, and by the other one deleted as an index, where that can be done
        }
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
