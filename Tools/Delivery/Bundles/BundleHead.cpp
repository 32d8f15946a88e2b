#include "Tools/Delivery/Bundles/BundleHead.h"

#include "Tools/Delivery/Text/PathText.h"
#include "Tools/Delivery/Text/TextLines.h"
#include "Tools/Delivery/Text/TreePath.h"

#include <set>

namespace Keld::Delivery
{
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::ReleaseName;
using TreeReader::Result;

namespace
{
constexpr std::string_view HeadTitle = "morv bundle 1";
constexpr std::string_view TargetWord = "target ";
constexpr std::string_view BaseWord = "base ";
constexpr std::string_view NoBase = "none";
constexpr std::string_view HeadFilesWord = "files ";

bool ReadBase(std::string_view text, std::optional<ReleaseName> &base)
{
    if (text == NoBase)
    {
        return true;
    }
    return ReadRelease(text, base.emplace());
}
} // namespace

std::string BundleHead::GetText() const
{
    std::string text = std::string(HeadTitle) + "\n" + std::string(TargetWord) + FormatRelease(target) + "\n" +
                       std::string(BaseWord) + (base ? FormatRelease(*base) : std::string(NoBase)) + "\n" +
                       std::string(HeadFilesWord) + std::to_string(files.size()) + " " + std::to_string(bytes) + "\n";
    for (const std::string &file : files)
    {
        text += EscapePath(file) + "\n";
    }
    return text;
}

Result<BundleHead> BundleHead::Parse(std::string_view text, const std::string &where)
{
    TextLines lines(text);
    const auto refuse = [&](const std::string &why)
    {
        return Fault{FaultKind::BadManifest, where, "line " + std::to_string(lines.GetNumber()) + " " + why};
    };
    BundleHead head;
    uint64 count = 0;
    std::string_view line;
    if (!lines.Next(line) || line != HeadTitle)
    {
        return refuse("is no head of a bundle of this version: it should be \"" + std::string(HeadTitle) + "\"");
    }
    if (!lines.NextBehind(TargetWord, line) || !ReadRelease(line, head.target))
    {
        return refuse("names no release");
    }
    if (!lines.NextBehind(BaseWord, line) || !ReadBase(line, head.base))
    {
        return refuse("names no base");
    }
    if (!lines.NextBehind(HeadFilesWord, line) || !ReadCountAndSize(line, count, head.bytes))
    {
        return refuse("does not say how many files and bytes follow");
    }
    std::set<std::string> known;
    while (!lines.IsAtEnd())
    {
        std::string path;
        if (!lines.Next(line) || !ReadEscapedPath(line, path))
        {
            return refuse("is no path");
        }
        if (const Result<TreePath> place = ReadTreePath(path); !place)
        {
            return refuse("names " + place.GetFault().GetMessage());
        }
        if (!known.insert(path).second)
        {
            return refuse("names \"" + path + "\" for the second time");
        }
        head.files.push_back(std::move(path));
    }
    if (head.files.size() != count)
    {
        return refuse("does not name as many files as its fourth line says");
    }
    return head;
}
} // namespace Keld::Delivery
