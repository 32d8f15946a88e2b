#pragma once

#include "Tools/TreeMount/MountedFileSystem.h"

#include <linux/fuse.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <sys/uio.h>

struct fuse_session;

namespace Keld::TreeMount
{
struct FuseContext;
}

namespace Keld::Test
{
/// The kernel's side of a mount, without a kernel: sends messages to the file system's calls as they come from
/// /dev/fuse, and takes the answers.
class FuseKernel
{
public:
    struct Reply
    {
        int error = 1; ///< 0, or an error number with a minus; 1 when there was no answer
        std::string bytes;

        /// The record at the start of the answer; zeros where it is too short.
        template <class Record>
        Record As(std::size_t offset = 0) const
        {
            Record record = {};
            if (bytes.size() >= offset + sizeof record)
            {
                std::memcpy(&record, bytes.data() + offset, sizeof record);
            }
            return record;
        }
    };

    /// \param abilities of the kernel, as FUSE_NO_OPEN_SUPPORT.
    FuseKernel(TreeMount::MountedFileSystem &fileSystem, std::uint32_t abilities);
    ~FuseKernel();

    /// Whether the file system has said that it is ready.
    bool IsReady() const { return mReady; }

    Reply Call(std::uint32_t operation, std::uint64_t node, const std::string &body = "");

    template <class Record>
    Reply CallWith(std::uint32_t operation, std::uint64_t node, const Record &record, const std::string &behind = "")
    {
        return Call(operation, node, std::string(reinterpret_cast<const char *>(&record), sizeof record) + behind);
    }

    /// A name goes out with its NUL.
    Reply CallWithName(std::uint32_t operation, std::uint64_t node, const std::string &name)
    {
        return Call(operation, node, name + '\0');
    }

private:
    static ssize_t TakeReply(int, iovec *pieces, int count, void *userData);

    bool mReady = false;
    std::unique_ptr<TreeMount::FuseContext> mContext;
    fuse_session *mSession;
    std::uint64_t mUnique = 0;
};
} // namespace Keld::Test
