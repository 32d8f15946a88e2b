#pragma once

#include "Trees/TreeInput.h"

#include <map>
#include <string>

namespace Keld::Fuzz
{
/// A directory on a disk in memory that becomes one input after the other. What two of them have in common is left
/// where it is. It goes with the object.
///
/// The environment variable TMPDIR says where; without it, it is "/dev/shm" or "/tmp".
class TreeOnDisk
{
public:
    TreeOnDisk();
    ~TreeOnDisk();

    TreeOnDisk(const TreeOnDisk &) = delete;
    TreeOnDisk &operator=(const TreeOnDisk &) = delete;

    /// Absolute, without symbolic links.
    const std::string &GetRoot() const { return mRoot; }
    std::string GetPath(const std::string &relative) const { return mRoot + "/" + relative; }

    /// Puts an input's entries there and takes away those of the last one. Of several for one place the first counts;
    /// paths that are not plain are left out. An archive index that somebody has deleted meanwhile comes back.
    /// \param elsewhere what paths begin with that are left out, too; empty for none
    void Become(const TreeInput &input, std::string_view elsewhere = {});

    /// Whether something is there under a path; links are not followed.
    bool Has(const std::string &relative) const;

    /// Makes a directory in the root. False when something else has its name.
    bool MakeDirectory(const std::string &name) const;

    /// Takes away what is in the root under a name, whoever has made it: for code that writes there. Everything else
    /// goes too where a link leads out of it.
    void Discard(const std::string &name);

private:
    void Clear();
    bool Make(const TreeEntry &entry) const;
    bool MakeParents(const std::string &path) const;
    void Remove(const std::string &relative) const;

    std::string mRoot;
    std::map<std::string, TreeEntry> mPresent; ///< by path
};

/// What the next descriptor will be: the same before and after whoever gives back all that it opens.
int FindFreeDescriptor();
} // namespace Keld::Fuzz
