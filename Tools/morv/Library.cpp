#include "Tools/morv/Library.h"

#include "Tools/TreeReader/Deployment.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/morv/Console.h"

#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <algorithm>
#include <memory>

namespace Keld::Morv
{
using TreeReader::TreeError;

namespace
{
constexpr uint32 PieceSize = 1 << 20;
constexpr uint32 NameCapacity = 1024;

struct FindCloser
{
    void operator()(FindHandle *handle) const { MorvFindClose(handle); }
};
using Search = std::unique_ptr<FindHandle, FindCloser>;

// The library only says that it could not start. The manifests tell more.
[[noreturn]] void ExplainFailedStart(const std::string &workingDirectory)
{
    HideLibraryLog();
    const TreeReader::Deployment deployment = TreeReader::ResolveDeployment(workingDirectory);
    if (deployment.releases.empty())
    {
        throw TreeError("the configuration of the solution " + deployment.name +
                        " uses no project: write it again with \"morv solution --use\"");
    }
    throw TreeError("nothing can be served from " + workingDirectory + ": see the lines above, or use --verbose");
}
} // namespace

Library::Library(const std::string &workingDirectory)
{
    const bool started = MorvInitialize(0, 0, 0, workingDirectory.c_str()) >= 0;
    if (!started || !Exists("/"))
    {
        ExplainFailedStart(workingDirectory);
    }
}

Library::~Library()
{
    mKeptOpen.clear();
    MorvShutdown();
}

bool Library::Exists(const std::string &path) const
{
    return MorvFileExists(path.empty() ? "/" : path.c_str()) != 0;
}

bool Library::IsDirectory(const std::string &path) const
{
    return Search(MorvFindFirstFile(JoinVirtual(path, "*").c_str())) != nullptr;
}

bool Library::Enumerate(const std::string &directory, const std::string &pattern,
                        const std::function<void(const Entry &)> &visit) const
{
    const Search search(MorvFindFirstFile(JoinVirtual(directory, pattern).c_str()));
    if (search == nullptr)
    {
        return false;
    }
    char name[NameCapacity];
    uint32 isDirectory = 0;
    uint64 size = 0;
    while (MorvFindNextFile(search.get(), &isDirectory, &size, NameCapacity, name) >= 0)
    {
        visit(Entry{name, isDirectory != 0, size});
    }
    return true;
}

std::optional<Library::Entry> Library::FindEntry(const std::string &path) const
{
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash);
    const std::string name = path.substr(slash + 1);
    std::optional<Entry> found;
    Enumerate(directory, "*",
              [&](const Entry &entry)
              {
                  if (!found && TreeReader::EqualsIgnoringCase(entry.name, name))
                  {
                      found = entry;
                  }
              });
    return found;
}

void Library::FileCloser::operator()(OpenFileHandle *handle) const
{
    MorvCloseFile(handle);
}

void Library::ReadFile(const std::string &path, bool keepOpen, const std::function<void(std::string_view)> &sink)
{
    std::unique_ptr<OpenFileHandle, FileCloser> file(MorvOpenFile(path.c_str()));
    if (file == nullptr)
    {
        throw TreeError(path + ": cannot be opened; \"morv stat\" shows where it should lie");
    }
    const auto size = static_cast<uint64>(MorvGetFileSize(file.get()));
    std::string buffer(std::min<uint64>(size, PieceSize), '\0');
    for (uint64 offset = 0; offset < size;)
    {
        const auto wanted = static_cast<uint32>(std::min<uint64>(size - offset, PieceSize));
        uint32 delivered = 0;
        if (MorvRead(file.get(), offset, wanted, &delivered, buffer.data()) < 0 || delivered != wanted)
        {
            throw TreeError(path + ": cannot be read from byte " + std::to_string(offset) + " on: it should have " +
                            std::to_string(size) + " bytes; pack the release again");
        }
        sink(std::string_view(buffer.data(), delivered));
        offset += delivered;
    }
    if (keepOpen)
    {
        mKeptOpen.push_back(std::move(file));
    }
}

std::string VirtualPath(std::string typed)
{
    NormalizeSeparators(typed);
    while (typed.rfind("./", 0) == 0 || typed.rfind('/', 0) == 0)
    {
        typed.erase(0, typed.find('/') + 1);
    }
    while (!typed.empty() && typed.back() == '/')
    {
        typed.pop_back();
    }
    return typed == "." ? "" : typed;
}

bool CanBeAskedFor(const std::string &name)
{
    return !name.empty() && name.find_first_of("/\\") == std::string::npos;
}

std::string JoinVirtual(const std::string &directory, const std::string &name)
{
    return directory.empty() ? name : directory + "/" + name;
}
} // namespace Keld::Morv
