#include "Tools/TreeReader/DataFiles.h"

#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include <sys/stat.h>

namespace Keld::TreeReader
{
namespace fs = std::filesystem;

namespace
{
class DataFileLister
{
public:
    DataFileLister(const std::string &root, const std::string &project)
        : mRootLength(root.size() + 1), mProject(root + "/" + MORV::Reader::ProjectsDirectory + "/" + project)
    {
    }

    Result<DataFiles> List()
    {
        DataFiles files;
        Failure failure = ListVersions(MORV::Reader::FileArchivesDirectory, files.archives);
        failure = failure ? failure : ListVersions(MORV::Reader::ManagedFilesDirectory, files.managed);
        failure = failure ? failure : ListVersions(MORV::Reader::ReleasesDirectory, files.releases);
        if (failure)
        {
            return *failure;
        }
        std::erase_if(files.archives,
                      [](const DataFile &file)
                      {
                          const std::string index = std::string(".") + MORV::Reader::ArchiveIndexExtension;
                          return !file.path.ends_with(index) &&
                                 !file.path.ends_with(index + "." + MORV::Reader::ArchiveDataExtension);
                      });
        return files;
    }

private:
    Failure ListVersions(const char *kind, std::vector<DataFile> &files) const
    {
        const std::string directory = mProject + "/" + kind;
        const Result<std::vector<std::string>> names = ReadNames(directory);
        if (!names)
        {
            return names.GetFault().kind == FaultKind::NotThere ? Failure() : Failure(names.GetFault());
        }
        for (const std::string &name : *names)
        {
            MorvVersion version = 0;
            if (ParseVersion(name.c_str(), &version) && FormatVersion(version) == name)
            {
                if (const Failure failure = ListBelow(directory + "/" + name, version, files))
                {
                    return failure;
                }
            }
        }
        std::sort(files.begin(), files.end(),
                  [](const DataFile &left, const DataFile &right)
                  {
                      return left.path < right.path;
                  });
        return std::nullopt;
    }

    Failure ListBelow(const std::string &directory, MorvVersion version, std::vector<DataFile> &files) const
    {
        struct stat status = {};
        if (lstat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
        {
            return std::nullopt;
        }
        std::error_code error;
        fs::recursive_directory_iterator entry(directory, error);
        for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error))
        {
            if (lstat(entry->path().c_str(), &status) == 0 && S_ISREG(status.st_mode))
            {
                files.push_back(
                    {entry->path().string().substr(mRootLength), static_cast<uint64>(status.st_size), version});
            }
        }
        return error ? Failure(ExplainSystemError(directory, error.value())) : std::nullopt;
    }

    const std::size_t mRootLength;
    const std::string mProject;
};
} // namespace

std::vector<std::string> ListVersionDirectories(const std::string &directory)
{
    Result<std::vector<std::string>> names = ReadNames(directory);
    if (!names)
    {
        if (IsDoubt(names.GetFault().kind))
        {
            throw TreeError(names.GetFault().GetMessage());
        }
        return {};
    }
    std::erase_if(*names,
                  [&directory](const std::string &name)
                  {
                      MorvVersion version = 0;
                      struct stat status = {};
                      return !ParseVersion(name.c_str(), &version) || FormatVersion(version) != name ||
                             lstat((directory + "/" + name).c_str(), &status) != 0 || !S_ISDIR(status.st_mode);
                  });
    return std::move(*names);
}

Result<DataFiles> ListDataFiles(const std::string &root, const std::string &project)
{
    return DataFileLister(root, project).List();
}
} // namespace Keld::TreeReader
