#include "Tools/TreeChecker/StrayFiles.h"

#include <algorithm>
#include <filesystem>
#include <span>

namespace Keld::TreeChecker
{
namespace fs = std::filesystem;
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

Amount Measure(const fs::path &directory)
{
    Amount amount;
    std::error_code error;
    for (auto entry = fs::recursive_directory_iterator(directory, error);
         !error && entry != fs::recursive_directory_iterator(); entry.increment(error))
    {
        std::error_code ignored;
        if (!entry->is_directory(ignored) || entry->is_symlink(ignored))
        {
            const uint64 size = entry->file_size(ignored);
            ++amount.files;
            amount.bytes += ignored ? 0 : size;
        }
    }
    return amount;
}

class StrayFiles
{
public:
    explicit StrayFiles(CheckReport &report) : mReport(report) {}

    /// \param referred the paths below `directory` that are referred to, ascending.
    void Search(const std::string &directory, Paths referred);

private:
    void CheckEntry(const fs::directory_entry &entry, Paths referred);
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
    std::error_code error;
    auto entry = fs::directory_iterator(directory, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error))
    {
        CheckEntry(*entry, referred);
    }
    if (error)
    {
        Tell(FaultKind::NotAllowed, directory, "cannot be looked through: " + error.message());
    }
}

void StrayFiles::CheckEntry(const fs::directory_entry &entry, Paths referred)
{
    const std::string path = entry.path().string();
    std::error_code ignored;
    if (entry.is_directory(ignored))
    {
        const Paths below = Below(referred, path + "/");
        if (!below.empty())
        {
            Search(path, below);
            return;
        }
        if (!entry.is_symlink(ignored))
        {
            const Amount amount = Measure(path);
            if (amount.files > 0)
            {
                Tell(FaultKind::NotReferred, path,
                     "nothing refers to this directory: " + std::to_string(amount.files) +
                         (amount.files == 1 ? " file, " : " files, ") + std::to_string(amount.bytes) + " bytes");
            }
            return;
        }
    }
    if (!std::binary_search(referred.begin(), referred.end(), path))
    {
        const uint64 size = entry.file_size(ignored);
        Tell(FaultKind::NotReferred, path,
             "nothing refers to this file: " + std::to_string(ignored ? 0 : size) + " bytes");
    }
}
} // namespace

void FindStrayFiles(const std::string &root, std::vector<std::string> referred, CheckReport &report)
{
    std::sort(referred.begin(), referred.end());
    StrayFiles(report).Search(root, referred);
}
} // namespace Keld::TreeChecker
