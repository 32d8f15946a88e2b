#include "Tools/TreeWriter/TreeNames.h"

#include "Tools/TreeReader/TreeError.h"

#include "KeldMorvIO/TreeWords.h"

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using namespace MORV::Reader;
using TreeReader::TreeError;

namespace
{
constexpr std::size_t LongestName = 255;
constexpr const char *WildcardCharacters = "*?[\\";
constexpr const char *SolutionWord = "solution:";
} // namespace

bool IsDirectoryName(const std::string &name)
{
    return !name.empty() && name != "." && name != ".." && name.find_first_of(std::string("/\0", 2)) == name.npos;
}

void RequireUsableName(const std::string &what, const std::string &name)
{
    const auto refuse = [&](const std::string &reason)
    {
        throw TreeError("the " + what + " name \"" + name + "\" " + reason);
    };
    if (!IsDirectoryName(name))
    {
        refuse("is no directory name");
    }
    if (name.size() > LongestName || name.find_first_of(std::string("\r\n\0", 3)) != name.npos)
    {
        refuse("must be at most 255 bytes on one line");
    }
    if (name.find_first_of(WildcardCharacters) != name.npos)
    {
        refuse("must not hold any of * ? [ \\");
    }
    if (name.starts_with(SolutionWord))
    {
        refuse("begins with \"" + std::string(SolutionWord) + "\", by which people and lists name a solution");
    }
    for (const std::string word : {RootDirectory, ProjectsDirectory, SolutionsDirectory, ReleasesDirectory})
    {
        if (name.size() >= word.size() && name.compare(name.size() - word.size(), word.size(), word) == 0)
        {
            refuse("ends in \"" + word + "\", a word by which the reader finds its way: choose another");
        }
    }
}

fs::path RequireUsableRoot(const fs::path &root)
{
    fs::path absolute = fs::weakly_canonical(fs::absolute(root));
    if (!absolute.has_filename())
    {
        absolute = absolute.parent_path();
    }
    if (absolute.filename() != RootDirectory && fs::is_symlink(fs::symlink_status(fs::absolute(root))))
    {
        throw TreeError("the root of a deployment tree must be named MORV, and " + root.string() +
                        " is a link to one that is not: " + absolute.string());
    }
    if (absolute.filename() != RootDirectory)
    {
        throw TreeError("the root of a deployment tree must be named MORV: use --root " +
                        (root / RootDirectory).lexically_normal().string());
    }
    if (absolute.string().find_first_of(WildcardCharacters) != std::string::npos)
    {
        throw TreeError("the path of the root must not hold any of * ? [ \\: " + absolute.string());
    }
    std::error_code error;
    if (fs::exists(absolute, error) && !fs::is_directory(absolute, error))
    {
        throw TreeError(absolute.string() + " is no directory");
    }
    return absolute;
}

void RequireRootForSolutions(const fs::path &root)
{
    if ((root.string() + "/").find(std::string(ProjectsDirectory) + "/") != std::string::npos)
    {
        throw TreeError("no solution starts under " + root.string() +
                        ": a path with \"projects/\" in it is always taken for a project; put the tree elsewhere");
    }
}
} // namespace Keld::TreeWriter
