#include "Tools/TreeChecker/ManifestCheck.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Keld::TreeChecker
{
using TreeReader::EntryIndex;
using TreeReader::EntryRange;
using TreeReader::FaultKind;
using TreeReader::ManifestTree;

namespace
{
/// The walk over one manifest.
class ManifestCheck
{
public:
    ManifestCheck(const CheckedRelease &checked, CheckReport &report)
        : mChecked(checked), mTree(checked.release->GetTree()),
          mPath(checked.release->GetDirectory() + "/" + MORV::Reader::ReleaseManifestName), mReport(report)
    {
    }

    void Run()
    {
        CheckIdentity();
        CheckReach();
        for (const uint32 directory : mTree.GetDirectoriesByLevel())
        {
            CheckNames(directory);
            CheckDuplicates(directory);
        }
        CheckFlags();
        CheckStringCount();
    }

private:
    Finding MakeFinding(FaultKind kind, const std::string &text, std::vector<std::string> files = {}) const
    {
        return {{kind, mPath, text}, std::move(files), {}, {}, mChecked.users};
    }

    void AddFault(FaultKind kind, const std::string &text, std::vector<std::string> files = {})
    {
        mReport.faults.push_back(MakeFinding(kind, text, std::move(files)));
    }

    void AddNote(FaultKind kind, const std::string &text, std::vector<std::string> files = {})
    {
        mReport.notes.push_back(MakeFinding(kind, text, std::move(files)));
    }

    void CheckIdentity();
    void CheckReach();
    void CheckNames(EntryIndex directory);
    void CheckName(EntryIndex entry);
    void CheckDuplicates(EntryIndex directory);
    void CheckFlags();
    void CheckStringCount();

    const CheckedRelease &mChecked;
    const ManifestTree &mTree;
    const std::string mPath;
    CheckReport &mReport;
};

void ManifestCheck::CheckIdentity()
{
    if (mTree.GetProjectName() != mChecked.project)
    {
        AddFault(FaultKind::WrongName, std::string("names the project \"") + mTree.GetProjectName() +
                                           "\", and files are served from there; its directory says \"" +
                                           mChecked.project + "\"");
    }
    if (mTree.GetReleaseVersion() != mChecked.version)
    {
        AddFault(FaultKind::WrongName, "says that it is release " + FormatVersion(mTree.GetReleaseVersion()) +
                                           ", where naked files are looked for; its directory says " +
                                           FormatVersion(mChecked.version));
    }
}

/// Files that no directory holds are told with those that are missing.
void ManifestCheck::CheckReach()
{
    const uint_size reached = mTree.GetDirectoriesByLevel().size();
    if (reached != mTree.GetDirectoryCount())
    {
        AddFault(FaultKind::Unreachable,
                 "lists " + std::to_string(mTree.GetDirectoryCount() - reached) + " directories that no path leads to");
    }
    if (*mTree.GetName(TreeReader::RootEntry) != '\0')
    {
        AddFault(FaultKind::Unreachable, "gives its root directory a name, so that the library does not find it");
    }
}

void ManifestCheck::CheckNames(EntryIndex directory)
{
    for (const EntryRange &range : {mTree.GetSubdirectories(directory), mTree.GetFiles(directory)})
    {
        for (EntryIndex entry = range.first; entry < range.first + range.count; ++entry)
        {
            CheckName(entry);
        }
    }
}

void ManifestCheck::CheckName(EntryIndex entry)
{
    const std::string_view name(mTree.GetName(entry), std_strnlen(mTree.GetName(entry), PathBufferSize));
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string_view::npos)
    {
        const bool isAbsolute = name.starts_with('/');
        const std::string path = mTree.GetPath(entry);
        AddFault(FaultKind::UnsafeName,
                 name == ".." || isAbsolute ? "holds a name that leads out of the tree: \"" + std::string(name) + "\""
                                            : "holds a name that is none: \"" + std::string(name) + "\"",
                 {path});
    }
    else if (name.find('\\') != std::string_view::npos)
    {
        AddNote(FaultKind::Unreachable, "holds a name with a backslash, which no program can ask for",
                {mTree.GetPath(entry)});
    }
    else if (name.size() == PathBufferSize)
    {
        AddNote(FaultKind::Unreachable, "holds a name of 1,024 bytes or more, which no program can ask for",
                {mTree.GetPath(entry)});
    }
}

/// Subdirectories and files stand in ascending order each, so equal names are met side by side. Names that are too long
/// to be asked for are told as such, and are not compared to their ends.
void ManifestCheck::CheckDuplicates(EntryIndex directory)
{
    std::vector<EntryIndex> entries;
    std::ptrdiff_t firstFile = 0;
    for (const EntryRange &range : {mTree.GetSubdirectories(directory), mTree.GetFiles(directory)})
    {
        firstFile = static_cast<std::ptrdiff_t>(entries.size());
        for (EntryIndex entry = range.first; entry < range.first + range.count; ++entry)
        {
            if (std_strnlen(mTree.GetName(entry), PathBufferSize) < PathBufferSize)
            {
                entries.push_back(entry);
            }
        }
    }
    const auto isLess = [this](EntryIndex left, EntryIndex right)
    {
        return std_stricmp(mTree.GetName(left), mTree.GetName(right)) < 0;
    };
    std::inplace_merge(entries.begin(), entries.begin() + firstFile, entries.end(), isLess);
    for (uint_size index = 1; index < entries.size(); ++index)
    {
        if (!isLess(entries[index - 1], entries[index]))
        {
            AddFault(FaultKind::DuplicateName, "lists two entries of one name, without regard to case",
                     {mTree.GetPath(entries[index - 1]), mTree.GetPath(entries[index])});
        }
    }
}

void ManifestCheck::CheckFlags()
{
    std::vector<std::string> files;
    for (uint32 number = 0; number < mTree.GetFileCount(); ++number)
    {
        const EntryIndex file = mTree.GetFileEntry(number);
        const uint32 flags = mTree.GetFields(file).flags;
        if (TreeReader::FlagsOf(TreeReader::StorageOf(flags), TreeReader::CompressionOf(flags)) != flags)
        {
            files.push_back(mTree.GetPath(file));
        }
    }
    if (!files.empty())
    {
        AddNote(FaultKind::UnusedData, "sets flags of files that mean nothing", std::move(files));
    }
}

void ManifestCheck::CheckStringCount()
{
    const char *strings = mTree.GetTables().GetStringData();
    const auto found = std::count(strings, strings + mTree.GetTables().GetStringDataSize(), '\0');
    if (static_cast<uint64>(found) != mTree.GetTables().GetStatedStringCount())
    {
        AddNote(FaultKind::UnusedData, "states " + std::to_string(mTree.GetTables().GetStatedStringCount()) +
                                           " strings and has " + std::to_string(found));
    }
}
} // namespace

void CheckManifest(const CheckedRelease &checked, CheckReport &report)
{
    ManifestCheck(checked, report).Run();
}
} // namespace Keld::TreeChecker
