#include "Trees/TreeInput.h"

#include <algorithm>

namespace Keld::Fuzz
{
namespace
{
constexpr std::size_t MostEntries = 48;

uint32 TakeSize(std::string_view &bytes)
{
    uint32 size = 0;
    for (std::size_t index = 0; index < std::min<std::size_t>(4, bytes.size()); ++index)
    {
        size |= uint32{static_cast<uint8>(bytes[index])} << 8 * index;
    }
    bytes.remove_prefix(std::min<std::size_t>(4, bytes.size()));
    return size;
}

TreeEntry::Kind KindOf(char kind)
{
    return std::string_view("dplos").find(kind) != std::string_view::npos ? static_cast<TreeEntry::Kind>(kind)
                                                                          : TreeEntry::File;
}

void AppendEntry(std::string &bytes, const TreeEntry &entry)
{
    bytes += static_cast<char>(entry.kind);
    bytes += entry.path;
    bytes += '\0';
    for (std::size_t index = 0; index < 4; ++index)
    {
        bytes += static_cast<char>(entry.bytes.size() >> 8 * index);
    }
    bytes += entry.bytes;
}
} // namespace

TreeInput TreeInput::Parse(std::string_view bytes)
{
    TreeInput input;
    while (!bytes.empty() && input.entries.size() < MostEntries)
    {
        TreeEntry entry;
        entry.kind = KindOf(bytes.front());
        bytes.remove_prefix(1);
        const std::size_t end = std::min(bytes.find('\0'), bytes.size());
        entry.path = bytes.substr(0, end);
        bytes.remove_prefix(std::min(end + 1, bytes.size()));
        const std::size_t size = std::min<std::size_t>(TakeSize(bytes), bytes.size());
        entry.bytes = bytes.substr(0, size);
        bytes.remove_prefix(size);
        if (entry.kind == TreeEntry::Script)
        {
            input.script = std::move(entry.bytes);
        }
        else
        {
            input.entries.push_back(std::move(entry));
        }
    }
    return input;
}

std::string TreeInput::Bytes() const
{
    std::string bytes;
    AppendEntry(bytes, {TreeEntry::Script, "", script});
    for (const TreeEntry &entry : entries)
    {
        AppendEntry(bytes, entry);
    }
    return bytes;
}

const std::string *TreeInput::Find(std::string_view path) const
{
    for (const TreeEntry &entry : entries)
    {
        if (entry.kind == TreeEntry::File && entry.path == path)
        {
            return &entry.bytes;
        }
    }
    return nullptr;
}

bool IsPlainPath(std::string_view path)
{
    constexpr std::size_t longestPath = 900;
    constexpr std::size_t longestName = 250;
    const bool isWhole = !path.empty() && path.size() <= longestPath && path.find('\0') == std::string_view::npos;
    while (isWhole)
    {
        const std::size_t end = path.find('/');
        const std::string_view name = path.substr(0, end);
        if (name.empty() || name == "." || name == ".." || name.size() > longestName)
        {
            return false;
        }
        if (end == std::string_view::npos)
        {
            return true;
        }
        path.remove_prefix(end + 1);
    }
    return false;
}

std::string_view NameOfPath(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}
} // namespace Keld::Fuzz
