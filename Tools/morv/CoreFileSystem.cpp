#include "Tools/morv/CoreFileSystem.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/CommandSet.h"

#include "KeldFoundation/CStd/CStd.h"

#include <cstring>

namespace Keld::Morv
{
namespace
{
// The find calls hand out no more of a name; only a damaged manifest has a longer one.
constexpr std::size_t LongestName = 1023;
} // namespace

CoreFileSystem::CoreFileSystem(std::unique_ptr<TreeReader::TreeSet> trees, OpenedView opened, unsigned threadCount,
                               bool checkDigests)
    : FileSystem(std::move(opened.reference)), mTrees(std::move(trees)), mView(std::move(opened.view)),
      mCheckDigests(checkDigests), mCensus(TakeCensus(mView, threadCount))
{
    if (!mCensus.IsWhole())
    {
        PrintError(mCensus.GetSummary());
    }
}

bool CoreFileSystem::Enumerate(const std::string &directory, const std::string &pattern, const Visit &visit) const
{
    const auto entries = mView.Enumerate(directory);
    if (entries == nullptr)
    {
        return false;
    }
    for (; entries->IsValid(); entries->Next())
    {
        const TreeReader::LayerIterator &current = entries->GetCurrent();
        const char *name = current.GetName();
        if (pattern != "*" && !std_wildcard_match(name, pattern.c_str()))
        {
            continue;
        }
        const TreeReader::ManifestTree &tree = mView.GetRelease(current.GetLayer()).GetTree();
        visit(Entry{std::string(name, strnlen(name, LongestName)), current.IsDirectory(), current.GetSize(),
                    current.IsDirectory() ? nullptr : &tree.GetFields(current.GetEntry())});
    }
    return true;
}

void CoreFileSystem::ReadFile(const std::string &path, const Range &range, const Sink &sink)
{
    const TreeReader::Hit hit = mView.Find(path);
    if (mView.IsDirectory(hit))
    {
        RefuseDirectory(path);
    }
    const TreeReader::Release &release = mView.GetRelease(hit.layer);
    const uint64 size = release.GetTree().GetFields(hit.entry).size;
    if (range.offset > size)
    {
        throw TreeReader::TreeError(path + ": has " + std::to_string(size) + " bytes, and none from byte " +
                                    std::to_string(range.offset) + " on");
    }
    const TreeReader::ReadOptions options{range.offset, range.length, mCheckDigests};
    if (const TreeReader::Failure failure = mReader.Read(release, hit.entry, options, sink))
    {
        throw TreeReader::TreeError(path + ": " + failure->GetMessage());
    }
}

std::string CoreFileSystem::ResolveTyped(const std::string &typed) const
{
    TreeReader::TypedPath resolved = mView.ResolveTyped(typed);
    if (!resolved.note.empty())
    {
        PrintNote(resolved.note);
    }
    return std::move(resolved.path);
}
} // namespace Keld::Morv
