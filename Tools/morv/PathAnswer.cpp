#include "Tools/morv/PathAnswer.h"

#include <algorithm>

namespace Keld::Morv
{
using TreeReader::EntryIndex;
using TreeReader::Hit;
using TreeReader::NoEntry;
using TreeReader::Release;
using TreeReader::View;

namespace
{
void AddHit(const View &view, const Hit &hit, bool isFound, PathAnswer &answer)
{
    const Release &release = view.GetRelease(hit.layer);
    const bool isDirectory = release.GetTree().IsDirectory(hit.entry);
    if (!isDirectory && !isFound && !release.IsPresent(hit.entry))
    {
        answer.missing.push_back(hit);
    }
    else if (!answer.winner)
    {
        answer.winner = hit;
    }
    else if (isDirectory && isFound && view.IsDirectory(answer.winner))
    {
        answer.merged.push_back(hit);
    }
    else
    {
        answer.hidden.push_back(hit);
    }
}

/// What a layer answers comes first, and then what it lists besides.
void AddLayer(const View &view, uint32 layer, const std::string &path, PathAnswer &answer)
{
    const Release &release = view.GetRelease(layer);
    std::vector<EntryIndex> others;
    const EntryIndex found = release.FindEvery(path, others);
    if (found != NoEntry)
    {
        AddHit(view, {layer, found}, true, answer);
    }
    for (const EntryIndex other : others)
    {
        AddHit(view, {layer, other}, false, answer);
    }
}
} // namespace

PathAnswer AnswerPath(const View &view, const std::string &path)
{
    PathAnswer answer;
    for (uint32 layer = 0; layer < view.GetLayers().size(); ++layer)
    {
        AddLayer(view, layer, path, answer);
    }
    return answer;
}

Relation CompareHidden(const View &view, const Hit &winner, const Hit &hidden)
{
    const bool winnerIsDirectory = view.IsDirectory(winner);
    if (view.IsDirectory(hidden))
    {
        return winnerIsDirectory ? Relation::SecondDirectory : Relation::DirectoryUnder;
    }
    if (winnerIsDirectory)
    {
        return Relation::FileUnder;
    }
    const auto &left = view.GetRelease(winner.layer).GetTree().GetFields(winner.entry);
    const auto &right = view.GetRelease(hidden.layer).GetTree().GetFields(hidden.entry);
    const bool isEqual = uint32{left.size} == uint32{right.size} &&
                         std::equal(std::begin(left.digest), std::end(left.digest), std::begin(right.digest));
    return isEqual ? Relation::EqualFile : Relation::DifferentFile;
}

const char *NameOf(Relation relation)
{
    switch (relation)
    {
    case Relation::EqualFile:
        return "equal";
    case Relation::DifferentFile:
        return "different";
    case Relation::FileUnder:
        return "file-under-directory";
    case Relation::DirectoryUnder:
        return "directory-under-file";
    case Relation::SecondDirectory:
        break;
    }
    return "second-directory";
}
} // namespace Keld::Morv
