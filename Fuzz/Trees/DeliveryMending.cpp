// What deliveries say of themselves, made true again: sizes and sums in shiplists, counts and paths in heads of
// bundles.

#include "Trees/TreeMutation.h"

#include "Mutation/ByteMutation.h"

#include "Tools/Delivery/Bundles/BundleHead.h"
#include "Tools/Delivery/Sums/ShipList.h"
#include "Tools/Delivery/Text/PathText.h"

#include <algorithm>
#include <map>

namespace Keld::Fuzz
{
namespace
{
constexpr std::size_t HeadLines = 3; // of a shiplist

/// Where the files lie that a shiplist tells of: below the tree's root, or beside it in a bundle.
std::string PrefixOf(const std::string &path)
{
    const std::size_t projects = path.find("projects/");
    const std::size_t solutions = path.find("solutions/");
    const std::size_t end = std::min(projects, solutions);
    return path.substr(0, end != std::string::npos ? end : path.rfind('/') + 1);
}

/// The path in a line of a shiplist; empty where it is none.
std::string PathOfLine(const std::string &line)
{
    std::string path;
    const std::size_t afterSum = line.find(' ');
    const std::size_t afterSize = afterSum == line.npos ? line.npos : line.find(' ', afterSum + 1);
    const bool isPath = afterSize != line.npos && Delivery::ReadEscapedPath(line.substr(afterSize + 1), path);
    return isPath ? path : "";
}

void MendShipList(const TreeInput &input, TreeEntry &entry)
{
    const std::vector<std::string> lines = SplitLines(entry.bytes);
    const std::string prefix = PrefixOf(entry.path);
    std::map<std::string, Delivery::ShippedFile> files;
    for (std::size_t index = HeadLines; index < lines.size(); ++index)
    {
        const std::string path = PathOfLine(lines[index]);
        const std::string *bytes = input.Find(prefix + path);
        if (!path.empty() && bytes != nullptr)
        {
            files[path] = {path, bytes->size(), Delivery::SumOf(*bytes)};
        }
    }
    if (lines.size() < HeadLines)
    {
        return;
    }
    std::vector<Delivery::ShippedFile> listed;
    listed.reserve(files.size());
    for (auto &[path, file] : files)
    {
        listed.push_back(std::move(file));
    }
    // The second line stays as it is, whatever it says.
    std::vector<std::string> mended = SplitLines(Delivery::ShipList({}, std::move(listed)).GetText());
    mended[1] = lines[1];
    entry.bytes = JoinLines(mended);
}

void MendHead(const TreeInput &input, TreeEntry &entry)
{
    std::vector<std::string> lines = SplitLines(entry.bytes);
    const std::string prefix = PrefixOf(entry.path);
    uint64 size = 0;
    std::vector<std::string> paths;
    for (const TreeEntry &file : input.entries)
    {
        const std::string path = file.path.starts_with(prefix) ? file.path.substr(prefix.size()) : "";
        if (path.find('/') != std::string::npos)
        {
            size += file.bytes.size();
            paths.push_back(Delivery::EscapePath(path));
        }
    }
    lines.resize(3);
    lines.push_back("files " + std::to_string(paths.size()) + " " + std::to_string(size));
    lines.insert(lines.end(), paths.begin(), paths.end());
    entry.bytes = JoinLines(lines);
}
} // namespace

void MendTree(TreeInput &input)
{
    for (TreeEntry &entry : input.entries)
    {
        if (NameOfPath(entry.path) == "shiplist")
        {
            MendShipList(input, entry);
        }
    }
    for (TreeEntry &entry : input.entries)
    {
        if (NameOfPath(entry.path) == "bundle")
        {
            MendHead(input, entry);
        }
    }
}
} // namespace Keld::Fuzz
