#include "Tools/Delivery/Arrival/WayClearing.h"

#include "Tools/TreeWriter/DirectoryProtection.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Delivery
{
namespace
{
/// The kind of what stands at a path, or 0 where nothing does.
mode_t KindAt(const std::string &path)
{
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}
} // namespace

WayClearing::WayClearing(const Common::OutputDirectory &directory, std::string root,
                         std::function<void(const std::string &path, const std::string &aside)> told)
    : mDirectory(directory), mRoot(std::move(root)), mTold(std::move(told))
{
}

void WayClearing::ClearWayTo(const std::string &path) const
{
    for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1))
    {
        const std::string above = path.substr(0, end);
        const mode_t kind = KindAt(mRoot + "/" + above);
        if (kind != 0 && kind != S_IFDIR && kind != S_IFLNK)
        {
            PutAside(above);
            return;
        }
    }
}

void WayClearing::ClearPlaceOf(const std::string &path) const
{
    if (KindAt(mRoot + "/" + path) == S_IFDIR)
    {
        PutAside(path);
    }
}

void WayClearing::PutAside(const std::string &path) const
{
    const std::size_t cut = path.rfind('/') + 1;
    const std::string parent = path.substr(0, cut == 0 ? 0 : cut - 1);
    const std::string name = path.substr(cut);
    const std::string parentPlace = mRoot + "/" + parent;
    const Common::Descriptor directory = mDirectory.OpenBelow(parent);
    const TreeWriter::ProtectionLifted lifted(parentPlace);
    if (unlinkat(directory.Get(), name.c_str(), AT_REMOVEDIR) == 0)
    {
        return; // it was an empty directory
    }
    std::string aside = name + ".aside";
    for (int number = 2; KindAt(parentPlace + "/" + aside) != 0; ++number)
    {
        aside = name + ".aside-" + std::to_string(number);
    }
    if (renameat(directory.Get(), name.c_str(), directory.Get(), aside.c_str()) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot put aside " + mRoot + "/" + path);
    }
    mTold(path, path.substr(0, cut) + aside);
}
} // namespace Keld::Delivery
