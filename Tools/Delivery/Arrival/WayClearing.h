#pragma once

#include "Tools/Common/OutputDirectory.h"

#include <functional>
#include <string>

namespace Keld::Delivery
{
/// Puts aside what stands where files are to come: a directory in a file's place, and a file in a directory's. It gets
/// another name in the same directory, so that nothing of it is lost, or is removed where it is an empty directory.
/// Symbolic links are left alone. Calls throw std::system_error.
class WayClearing
{
public:
    /// \param directory the root, open; must outlive this
    /// \param root      its absolute path
    /// \param told      is told of what was put aside, by the path that it had below the root, and the one it has now
    WayClearing(const Common::OutputDirectory &directory, std::string root,
                std::function<void(const std::string &path, const std::string &aside)> told);

    /// Of what is no directory on the way to a file.
    void ClearWayTo(const std::string &path) const;

    /// Of a directory in the place of a file.
    void ClearPlaceOf(const std::string &path) const;

private:
    void PutAside(const std::string &path) const;

    const Common::OutputDirectory &mDirectory;
    const std::string mRoot;
    const std::function<void(const std::string &path, const std::string &aside)> mTold;
};
} // namespace Keld::Delivery
