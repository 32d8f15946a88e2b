#include "Consumer/WholeTrace/TracedLibrary.h"

#include <algorithm>
#include <deque>

// Several calls at once.
namespace Keld::Test::WholeTrace
{
namespace
{
constexpr std::size_t NamesShown = 24; ///< of a longer enumeration only a digest

std::string Joined(const std::string &directory, const std::string &name)
{
    return directory.empty() ? name : directory + "/" + name;
}
} // namespace

void TracedLibrary::List(const std::string &path)
{
    Observe("list " + mTrace.Quoted(path),
            [&]
            {
                std::vector<std::string> files;
                const std::vector<std::string> shown = ListDirectory(path, files);
                std::string text;
                for (const std::string &entry : shown)
                {
                    text += (text.empty() ? "" : " | ") + mTrace.Quoted(entry);
                }
                return shown.size() <= NamesShown ? std::to_string(shown.size()) + " " + text
                                                  : std::to_string(shown.size()) + " " + Digest(text);
            });
}

// Every entry as "name/" or "name:size", the name alone in `files` when it is a file. A missing directory gives "null".
std::vector<std::string> TracedLibrary::ListDirectory(const std::string &path, std::vector<std::string> &files)
{
    FindHandle *const find = MorvFindFirstFile(path.c_str());
    if (find == nullptr)
    {
        return {"null"};
    }
    std::vector<std::string> shown;
    std::string name(8192, '\0');
    std::uint32_t isDirectory = 0;
    std::uint64_t size = 0;
    while (MorvFindNextFile(find, &isDirectory, &size, static_cast<std::uint32_t>(name.size()), name.data()) == S_OK)
    {
        const bool isFile = isDirectory == 0;
        shown.push_back(name.c_str() + (isFile ? ":" + std::to_string(size) : std::string("/")));
        if (isFile)
        {
            files.emplace_back(name.c_str());
        }
    }
    MorvFindClose(find);
    return shown;
}

void TracedLibrary::Visit(const std::string &path)
{
    const int handle = Open(path);
    if (handle >= 0)
    {
        Size(handle);
        const auto size = static_cast<std::uint32_t>(MorvGetFileSize(File(handle)));
        Read(handle, 0, std::min<std::uint32_t>(size, std::uint32_t{8} << 20));
        Read(handle, size / 2, 7);
        Close(handle);
    }
}

void TracedLibrary::ReadThoroughly(const std::string &path, std::uint32_t size)
{
    const int handle = Open(path);
    if (handle < 0)
    {
        return;
    }
    const std::uint64_t ends[] = {0, 1, size / 2, size - 1ULL, size, size + 1ULL, size + 4096ULL};
    for (const std::uint64_t offset : ends)
    {
        for (const std::uint32_t count : {0U, 1U, 7U, 4096U, size, size + 1U})
        {
            Read(handle, offset & 0xFFFFFFFF, count);
        }
    }
    for (const std::uint64_t offset :
         {0x7FFFFFFFULL, 0x80000000ULL, 0xFFFFFFFFULL, 0x100000000ULL, 0x100000001ULL, 0x7FFFFFFFFFFFFFFFULL,
          0x8000000000000000ULL, 0x8000000000000001ULL, 0xFFFFFFFFFFFFF000ULL, 0xFFFFFFFFFFFFFFFFULL})
    {
        for (const std::uint32_t count : {0U, 1U, 4096U})
        {
            Read(handle, offset, count);
        }
    }
    ReadWithoutCount(handle, 0, 16);
    ReadWithoutCount(handle, size, 16);
    Size(handle);
    Close(handle);
}

void TracedLibrary::Walk()
{
    std::deque<std::string> directories = {""};
    for (; !directories.empty(); directories.pop_front())
    {
        const std::string directory = directories.front();
        List(Joined(directory, "*"));
        std::vector<std::string> files;
        for (const std::string &entry : ListDirectory(Joined(directory, "*"), files))
        {
            if (!entry.ends_with('/'))
            {
                continue;
            }
            const std::string subdirectory = Joined(directory, entry.substr(0, entry.size() - 1));
            Exists(subdirectory);
            if (entry != "/") // a child without a name can be its own parent, as "a/" is "a"
            {
                directories.push_back(subdirectory);
            }
        }
        for (const std::string &file : files)
        {
            Visit(Joined(directory, file));
        }
    }
}
} // namespace Keld::Test::WholeTrace
