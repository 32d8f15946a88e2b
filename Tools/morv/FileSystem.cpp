#include "Tools/morv/FileSystem.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"

namespace Keld::Morv
{
namespace
{
bool IsUsableName(const std::string &name)
{
    return !name.empty() && name != "." && name != ".." && name.find_first_of("/\\") == std::string::npos;
}
} // namespace

std::optional<std::vector<FileSystem::Entry>> FileSystem::List(const std::string &directory) const
{
    std::vector<Entry> entries;
    const bool found = Enumerate(directory, "*",
                                 [&entries](const Entry &entry)
                                 {
                                     entries.push_back(entry);
                                 });
    return found ? std::make_optional(std::move(entries)) : std::nullopt;
}

std::optional<FileSystem::Entry> FileSystem::FindEntry(const std::string &path) const
{
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "" : path.substr(0, slash);
    const std::string name = path.substr(slash + 1);
    std::optional<Entry> found;
    Enumerate(directory, "*",
              [&](const Entry &entry)
              {
                  if (!found && TreeReader::EqualsIgnoringCase(entry.name, name))
                  {
                      found = entry;
                  }
              });
    return found;
}

void FileSystem::RefuseDirectory(const std::string &path)
{
    throw TreeReader::TreeError((path.empty() ? "/" : path) + ": is a directory; name the files in it");
}

bool LeadsDown(const std::vector<FileSystem::Entry> &entries, std::size_t index)
{
    const FileSystem::Entry &entry = entries[index];
    if (!entry.isDirectory || !IsUsableName(entry.name))
    {
        return false;
    }
    // Equal names stand side by side: a directory is sorted by name.
    const FileSystem::Entry *previous = index > 0 ? &entries[index - 1] : nullptr;
    return previous == nullptr || !previous->isDirectory || !TreeReader::EqualsIgnoringCase(previous->name, entry.name);
}

std::string JoinVirtual(const std::string &directory, const std::string &name)
{
    return directory.empty() ? name : directory + "/" + name;
}
} // namespace Keld::Morv
