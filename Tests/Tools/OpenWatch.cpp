#include "Tools/OpenWatch.h"

#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <sys/inotify.h>
#include <unistd.h>

namespace Keld::Test
{
namespace fs = std::filesystem;

OpenWatch::OpenWatch(const std::string &directory) : mEvents(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    if (mEvents < 0)
    {
        throw std::runtime_error("cannot watch files");
    }
    Watch(directory, "");
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(directory))
    {
        if (entry.is_directory())
        {
            Watch(entry.path(), entry.path().lexically_relative(directory).string() + "/");
        }
    }
    Take(); // what this looked into
}

OpenWatch::~OpenWatch()
{
    close(mEvents);
}

void OpenWatch::Watch(const std::string &directory, const std::string &path)
{
    const int watch = inotify_add_watch(mEvents, directory.c_str(), IN_OPEN);
    if (watch < 0)
    {
        throw std::runtime_error("cannot watch " + directory);
    }
    mPaths[watch] = path;
}

std::map<std::string, int> OpenWatch::Take() const
{
    std::map<std::string, int> opens;
    char events[4096];
    for (ssize_t size = 0; (size = read(mEvents, events, sizeof events)) > 0;)
    {
        inotify_event event = {};
        for (const char *next = events; next < events + size; next += sizeof event + event.len)
        {
            std::memcpy(&event, next, sizeof event);
            if (event.len != 0) // else it is the directory itself, of which the one above tells
            {
                ++opens[mPaths.at(event.wd) + (next + sizeof event) + ((event.mask & IN_ISDIR) != 0 ? "/" : "")];
            }
        }
    }
    return opens;
}
} // namespace Keld::Test
