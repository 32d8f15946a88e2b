#pragma once

#include "Tools/TreeMount/FuseContext.h"

#include <memory>
#include <string>

struct fuse_session;

namespace Keld::TreeMount
{
/// How a file system is mounted.
struct MountRequest
{
    std::string mountPoint;  ///< an absolute path
    std::string source;      ///< what is mounted, as lists of mounts show it
    bool allowOther = false; ///< users other than the one who mounts
    unsigned threadCount = 1;
};

/// A file system mounted through libfuse, from construction on until it is taken away from outside, a signal comes
/// (interrupt, hang-up, terminate), or it is destroyed. One for each process: it has the signals.
class FuseSession
{
public:
    /// Mounts. Throws TreeError with what libfuse says.
    FuseSession(MountedFileSystem &fileSystem, const MountRequest &request);
    ~FuseSession();

    FuseSession(const FuseSession &) = delete;
    FuseSession &operator=(const FuseSession &) = delete;

    /// Serves until the end. Throws TreeError when the kernel cannot be talked to.
    /// \param whenReady called when the kernel has begun to talk, from any thread.
    void Serve(std::function<void()> whenReady);

private:
    struct Destroyer
    {
        void operator()(fuse_session *session) const;
    };

    void Mount(const MountRequest &request);

    const unsigned mThreadCount;
    FuseContext mContext;
    std::unique_ptr<fuse_session, Destroyer> mSession;
};
} // namespace Keld::TreeMount
