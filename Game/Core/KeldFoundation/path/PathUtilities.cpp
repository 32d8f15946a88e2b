#include "KeldFoundation/path/PathUtilities.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/path/Path.h"

#include <algorithm>

namespace Keld
{
namespace
{
bool EndsInSlash(const std::string &path)
{
    return !path.empty() && path.back() == '/';
}

// Cuts the last component off a directory that ends in a slash. The only one stays.
void RemoveLastComponent(std::string &directory)
{
    if (directory.size() < 2)
    {
        return;
    }
    const std::string::size_type slash = directory.rfind('/', directory.size() - 2);
    if (slash != std::string::npos)
    {
        directory.resize(slash + 1);
    }
}

// The directory of `base`, which need not end in a slash.
std::string BaseDirectory(const char *base)
{
    std::string copy = TextOrEmpty(base);
    if (!copy.empty() && !EndsInSlash(copy))
    {
        copy += '/';
    }
    std::string directory;
    std::string name;
    std::string extension;
    SplitPath(copy.c_str(), directory, name, extension);
    NormalizeSeparators(directory);
    return directory;
}

// Takes the leading "./" and "../" of `directory` into `result`, and gives what is left of it.
std::string ApplyLeadingDots(const std::string &directory, std::string &result)
{
    std::string::size_type position = 0;
    while (true)
    {
        if (directory.compare(position, 2, "./") == 0)
        {
            position += 2;
        }
        else if (directory.compare(position, 3, "../") == 0)
        {
            RemoveLastComponent(result);
            position += 3;
        }
        else
        {
            return directory.substr(position);
        }
    }
}
} // namespace

void NormalizeSeparatorsLower(std::string &path)
{
    std::transform(path.begin(), path.end(), path.begin(), FoldCase);
    NormalizeSeparators(path);
}

void SplitPath(const char *path, std::string &directory, std::string &name, std::string &extension)
{
    const std::string text = TextOrEmpty(path);
    directory.clear();
    std::string rest = text;
    const std::string::size_type split = text.find_last_of("/\\:");
    if (split != std::string::npos)
    {
        directory = text.substr(0, split + 1);
        rest = text.substr(split + 1);
        if (text[split] == ':')
        {
            directory += '/';
        }
    }
    const std::string::size_type dot = rest.rfind('.');
    name = rest.substr(0, dot);
    if (dot != std::string::npos)
    {
        extension = rest.substr(dot + 1);
    }
}

void ResolveRelativePath(const char *path, const char *base, std::string &result)
{
    std::string directory;
    std::string name;
    std::string extension;
    SplitPath(path, directory, name, extension);
    if (directory.find(':') != std::string::npos)
    {
        result = path;
        NormalizeSeparators(result);
        return;
    }
    NormalizeSeparators(directory);
    result = BaseDirectory(base);
    const bool isPlain = !directory.empty() && directory[0] != '.' && directory.find('/') != std::string::npos;
    if (isPlain)
    {
        directory.insert(0, "./");
    }
    result += ApplyLeadingDots(directory, result);
    if (!result.empty() && !EndsInSlash(result))
    {
        result += '/';
    }
    if (!name.empty())
    {
        result += name + "." + extension;
    }
}

bool SplitPathComponents(const char *path, std::vector<std::string> &components)
{
    return SplitString(TextOrEmpty(path), "/\\", components, 1);
}
} // namespace Keld
