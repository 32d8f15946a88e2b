#pragma once

#include "Tools/TreeMount/ListingAdvice.h"
#include "Tools/TreeMount/MountedFileSystem.h"

#include <functional>

namespace Keld::TreeMount
{
/// What the calls of the kernel work on: the user data of a session.
struct FuseContext
{
    MountedFileSystem &fileSystem;
    std::function<void()> whenReady; ///< called once, when the kernel has begun to talk
    bool opensFiles = true;          ///< the kernel needs calls for opening and closing
    bool opensDirectories = true;
    ListingAdvice listingAdvice = {};
};
} // namespace Keld::TreeMount
