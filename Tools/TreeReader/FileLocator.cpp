#include "Tools/TreeReader/FileLocator.h"

#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"

#include "KeldMorvIO/archive/ArchiveFormat.h"

namespace Keld::TreeReader
{
namespace fs = std::filesystem;

namespace
{
FileLocation LocatePlain(fs::path file)
{
    FileLocation location;
    std::error_code error;
    location.found = fs::is_regular_file(file, error);
    location.storedSize = location.found ? fs::file_size(file, error) : 0;
    location.file = std::move(file);
    return location;
}
} // namespace

FileLocator::FileLocator(TreePlaces tree, std::string project) : mTree(std::move(tree)), mProject(std::move(project)) {}

FileLocation FileLocator::Locate(const ReleaseFile &file, MorvVersion release)
{
    switch (StorageOf(file.flags))
    {
    case Storage::Naked:
        return LocatePlain(mTree.NakedFiles(mProject, release) / file.path);
    case Storage::Managed:
        return LocatePlain(mTree.ManagedFiles(mProject, file.version) / file.path);
    case Storage::Archive:
        break;
    }
    const ArchiveContents &archives = GetArchives(file.version);
    const auto entry = archives.find(FoldPath(file.path));
    if (entry != archives.end())
    {
        return entry->second;
    }
    FileLocation missing;
    missing.file = mTree.Archives(mProject, file.version);
    return missing;
}

const FileLocator::ArchiveContents &FileLocator::GetArchives(MorvVersion version)
{
    const auto known = mArchives.find(version);
    if (known != mArchives.end())
    {
        return known->second;
    }
    ArchiveContents contents;
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(mTree.Archives(mProject, version), error))
    {
        if (entry.path().extension() == std::string(".") + MORV::Reader::ArchiveIndexExtension)
        {
            AddArchive(entry.path(), contents);
        }
    }
    return mArchives.emplace(version, std::move(contents)).first->second;
}

void FileLocator::AddArchive(const fs::path &index, ArchiveContents &contents)
{
    const fs::path data = index.string() + "." + MORV::Reader::ArchiveDataExtension;
    std::error_code error;
    const bool dataExists = fs::is_regular_file(data, error);
    try
    {
        for (const ArchivedFile &file : ReadArchiveIndex(index))
        {
            contents.emplace(FoldPath(file.path), FileLocation{dataExists, data, file.offset, file.size});
        }
    }
    catch (const TreeError &)
    {
        // A damaged index holds nothing: its files count as missing, and they are what the caller reports.
    }
}
} // namespace Keld::TreeReader
