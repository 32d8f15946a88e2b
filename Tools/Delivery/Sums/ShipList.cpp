#include "Tools/Delivery/Sums/ShipList.h"

#include "Tools/Delivery/Text/PathText.h"
#include "Tools/Delivery/Text/TextLines.h"
#include "Tools/Delivery/Text/TreePath.h"
#include "Tools/TreeReader/ShipListNames.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>

namespace Keld::Delivery
{
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::ReleaseName;
using TreeReader::Result;

namespace
{
constexpr std::string_view ListTitle = "morv shiplist 1";
constexpr std::string_view ReleaseWord = "release ";
constexpr std::string_view ListFilesWord = "files ";

/// Takes a text apart line by line. The first thing that is wrong ends it.
class ShipListParser
{
public:
    ShipListParser(std::string_view text, const std::string &where) : mLines(text), mWhere(where) {}

    Result<ShipList> Parse()
    {
        ReleaseName release;
        std::string_view line;
        if (!mLines.Next(line) || line != ListTitle)
        {
            return Refuse("is no shiplist of this version: the first line should be \"" + std::string(ListTitle) +
                          "\"");
        }
        if (!mLines.NextBehind(ReleaseWord, line) || !ReadRelease(line, release))
        {
            return Refuse("names no release");
        }
        if (!mLines.NextBehind(ListFilesWord, line) || !ReadCountAndSize(line, mCount, mSize))
        {
            return Refuse("does not say how many files and bytes it lists");
        }
        std::vector<ShippedFile> files;
        uint64 size = 0;
        while (!mLines.IsAtEnd())
        {
            ShippedFile file;
            if (!mLines.Next(line))
            {
                return Refuse("ends within a line");
            }
            if (const TreeReader::Failure failure = ReadFile(line, file))
            {
                return *failure;
            }
            if (!files.empty() && !(files.back().path < file.path))
            {
                return Refuse("lists \"" + file.path + "\" twice or out of order");
            }
            size += file.size;
            files.push_back(std::move(file));
        }
        if (files.size() != mCount || size != mSize)
        {
            return Refuse("does not list as much as its third line says: it was cut short or changed");
        }
        return ShipList(std::move(release), std::move(files));
    }

private:
    /// "<sum> <size> <path>".
    TreeReader::Failure ReadFile(std::string_view line, ShippedFile &file) const
    {
        const uint_size afterSum = line.find(' ');
        const uint_size afterSize = afterSum == line.npos ? line.npos : line.find(' ', afterSum + 1);
        if (afterSize == line.npos || !ReadSum(line.substr(0, afterSum), file.sum) ||
            !ReadNumber(line.substr(afterSum + 1, afterSize - afterSum - 1), file.size) ||
            !ReadEscapedPath(line.substr(afterSize + 1), file.path))
        {
            return Refuse("is no line of a shiplist");
        }
        const Result<TreePath> place = ReadTreePath(file.path);
        if (!place)
        {
            return Refuse("lists " + place.GetFault().GetMessage());
        }
        if (place->role == FileRole::ShipList || place->role == FileRole::ShipListSignature)
        {
            return Refuse("lists a shiplist");
        }
        return std::nullopt;
    }

    Fault Refuse(const std::string &why) const
    {
        return {FaultKind::BadManifest, mWhere, "line " + std::to_string(mLines.GetNumber()) + " " + why};
    }

    TextLines mLines;
    const std::string &mWhere;
    uint64 mCount = 0;
    uint64 mSize = 0;
};

std::string DirectoryOf(const ReleaseName &release)
{
    return std::string(release.isSolution ? MORV::Reader::SolutionsDirectory : MORV::Reader::ProjectsDirectory) + "/" +
           release.name + "/" + MORV::Reader::ReleasesDirectory + "/" + FormatVersion(release.version) + "/";
}
} // namespace

ShipList::ShipList(ReleaseName release, std::vector<ShippedFile> files)
    : mRelease(std::move(release)), mFiles(std::move(files))
{
    std::sort(mFiles.begin(), mFiles.end(),
              [](const ShippedFile &left, const ShippedFile &right)
              {
                  return left.path < right.path;
              });
}

Result<ShipList> ShipList::Parse(std::string_view text, const std::string &where)
{
    if (text.size() > SizeLimit)
    {
        return Fault{FaultKind::BadManifest, where,
                     "is longer than a shiplist may be, " + std::to_string(SizeLimit) + " bytes"};
    }
    return ShipListParser(text, where).Parse();
}

std::string ShipList::GetText() const
{
    std::string text(ListTitle);
    text += "\n";
    text += ReleaseWord;
    text += FormatRelease(mRelease) + "\n";
    text += ListFilesWord;
    text += std::to_string(mFiles.size()) + " " + std::to_string(GetSize()) + "\n";
    for (const ShippedFile &file : mFiles)
    {
        text += FormatSum(file.sum) + " " + std::to_string(file.size) + " " + EscapePath(file.path) + "\n";
    }
    return text;
}

uint64 ShipList::GetSize() const
{
    uint64 size = 0;
    for (const ShippedFile &file : mFiles)
    {
        size += file.size;
    }
    return size;
}

const ShippedFile *ShipList::Find(std::string_view path) const
{
    const auto found = std::lower_bound(mFiles.begin(), mFiles.end(), path,
                                        [](const ShippedFile &file, std::string_view searched)
                                        {
                                            return file.path < searched;
                                        });
    return found != mFiles.end() && found->path == path ? &*found : nullptr;
}

std::string PathOfShipList(const ReleaseName &release)
{
    return DirectoryOf(release) + TreeReader::ShipListName;
}

std::string PathOfShipListSignature(const ReleaseName &release)
{
    return DirectoryOf(release) + TreeReader::ShipListSignatureName;
}
} // namespace Keld::Delivery
