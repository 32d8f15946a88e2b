#include "Tools/TreeMount/FuseVersion.h"

#include "Tools/FuseKernel.h"

#include "Tools/TreeMount/FuseCalls.h"
#include "Tools/TreeMount/FuseContext.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/uio.h>

namespace Keld::Test
{
namespace
{
FuseKernel::Reply *gReply = nullptr; // what is being waited for: the answer comes without our user data

ssize_t ReadNothing(int, void *, size_t, void *)
{
    errno = EAGAIN;
    return -1;
}
} // namespace

FuseKernel::FuseKernel(TreeMount::MountedFileSystem &fileSystem, std::uint32_t abilities)
    : mContext(new TreeMount::FuseContext{fileSystem, [this]
                                          {
                                              mReady = true;
                                          }})
{
    char name[] = "morv";
    char *words[] = {name, nullptr};
    fuse_args arguments = FUSE_ARGS_INIT(1, words);
    mSession = fuse_session_new(&arguments, &TreeMount::GetFuseCalls(), sizeof(fuse_lowlevel_ops), mContext.get());
    fuse_opt_free_args(&arguments); // the session has made words of its own of them
    EXPECT_NE(mSession, nullptr);
    fuse_custom_io io = {};
    io.writev = TakeReply;
    io.read = ReadNothing;
    EXPECT_EQ(fuse_session_custom_io(mSession, &io, open("/dev/null", O_RDWR | O_CLOEXEC)), 0);
    fuse_init_in init = {};
    init.major = FUSE_KERNEL_VERSION;
    init.minor = FUSE_KERNEL_MINOR_VERSION;
    init.max_readahead = 131072;
    init.flags = abilities | FUSE_MAX_PAGES | FUSE_DO_READDIRPLUS;
    EXPECT_EQ(CallWith(FUSE_INIT, 0, init).error, 0);
}

FuseKernel::~FuseKernel()
{
    fuse_session_destroy(mSession);
}

FuseKernel::Reply FuseKernel::Call(std::uint32_t operation, std::uint64_t node, const std::string &body)
{
    fuse_in_header header = {};
    header.len = static_cast<std::uint32_t>(sizeof header + body.size());
    header.opcode = operation;
    header.unique = ++mUnique;
    header.nodeid = node;
    std::vector<std::uint64_t> message((header.len + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t)); // aligned
    std::memcpy(message.data(), &header, sizeof header);
    std::memcpy(reinterpret_cast<char *>(message.data()) + sizeof header, body.data(), body.size());

    Reply reply;
    gReply = &reply;
    fuse_buf buffer = {};
    buffer.size = header.len;
    buffer.mem = message.data();
    fuse_session_process_buf(mSession, &buffer);
    gReply = nullptr;
    return reply;
}

ssize_t FuseKernel::TakeReply(int, iovec *pieces, int count, void *)
{
    std::string message;
    for (int index = 0; index < count; ++index)
    {
        message.append(static_cast<const char *>(pieces[index].iov_base), pieces[index].iov_len);
    }
    fuse_out_header header = {};
    std::memcpy(&header, message.data(), sizeof header);
    if (gReply != nullptr)
    {
        gReply->error = header.error;
        gReply->bytes = message.substr(sizeof header);
    }
    return static_cast<ssize_t>(message.size());
}
} // namespace Keld::Test
