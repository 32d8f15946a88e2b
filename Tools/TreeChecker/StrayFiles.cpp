#include "Tools/TreeChecker/StrayFiles.h"

#include "Tools/TreeReader/DirectoryVisit.h"

#include <algorithm>
#include <span>

namespace Keld::TreeChecker
{
using TreeReader::FaultKind;

namespace
{
using Paths = std::span<const std::string>;

/// How much a directory holds, all levels together.
struct Amount
{
    uint64 files = 0;
    uint64 bytes = 0;
};

uint64 SizeOf(const struct stat &status)
{
    return S_ISREG(status.st_mode) ? static_cast<uint64>(status.st_size) : 0;
}

/// \returns what kept it from the rest
TreeReader::Failure Measure(const std::string &directory, Amount &amount)
{
    return TreeReader::VisitTree(directory,
                                 [&amount](const std::string &, const struct stat &status)
                                 {
                                     amount.files += S_ISDIR(status.st_mode) ? 0 : 1;
                                     amount.bytes += SizeOf(status);
                                     return true;
                                 });
}

class StrayFiles
{
public:
    explicit StrayFiles(CheckReport &report) : mReport(report) {}

    /// \param referred the paths below `directory` that are referred to, ascending.
    void Search(const std::string &directory, Paths referred);

private:
    void CheckEntry(const std::string &path, const struct stat &status, Paths referred);
    void TellUnreferred(const std::string &directory);
    void TellUnseen(const std::string &directory, const TreeReader::Failure &failure);
    void Tell(FaultKind kind, const std::string &path, const std::string &text)
    {
        mReport.notes.push_back({{kind, path, text}, {}, {}, {}, {}});
    }

    CheckReport &mReport;
};

/// The paths that begin with a text.
Paths Below(Paths paths, const std::string &prefix)
{
    const auto first = std::lower_bound(paths.begin(), paths.end(), prefix);
    const auto end = std::partition_point(first, paths.end(),
                                          [&prefix](const std::string &path)
                                          {
                                              return path.starts_with(prefix);
                                          });
    return {first, end};
}

void StrayFiles::Search(const std::string &directory, Paths referred)
{
    const TreeReader::Failure failure =
        TreeReader::VisitDirectory(directory,
                                   [&](const std::string &path, const struct stat &status)
                                   {
                                       CheckEntry(path, status, referred);
                                       return true;
                                   });
    TellUnseen(directory, failure);
}

void StrayFiles::TellUnseen(const std::string &directory, const TreeReader::Failure &failure)
{
    if (failure)
    {
        Tell(failure->kind, directory, "cannot be looked through: " + failure->GetMessage());
    }
}

void StrayFiles::TellUnreferred(const std::string &directory)
{
    Amount amount;
    const TreeReader::Failure failure = Measure(directory, amount);
    if (amount.files > 0)
    {
        Tell(FaultKind::NotReferred, directory,
             std::string("nothing refers to this directory: ") + (failure ? "at least " : "") +
                 std::to_string(amount.files) + (amount.files == 1 ? " file, " : " files, ") +
                 std::to_string(amount.bytes) + " bytes");
    }
    TellUnseen(directory, failure);
}

void StrayFiles::CheckEntry(const std::string &path, const struct stat &status, Paths referred)
{
    const bool isLink = S_ISLNK(status.st_mode);
    struct stat target = status;
    if (isLink && stat(path.c_str(), &target) != 0)
    {
        target = status; // it leads nowhere
    }
    if (S_ISDIR(target.st_mode))
    {
        const Paths below = Below(referred, path + "/");
        if (!below.empty())
        {
            Search(path, below);
            return;
        }
        if (!isLink)
        {
            TellUnreferred(path);
            return;
        }
    }
    if (!std::binary_search(referred.begin(), referred.end(), path))
    {
        Tell(FaultKind::NotReferred, path, "nothing refers to this file: " + std::to_string(SizeOf(target)) + " bytes");
    }
}
} // namespace

void FindStrayFiles(const std::string &root, std::vector<std::string> referred, CheckReport &report)
{
    std::sort(referred.begin(), referred.end());
    StrayFiles(report).Search(root, referred);
}
} // namespace Keld::TreeChecker
