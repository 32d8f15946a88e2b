#include "Tools/TreeWriter/SourceCollector.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::TreeError;

namespace
{
constexpr uint64 LargestFile = 0xFFFFFFFE; // 0xFFFFFFFF is the size of what has none
constexpr std::size_t MostProblemsTold = 20;

/// A text whose bytes compare as the path's names do, one by one and without case.
std::string FoldedSortKey(const std::string &path)
{
    std::string key = TreeReader::FoldPath(path);
    std::replace(key.begin(), key.end(), '/', '\0');
    return key;
}

std::string NameOf(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}
} // namespace

SourceCollector::SourceCollector(fs::path root, const SourceOptions &options)
    : mOptions(options), mExcludedBy(options.excludes.size())
{
    mTree.root = std::move(root);
}

bool SourceCollector::IsExcluded(const std::string &path, bool isDirectory)
{
    bool excluded = false;
    for (std::size_t index = 0; index < mOptions.excludes.size(); ++index)
    {
        const Common::Glob &glob = mOptions.excludes[index];
        if ((isDirectory || !glob.IsForDirectories()) && glob.Matches(path))
        {
            ++mExcludedBy[index];
            excluded = true;
        }
    }
    mTree.excluded += excluded ? 1 : 0;
    return excluded;
}

void SourceCollector::AddDirectory(std::string path)
{
    mTree.directories.push_back(std::move(path));
}

void SourceCollector::AddFile(SourceFile file)
{
    if (CanHoldSize(file.path, file.size))
    {
        mTree.files.push_back(std::move(file));
    }
}

bool SourceCollector::CanHold(const std::string &path)
{
    if (path.find('\\') != std::string::npos)
    {
        Refuse(path, "has a backslash in its name, which the reader takes for a separator");
        return false;
    }
    if (path.size() > LongestPath)
    {
        Refuse(path, "its virtual path is longer than 1023 bytes");
        return false;
    }
    return true;
}

bool SourceCollector::CanHoldSize(const std::string &path, uint64 size)
{
    if (size > LargestFile)
    {
        Refuse(path, "is larger than 4294967294 bytes, the most that a manifest can tell: split it");
    }
    return size <= LargestFile;
}

void SourceCollector::Refuse(const std::string &path, const std::string &problem)
{
    if (++mProblemCount <= MostProblemsTold)
    {
        mProblems += (mProblems.empty() ? "" : "\n") + Label(path) + ": " + problem;
    }
}

SourceTree SourceCollector::Finish()
{
    const std::vector<Entry> entries = ListEntries();
    RefuseTwins(entries);
    if (mProblemCount == 0 && mTree.files.empty())
    {
        Refuse("", "holds no files, and a release without files cannot be served");
    }
    if (mProblemCount > MostProblemsTold)
    {
        mProblems += "\n... and " + std::to_string(mProblemCount - MostProblemsTold) + " more";
    }
    if (mProblemCount > 0)
    {
        throw TreeError(mProblems);
    }

    std::vector<SourceFile> files;
    mTree.directories.clear();
    for (const Entry &entry : entries)
    {
        if (entry.isDirectory)
        {
            mTree.directories.push_back(entry.path);
        }
        else
        {
            files.push_back(std::move(mTree.files[entry.file]));
        }
    }
    mTree.files = std::move(files);
    NoteIdlePatterns();
    return std::move(mTree);
}

/// Files and directories, those above them included, sorted; each directory once.
std::vector<SourceCollector::Entry> SourceCollector::ListEntries() const
{
    std::set<std::string> directories(mTree.directories.begin(), mTree.directories.end());
    std::vector<Entry> entries;
    entries.reserve(mTree.files.size() + mTree.directories.size());
    std::string_view known; // the directory of the file before, which most share
    for (std::size_t index = 0; index < mTree.files.size(); ++index)
    {
        const std::string &path = mTree.files[index].path;
        entries.push_back({FoldedSortKey(path), path, false, index});
        std::size_t end = path.rfind('/');
        if (end != path.npos && known == std::string_view(path).substr(0, end))
        {
            continue;
        }
        known = std::string_view(path).substr(0, end == path.npos ? 0 : end);
        while (end != path.npos && end > 0 && directories.insert(path.substr(0, end)).second)
        {
            end = path.rfind('/', end - 1);
        }
    }
    for (const std::string &path : directories)
    {
        entries.push_back({FoldedSortKey(path), path, true, 0});
    }
    std::sort(entries.begin(), entries.end(),
              [](const Entry &left, const Entry &right)
              {
                  return left.key != right.key ? left.key < right.key : left.path < right.path;
              });
    const auto isSame = [](const Entry &left, const Entry &right)
    {
        return left.path == right.path && left.isDirectory == right.isDirectory; // listed twice
    };
    entries.erase(std::unique(entries.begin(), entries.end(), isSame), entries.end());
    return entries;
}

void SourceCollector::RefuseTwins(const std::vector<Entry> &entries)
{
    for (std::size_t index = 1; index < entries.size(); ++index)
    {
        const Entry &entry = entries[index];
        const Entry &before = entries[index - 1];
        const std::size_t nameAt = entry.path.rfind('/') + 1;
        const bool sameDirectory = entry.path.compare(0, nameAt, before.path, 0, nameAt) == 0;
        if (entry.key != before.key || !sameDirectory)
        {
            continue; // what lies in two directories of one name is told by those
        }
        if (entry.path == before.path)
        {
            Refuse(entry.path, "is there as a file and as a directory");
        }
        else
        {
            Refuse(entry.path, "differs from " + NameOf(before.path) +
                                   " in case alone, and virtual paths have no case: rename one");
        }
    }
}

void SourceCollector::NoteIdlePatterns()
{
    for (std::size_t index = 0; index < mExcludedBy.size(); ++index)
    {
        if (mExcludedBy[index] == 0)
        {
            mTree.notes.push_back("--exclude \"" + mOptions.excludes[index].GetPattern() + "\" matches nothing");
        }
    }
}

std::string SourceCollector::Label(const std::string &path) const
{
    return path.empty() ? mTree.root.string() : (mTree.root / path).string();
}
} // namespace Keld::TreeWriter
