#include "Tools/morv/Library.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/morv/Console.h"

#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <algorithm>
#include <stdexcept>

namespace Keld::Morv
{
using TreeReader::TreeError;

namespace
{
constexpr uint32 LibraryPieceSize = 1 << 20;
constexpr uint32 NameCapacity = 1024;
constexpr std::size_t MostKeptOpen = 16;

struct FindCloser
{
    void operator()(FindHandle *handle) const { MorvFindClose(handle); }
};
using Search = std::unique_ptr<FindHandle, FindCloser>;

std::string DirectoryOf(const TreeReader::Reference &reference)
{
    const TreeReader::TreePlaces places(reference.root);
    const TreeReader::ReleaseName &name = reference.name;
    return name.isSolution ? places.Solution(name.name, name.version) : places.Release(name.name, name.version);
}

bool StartIn(const std::string &directory)
{
    try
    {
        return MorvInitialize(0, 0, 0, directory.c_str()) >= 0;
    }
    catch (const std::length_error &)
    {
        return false; // a manifest that counts more strings than can be
    }
}

// The library only says that it could not start. The reading core tells more.
[[noreturn]] void ExplainFailedStart(const TreeReader::Reference &reference, const std::string &directory)
{
    TreeReader::TreeSet trees;
    const auto view = trees.Open(reference);
    const TreeReader::Failure failure = view ? view->CheckServable() : view.GetFault();
    throw TreeError(failure ? failure->GetMessage()
                            : "nothing can be served from " + directory + ": see the lines above, or use --verbose");
}
} // namespace

Library::Library(TreeReader::Reference reference) : FileSystem(std::move(reference))
{
    const std::string directory = DirectoryOf(GetReference());
    if (!StartIn(directory) || !Exists("/"))
    {
        MorvShutdown();
        ExplainFailedStart(GetReference(), directory);
    }
    mIsDamaged = HasLibraryFailed();
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

bool Library::Enumerate(const std::string &directory, const std::string &pattern, const Visit &visit) const
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

std::string Library::ResolveTyped(const std::string &typed) const
{
    std::string path = typed;
    NormalizeSeparators(path);
    while (path.starts_with("./") || path.starts_with('/'))
    {
        path.erase(0, path.find('/') + 1);
    }
    while (path.ends_with('/'))
    {
        path.pop_back();
    }
    return path == "." ? "" : path;
}

void Library::FileCloser::operator()(OpenFileHandle *handle) const
{
    MorvCloseFile(handle);
}

void Library::ReadFile(const std::string &path, const Range &range, const Sink &sink)
{
    OpenFile file(MorvOpenFile(path.c_str()));
    if (file == nullptr)
    {
        if (IsDirectory(path))
        {
            RefuseDirectory(path);
        }
        throw TreeError(path + ": cannot be opened; \"morv stat\" shows where it should lie");
    }
    const auto size = static_cast<uint64>(MorvGetFileSize(file.get()));
    if (range.offset > size)
    {
        throw TreeError(path + ": has " + std::to_string(size) + " bytes, and none from byte " +
                        std::to_string(range.offset) + " on");
    }
    const uint64 end = range.offset + std::min(range.length, size - range.offset);
    std::string buffer(std::min<uint64>(end - range.offset, LibraryPieceSize), '\0');
    for (uint64 offset = range.offset; offset < end;)
    {
        const auto wanted = static_cast<uint32>(std::min<uint64>(end - offset, LibraryPieceSize));
        uint32 delivered = 0;
        if (MorvRead(file.get(), offset, wanted, &delivered, buffer.data()) < 0 || delivered != wanted)
        {
            throw TreeError(path + ": cannot be read from byte " + std::to_string(offset) + " on: it should have " +
                            std::to_string(size) + " bytes; pack the release again");
        }
        sink(std::string_view(buffer.data(), delivered));
        offset += delivered;
    }
    KeepOpen(std::move(file));
}

void Library::KeepOpen(OpenFile file)
{
    if (mKeptOpen.size() == MostKeptOpen)
    {
        mKeptOpen.erase(mKeptOpen.begin());
    }
    mKeptOpen.push_back(std::move(file));
}
} // namespace Keld::Morv
