#include "Oracle/Disk.h"

#include <filesystem>
#include <fstream>
#include <set>

#include <glob.h>

namespace Keld::Test::Oracle
{
namespace
{
namespace fs = std::filesystem;

std::string WithoutRepeatedSeparators(const std::string &path)
{
    std::string single;
    for (const char character : path)
    {
        if (character != '/' || !single.ends_with('/'))
        {
            single += character;
        }
    }
    return single;
}
} // namespace

bool Disk::Write(const std::string &path, std::string_view bytes)
{
    if (!MakeDirectory(fs::path(path).parent_path().string()))
    {
        return false;
    }
    if (std::error_code error; fs::is_symlink(path, error))
    {
        Remove(path); // else the link's target would be written
    }
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream)
    {
        return false;
    }
    Content &content = mFiles[path];
    if (content == nullptr)
    {
        content = std::make_shared<std::string>();
    }
    *content = bytes;
    return true;
}

bool Disk::MakeDirectory(const std::string &path)
{
    if (!mDirectories.contains(path))
    {
        std::error_code error;
        fs::create_directories(path, error);
        if (!fs::is_directory(path, error))
        {
            return false;
        }
        mDirectories.insert(path);
    }
    return true;
}

bool Disk::Link(const std::string &path, const std::string &target)
{
    std::error_code error;
    if (!MakeDirectory(fs::path(path).parent_path().string()) || fs::exists(fs::symlink_status(path, error)))
    {
        return false;
    }
    fs::create_symlink(target, path, error);
    if (const Content content = Find(target); !error && content != nullptr)
    {
        mFiles[path] = content;
    }
    return !error;
}

void Disk::Remove(const std::string &path)
{
    fs::remove(path);
    mFiles.erase(path);
}

void Disk::WorkIn(const std::string &directory)
{
    fs::current_path(directory);
    mWorkingDirectory = directory;
}

std::string Disk::Absolute(const std::string &path) const
{
    return WithoutRepeatedSeparators(path.starts_with('/') ? path : mWorkingDirectory + "/" + path);
}

Disk::Content Disk::Find(const std::string &path) const
{
    const auto found = mFiles.find(Absolute(path));
    return found == mFiles.end() ? nullptr : found->second;
}

std::vector<std::string> Disk::Files(std::string_view part) const
{
    std::vector<std::string> paths;
    for (const auto &[path, content] : mFiles)
    {
        if (path.find(part) != std::string::npos)
        {
            paths.push_back(path);
        }
    }
    return paths;
}

std::vector<std::string> Disk::NamesLike(const std::string &pattern)
{
    glob_t found{};
    std::vector<std::string> names;
    if (glob(pattern.c_str(), GLOB_NOSORT, nullptr, &found) == 0)
    {
        for (std::size_t index = 0; index < found.gl_pathc; ++index)
        {
            std::error_code error;
            const fs::path path = found.gl_pathv[index];
            if (!fs::is_directory(path, error))
            {
                names.push_back(path.filename().string());
            }
        }
    }
    globfree(&found);
    return names;
}

std::string Disk::Difference() const
{
    std::string difference;
    std::set<std::string> found;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(Root()))
    {
        std::error_code error;
        const std::string path = entry.path().string();
        if (!entry.is_regular_file(error))
        {
            continue;
        }
        found.insert(path);
        const Content content = Find(path);
        if (content == nullptr || content->size() != entry.file_size())
        {
            difference += (content == nullptr ? "should be gone: " : "has another size: ") + path + "\n";
        }
    }
    for (const auto &[path, content] : mFiles)
    {
        if (!found.contains(path))
        {
            difference += "should be there: " + path + "\n";
        }
    }
    return difference;
}

std::string Disk::Text() const
{
    std::string text;
    for (const auto &[path, content] : mFiles)
    {
        text += path + "  " + std::to_string(content->size()) + "\n";
    }
    return text;
}
} // namespace Keld::Test::Oracle
