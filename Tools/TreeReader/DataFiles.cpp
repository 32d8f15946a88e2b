#include "Tools/TreeReader/DataFiles.h"

#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/DiskFile.h"

#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

namespace Keld::TreeReader
{
namespace
{
/// Whether a directory stands there, and not a link to one.
Result<bool> IsDirectory(const std::string &path)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) == 0)
    {
        return S_ISDIR(status.st_mode);
    }
    const Fault fault = ExplainSystemError(path, errno);
    return IsDoubt(fault.kind) ? Result<bool>(fault) : Result<bool>(false);
}

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
        const Result<bool> isThere = IsDirectory(directory);
        if (!isThere || !*isThere)
        {
            return isThere ? Failure() : Failure(isThere.GetFault());
        }
        return VisitTree(
            directory,
            [&](const std::string &path, const struct stat &found)
            {
                if (S_ISREG(found.st_mode))
                {
                    files.push_back({path.substr(mRootLength), static_cast<uint64>(found.st_size), version});
                }
                return true;
            });
    }

    const std::size_t mRootLength;
    const std::string mProject;
};
} // namespace

std::vector<std::string> ListVersionDirectories(const std::string &directory)
{
    std::vector<std::string> names = RequireNames(directory);
    std::erase_if(names,
                  [&directory](const std::string &name)
                  {
                      MorvVersion version = 0;
                      if (!ParseVersion(name.c_str(), &version) || FormatVersion(version) != name)
                      {
                          return true;
                      }
                      const Result<bool> isThere = IsDirectory(directory + "/" + name);
                      RequireNoDoubt(isThere ? Failure() : Failure(isThere.GetFault()));
                      return !*isThere;
                  });
    return names;
}

Result<DataFiles> ListDataFiles(const std::string &root, const std::string &project)
{
    return DataFileLister(root, project).List();
}
} // namespace Keld::TreeReader
