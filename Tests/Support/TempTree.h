#pragma once

#include <string>
#include <string_view>

namespace Keld::Test
{
/// A directory of its own on the real disk, removed with all that is in it at the end. Paths are relative to it.
class TempTree
{
public:
    TempTree();
    ~TempTree();

    TempTree(const TempTree &) = delete;
    TempTree &operator=(const TempTree &) = delete;

    /// The directory's absolute path, without a trailing separator and without symbolic links.
    const std::string &Root() const { return mRoot; }

    /// The absolute path of something inside.
    std::string Path(std::string_view relative) const;

    /// Writes a whole file, making the directories above it. Gives its absolute path.
    std::string Write(std::string_view relative, std::string_view bytes) const;

    std::string MakeDirectory(std::string_view relative) const;
    std::string Read(std::string_view relative) const;
    bool Exists(std::string_view relative) const;
    void Remove(std::string_view relative) const;

private:
    std::string mRoot;
};
} // namespace Keld::Test
