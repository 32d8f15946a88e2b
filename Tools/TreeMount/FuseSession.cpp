#include "Tools/TreeMount/FuseVersion.h"

#include "Tools/TreeMount/FuseSession.h"

#include "Tools/TreeMount/FuseCalls.h"

#include "Tools/TreeReader/TreeError.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace Keld::TreeMount
{
using TreeReader::TreeError;

namespace
{
constexpr std::size_t MostMessages = 4096; // bytes; a mount may serve for years

std::mutex gMessagesMutex; // guards gMessages
std::string gMessages;     // of libfuse, since they were taken last: the last ones

__attribute__((format(printf, 2, 0))) void NoteMessage(fuse_log_level, const char *format, va_list arguments)
{
    char line[1024];
    std::vsnprintf(line, sizeof line, format, arguments);
    const std::lock_guard<std::mutex> lock(gMessagesMutex);
    gMessages += line;
    if (gMessages.size() > MostMessages)
    {
        gMessages.erase(0, gMessages.size() - MostMessages);
    }
}

/// In one line, or nothing.
std::string TakeMessages()
{
    const std::lock_guard<std::mutex> lock(gMessagesMutex);
    std::string text = std::move(gMessages);
    gMessages.clear();
    while (text.ends_with('\n'))
    {
        text.pop_back();
    }
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', end))
    {
        text.replace(end, 1, "; ");
    }
    return text;
}

/// The words of a command line, as libfuse takes its options.
class Arguments
{
public:
    ~Arguments() { fuse_opt_free_args(&mArguments); }

    void Add(const std::string &word)
    {
        if (fuse_opt_add_arg(&mArguments, word.c_str()) != 0)
        {
            throw std::bad_alloc();
        }
    }

    fuse_args *Get() { return &mArguments; }

private:
    fuse_args mArguments = FUSE_ARGS_INIT(0, nullptr);
};

/// A value among others that commas part.
std::string Escape(const std::string &value)
{
    std::string escaped;
    for (const char character : value)
    {
        const bool isSpecial = character == ',' || character == '\\';
        escaped.append(isSpecial ? 1 : 0, '\\').push_back(character);
    }
    return escaped;
}

struct LoopConfigurationCloser
{
    void operator()(fuse_loop_config *configuration) const { fuse_loop_cfg_destroy(configuration); }
};
} // namespace

void FuseSession::Destroyer::operator()(fuse_session *session) const
{
    fuse_session_unmount(session);
    fuse_remove_signal_handlers(session);
    fuse_session_destroy(session);
}

FuseSession::FuseSession(MountedFileSystem &fileSystem, const MountRequest &request)
    : mThreadCount(request.threadCount), mContext{fileSystem, nullptr}
{
    fuse_set_log_func(NoteMessage);
    Mount(request);
}

FuseSession::~FuseSession() = default;

void FuseSession::Mount(const MountRequest &request)
{
    Arguments arguments;
    arguments.Add("morv");
    arguments.Add("-oro,default_permissions,subtype=morv,fsname=" + Escape(request.source));
    if (request.allowOther)
    {
        arguments.Add("-oallow_other");
    }
    mSession.reset(fuse_session_new(arguments.Get(), &GetFuseCalls(), sizeof(fuse_lowlevel_ops), &mContext));
    if (mSession == nullptr || fuse_set_signal_handlers(mSession.get()) != 0)
    {
        throw TreeError(request.mountPoint + ": cannot be mounted: " + TakeMessages());
    }
    if (fuse_session_mount(mSession.get(), request.mountPoint.c_str()) != 0)
    {
        const std::string messages = TakeMessages();
        throw TreeError(request.mountPoint + ": cannot be mounted: " +
                        (messages.empty() ? "fusermount3 refuses it, as it says above" : messages));
    }
}

void FuseSession::Serve(std::function<void()> whenReady)
{
    mContext.whenReady = std::move(whenReady);
    int result = 0;
    if (mThreadCount == 1)
    {
        result = fuse_session_loop(mSession.get());
    }
    else
    {
        const std::unique_ptr<fuse_loop_config, LoopConfigurationCloser> configuration(fuse_loop_cfg_create());
        fuse_loop_cfg_set_clone_fd(configuration.get(), 1);
        fuse_loop_cfg_set_max_threads(configuration.get(), mThreadCount);
        fuse_loop_cfg_set_idle_threads(configuration.get(), mThreadCount);
        result = fuse_session_loop_mt(mSession.get(), configuration.get());
    }
    if (result < 0) // above it is the number of the signal that ended it
    {
        const std::string messages = TakeMessages();
        throw TreeError("the mount has ended: " + (messages.empty() ? std::string(std::strerror(-result)) : messages));
    }
}
} // namespace Keld::TreeMount
