#include "Tools/RandomTree.h"

#include "Tools/TreeReader/TreeText.h"

#include <algorithm>

namespace Keld::Test
{
namespace
{
constexpr uint32 Sizes[] = {0,     1,     2,     9,      4095,   65511,  65512,  65513,      65514,
                            65535, 65536, 65537, 131072, 262143, 262144, 262145, 524288 + 3, 3 * 1024 * 1024 + 7};

/// What one path must not be to another: equal but for case, or a directory of it.
bool Collides(const std::string &left, const std::string &right)
{
    return left == right || left.rfind(right + "/", 0) == 0 || right.rfind(left + "/", 0) == 0;
}
} // namespace

uint32 RandomTree::Below(uint32 limit)
{
    return static_cast<uint32>(mRandom() % limit);
}

std::string RandomTree::MakeContent()
{
    const uint32 size = Sizes[Below(std::size(Sizes))];
    const uint32 alphabet = Below(3) != 0 ? 1 + Below(12) : 256;
    // Noise has no shorter form; anything else repeats a stretch, with a change now and then.
    const uint32 period = alphabet == 256 ? size : 997;
    std::string content(size, '\0');
    for (uint32 at = 0; at < size; ++at)
    {
        const bool repeats = at >= period && at % 4093 != 0;
        content[at] = repeats ? content[at - period] : static_cast<char>(Below(alphabet));
    }
    return content;
}

std::string RandomTree::MakeName()
{
    static constexpr const char *pieces[] = {"a", "B",    "map", "Sky", ".dds", ".txt", "-",  "_", " ",
                                             "é", "\xFF", "0",   "x.y", "+",    "~",    "%s", "z"};
    std::string name;
    for (uint32 count = 1 + Below(4); count > 0; --count)
    {
        name += pieces[Below(std::size(pieces))];
    }
    return Below(40) == 0 ? name + std::string(200, 'n') : name;
}

std::string RandomTree::MakePath()
{
    // Few directory names, so that directories hold several files and repeat their parents' names.
    static constexpr const char *directories[] = {"data", "b", "Maps", "b", "textures.d"};
    std::string path;
    for (uint32 depth = Below(5); depth > 0; --depth)
    {
        path += std::string(directories[Below(std::size(directories))]) + "/";
    }
    return path + MakeName();
}

bool RandomTree::FitsIn(const FileContents &files, const std::string &path) const
{
    const std::string folded = TreeReader::FoldPath(path);
    return std::none_of(files.begin(), files.end(),
                        [&folded](const auto &file)
                        {
                            return Collides(TreeReader::FoldPath(file.first), folded);
                        });
}

FileContents RandomTree::Make(std::size_t fileCount)
{
    FileContents files;
    while (files.size() < fileCount)
    {
        const std::string path = MakePath();
        if (FitsIn(files, path))
        {
            files.emplace(path, MakeContent());
        }
    }
    return files;
}

FileContents RandomTree::Change(const FileContents &files)
{
    FileContents changed;
    for (const auto &[path, content] : files)
    {
        const uint32 fate = Below(10);
        if (fate != 0)
        {
            changed.emplace(path, fate < 3 ? MakeContent() : content);
        }
    }
    for (uint32 count = 1 + Below(5); count > 0;)
    {
        const std::string path = MakePath();
        if (FitsIn(changed, path))
        {
            changed.emplace(path, MakeContent());
            --count;
        }
    }
    return changed;
}
} // namespace Keld::Test
