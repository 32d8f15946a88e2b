#include "Faults/LibraryProbe.h"

#include "KeldFoundation/logger/IKeldLogger.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "Tools/ReleaseReader.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace Keld::Test
{
namespace
{
unsigned gFailureLines = 0;

// Lines that told of a deletion, and behind them the last line, in memory that is there before anything fails.
constexpr std::size_t MostDeletions = 8;
char gDeletionLines[MostDeletions + 1][8192];
std::size_t gDeletionCount = 0;

KeldGroupMask RegisterGroup(const char *)
{
    return {0x100, 0};
}

/// Formats every line, as a consumer would, and counts what is worse than progress.
__attribute__((format(printf, 4, 0))) void CountLine(int32_t severity, uint32_t, uint32_t, const char *format,
                                                     va_list arguments)
{
    char *const line = gDeletionLines[gDeletionCount];
    std::vsnprintf(line, sizeof gDeletionLines[gDeletionCount], format, arguments);
    gFailureLines += severity > 0 ? 1 : 0;
    const bool tellsOfDeletion = std::strstr(line, "will be deleted and ignored") != nullptr;
    gDeletionCount += tellsOfDeletion && gDeletionCount < MostDeletions ? 1 : 0;
}

constexpr IKeldLogger MakeLogger()
{
    IKeldLogger logger{};
    logger.RegisterGroup = RegisterGroup;
    logger.Log = CountLine;
    return logger;
}

constexpr IKeldLogger CountingLogger = MakeLogger();
} // namespace

LibraryProbe::LibraryProbe(std::string workingDirectory) : mWorkingDirectory(std::move(workingDirectory))
{
    const ReleaseReader reader(mWorkingDirectory);
    std::size_t largest = 0;
    for (const auto &[path, size] : reader.FindAll())
    {
        mFiles[path] = reader.Read(path);
        largest = std::max<std::size_t>(largest, size);
        for (std::size_t begin = 0, slash = 0; slash != std::string::npos; begin = slash + 1)
        {
            slash = path.find('/', begin);
            mChildren[path.substr(0, begin)][path.substr(begin, slash - begin)] = false;
        }
    }
    mBuffer.resize(largest + 1);
    MorvSetLogger(&CountingLogger);
}

template <class Call>
void LibraryProbe::Try(const char *what, const Call &call)
{
    try
    {
        call();
    }
    catch (const std::bad_alloc &)
    {
        mOutOfMemory = true;
        if (mAllRight)
        {
            Complain("out of memory", what);
        }
    }
}

void LibraryProbe::Complain(const char *what, const char *where)
{
    ++mComplaints;
    std::fprintf(stderr, "%s: %s\n", what, where);
}

bool LibraryProbe::ToldOfDeletionOf(const std::string &path)
{
    return std::any_of(gDeletionLines, gDeletionLines + gDeletionCount,
                       [&path](const char *line)
                       {
                           return std::strstr(line, path.c_str()) != nullptr;
                       });
}

bool LibraryProbe::ToldOfFailure()
{
    return gFailureLines != 0;
}

void LibraryProbe::Expect(bool allRight)
{
    mAllRight = allRight;
    gFailureLines = 0;
}

bool LibraryProbe::MayMiss() const
{
    return !mAllRight && (ToldOfFailure() || mOutOfMemory);
}

void LibraryProbe::Start()
{
    Try("start",
        [this]
        {
            mIsStarted = MorvInitialize(0, 0, 0, mWorkingDirectory.c_str()) == S_OK;
        });
    mOutOfMemoryAtStart = mOutOfMemory;
    if (!mIsStarted && !MayMiss())
    {
        Complain("not started", mAllRight ? "though nothing fails" : "without a word");
    }
}

void LibraryProbe::Walk()
{
    if (!mIsStarted)
    {
        return; // the first path call would start it
    }
    for (auto &[directory, names] : mChildren)
    {
        FindIn(directory, names);
    }
    for (const auto &[path, content] : mFiles)
    {
        ReadFile(path, content);
    }
}

void LibraryProbe::WalkAgain()
{
    mMayRefuse = true;
    const bool wasAllRight = std::exchange(mAllRight, true);
    Walk();
    mAllRight = wasAllRight;
    mMayRefuse = false;
}

void LibraryProbe::Stop()
{
    Try("stop", MorvShutdown);
    mIsStarted = false;
}

void LibraryProbe::FindIn(const std::string &directory, Names &names)
{
    for (auto &[name, isShown] : names)
    {
        isShown = false;
    }
    char pattern[1024];
    std::snprintf(pattern, sizeof pattern, "%s*", directory.c_str());
    FindHandle *handle = nullptr;
    Try("find",
        [&]
        {
            handle = MorvFindFirstFile(pattern);
        });
    char name[1024];
    while (handle != nullptr && MorvFindNextFile(handle, nullptr, nullptr, sizeof name, name) == S_OK)
    {
        const auto shown = names.find(std::string_view(name));
        if (shown == names.end())
        {
            Complain("found what is not there", name);
            continue;
        }
        shown->second = true;
    }
    Try("end of find",
        [&]
        {
            MorvFindClose(handle);
        });
    const bool areAllShown = std::all_of(names.begin(), names.end(),
                                         [](const auto &entry)
                                         {
                                             return entry.second;
                                         });
    if (!areAllShown && !MayMiss())
    {
        Complain("names are missing without a word", pattern);
    }
}

void LibraryProbe::ReadFile(const std::string &path, const std::string &content)
{
    const bool exists = MorvFileExists(path.c_str()) != 0;
    if (!exists && !MayMiss())
    {
        Complain("missing without a word", path.c_str());
    }
    OpenFileHandle *handle = nullptr;
    Try("open",
        [&]
        {
            handle = MorvOpenFile(path.c_str());
        });
    if (handle == nullptr)
    {
        if (mAllRight && !mMayRefuse)
        {
            Complain("not opened", path.c_str());
        }
        return;
    }
    if (MorvGetFileSize(handle) != static_cast<int64>(content.size()))
    {
        Complain("wrong size", path.c_str());
    }
    uint32_t done = 0;
    bool hindered = false;
    while (done < content.size() && !hindered)
    {
        uint32_t count = 0;
        const uint32_t left = static_cast<uint32_t>(content.size()) - done;
        const HRESULT result = MorvRead(handle, done, left, &count, mBuffer.data() + done);
        hindered = result != S_OK || count == 0;
        done += result == S_OK ? count : 0;
    }
    if (content.compare(0, done, mBuffer.data(), done) != 0)
    {
        Complain("wrong bytes", path.c_str());
    }
    if (done != content.size() && mAllRight)
    {
        Complain("not read", path.c_str());
    }
    MorvCloseFile(handle);
}

void LibraryProbe::TakeAllSlots(const std::string &anyFile)
{
    using namespace MORV::Reader;
    constexpr std::size_t slotCount = 4;
    char bytes[slotCount] = {};
    AsyncRequest *requests[slotCount] = {};
    const AsyncFile file = AsyncOpen(anyFile.c_str());
    for (std::size_t index = 0; index < slotCount; ++index)
    {
        requests[index] = AsyncBeginRead(file, 0, 1, &bytes[index]);
        if (requests[index] == nullptr)
        {
            Complain("no slot is free", anyFile.c_str());
        }
    }
    for (AsyncRequest *request : requests)
    {
        if (AsyncGetBytesRead(request) != 1)
        {
            Complain("a slot does not read", anyFile.c_str());
        }
        AsyncRelease(request);
    }
    AsyncClose(file);
}
} // namespace Keld::Test
