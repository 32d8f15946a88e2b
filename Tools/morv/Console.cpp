#include "Tools/morv/Console.h"

#include "Tools/morv/Terminal.h"

#include "KeldFoundation/logger/IKeldLogger.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Morv
{
namespace
{
enum class LogView
{
    Failures,
    Everything
};

LogView gLogView = LogView::Failures;
std::atomic<bool> gLibraryFailed{false};

KeldGroupMask RegisterGroup(const char *)
{
    return KeldGroupMask{0x100, 0};
}

// A line of the library is "<signature>: <message>". The signature is for its developers.
const char *MessageOf(const char *line)
{
    const char *end = std::strstr(line, ": ");
    return end != nullptr ? end + 2 : line;
}

__attribute__((format(printf, 4, 0))) void LogLine(int32_t severity, uint32_t, uint32_t, const char *format,
                                                   va_list arguments)
{
    char line[8192];
    std::vsnprintf(line, sizeof line, format, arguments);
    gLibraryFailed = gLibraryFailed || severity > 0;
    if (gLogView == LogView::Everything)
    {
        std::fprintf(stderr, "%s\n", line);
    }
    else if (severity > 0)
    {
        std::fprintf(stderr, "morv: %s\n", MessageOf(line));
    }
}

constexpr IKeldLogger MakeLogger()
{
    IKeldLogger logger{};
    logger.RegisterGroup = RegisterGroup;
    logger.Log = LogLine;
    return logger;
}

constexpr IKeldLogger ConsoleLogger = MakeLogger();

bool gNotesQuiet = false;

[[noreturn]] void FailToWrite()
{
    if (errno == EPIPE)
    {
        throw OutputClosed();
    }
    throw std::runtime_error(std::string("cannot write to standard output: ") + std::strerror(errno));
}

void PrintLines(const std::string &prefix, const std::string &text)
{
    std::fflush(stdout);
    const bool onTerminal = IsTerminal(STDERR_FILENO);
    for (std::size_t begin = 0; begin <= text.size();)
    {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        std::fprintf(stderr, "%s %s\n", prefix.c_str(), (onTerminal ? EscapeForTerminal(line) : line).c_str());
        begin = end + 1;
    }
}
} // namespace

void OccupyStandardDescriptors()
{
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    {
        if (fcntl(descriptor, F_GETFD) < 0)
        {
            // The lowest free number is this one, since those below it are in use.
            open("/dev/null", O_RDONLY);
        }
    }
}

void PrintError(const std::string &text)
{
    PrintLines(Paint(STDERR_FILENO, Ink::Red, "morv:"), text);
}

void PrintNote(const std::string &text)
{
    if (!gNotesQuiet)
    {
        PrintLines("morv: " + Paint(STDERR_FILENO, Ink::Yellow, "note:"), text);
    }
}

void QuietNotes()
{
    gNotesQuiet = true;
}

void IgnoreClosedPipes()
{
    std::signal(SIGPIPE, SIG_IGN);
}

void ShowLibraryLog(bool everything)
{
    gLogView = everything ? LogView::Everything : LogView::Failures;
    MorvSetLogger(&ConsoleLogger);
}

bool HasLibraryFailed()
{
    return gLibraryFailed;
}

void WriteOutput(std::string_view bytes)
{
    if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size())
    {
        FailToWrite();
    }
}

void FlushOutput()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
    {
        FailToWrite();
    }
}
} // namespace Keld::Morv
