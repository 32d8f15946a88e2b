#include "Oracle/ComparedLibrary.h"

#include "Support/QuietLogger.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Keld::Test::Oracle
{
namespace
{
constexpr std::size_t HistoryLength = 25;
constexpr std::size_t GuardSize = 16;
constexpr char GuardByte = '\x5B';
constexpr std::uint32_t Unwritten = 0xABCD1234;

std::string Quoted(const char *path)
{
    if (path == nullptr)
    {
        return "null";
    }
    std::string text = "\"";
    for (const char *character = path; *character != '\0'; ++character)
    {
        const auto byte = static_cast<unsigned char>(*character);
        char escaped[5];
        const bool prints = byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\';
        std::snprintf(escaped, sizeof escaped, prints ? "%c" : "\\x%02x", byte);
        text += escaped;
    }
    return text + "\"";
}
} // namespace

Compared &Compared::operator+=(const Compared &other)
{
    calls += other.calls;
    unsettled += other.unsettled;
    starts += other.starts;
    found += other.found;
    opens += other.opens;
    bytes += other.bytes;
    names += other.names;
    return *this;
}

ComparedLibrary::ComparedLibrary(Disk &disk) : mDisk(disk), mModel(disk)
{
    MorvSetLogger(QuietLogger());
    MorvShutdown();
}

ComparedLibrary::~ComparedLibrary()
{
    for (const StartedFind &find : mFinds)
    {
        MorvFindClose(find.handle);
    }
    for (const OpenedFile &file : mFiles)
    {
        MorvCloseFile(file.handle);
    }
    MorvShutdown();
}

void ComparedLibrary::Call(const std::string &text)
{
    Note(text);
    ++mCount.calls;
}

void ComparedLibrary::Note(const std::string &text)
{
    mHistory.push_back(text);
    if (mHistory.size() > HistoryLength)
    {
        mHistory.pop_front();
    }
}

// The model may have started in looking for its answer.
void ComparedLibrary::Unsettled()
{
    ++mCount.unsettled;
    mHistory.back() += "  (not made: not settled)";
    Exists("/");
}

void ComparedLibrary::Expect(bool isAsExpected, const std::string &expected, const std::string &found)
{
    if (!isAsExpected)
    {
        throw Difference("expected " + expected + ", found " + found);
    }
}

template <class Number>
void ComparedLibrary::ExpectNumber(const char *what, Number expected, Number found)
{
    Expect(expected == found, std::string(what) + " " + std::to_string(expected), std::to_string(found));
}

void ComparedLibrary::Start(const std::string &directory)
{
    Call("MorvInitialize " + Quoted(directory.c_str()));
    const HRESULT expected = mModel.Initialize(directory) ? S_OK : E_FAIL;
    ExpectNumber("result", expected, MorvInitialize(1, 2, 3, directory.c_str()));
    mCount.starts += expected == S_OK && !mModel.Listings().empty() ? 1U : 0U;
}

void ComparedLibrary::WorkIn(const std::string &directory)
{
    Note("working directory " + Quoted(directory.c_str()));
    mDisk.WorkIn(directory);
    mModel.WorkIn(directory);
}

void ComparedLibrary::Stop(bool leavesOneOpen)
{
    while (!mFinds.empty())
    {
        FindClose(mFinds.size() - 1);
    }
    while (mFiles.size() > (leavesOneOpen ? 1 : 0))
    {
        Close(mFiles.size() - 1);
    }
    // Nobody can close a file after the end, so that its handle stays for good.
    static std::vector<OpenedFile> *const abandoned = new std::vector<OpenedFile>;
    abandoned->insert(abandoned->end(), mFiles.begin(), mFiles.end());
    mFiles.clear();
    Call("MorvShutdown");
    mModel.Shutdown();
    MorvShutdown();
    const std::string difference = mDisk.Difference();
    Expect(difference.empty(), "the disk as it should be", difference);
}

void ComparedLibrary::Exists(const char *path)
{
    Call("MorvFileExists " + Quoted(path));
    const std::uint32_t expected = path != nullptr && mModel.Exists(path) ? 1 : 0;
    ExpectNumber("result", expected, MorvFileExists(path));
    mCount.found += expected;
}

void ComparedLibrary::Open(const char *path)
{
    Call("MorvOpenFile " + Quoted(path));
    const Ruled<ListedEntry *> expected = path != nullptr ? mModel.Open(path) : Ruled<ListedEntry *>();
    if (!expected.isSettled)
    {
        Unsettled();
        return;
    }
    OpenFileHandle *const handle = MorvOpenFile(path);
    if (handle != nullptr)
    {
        ++mCount.opens;
        mFiles.push_back({handle, expected.answer});
        mHistory.back() += "  is file " + std::to_string(mFiles.size() - 1);
    }
    if ((handle != nullptr) != (expected.answer != nullptr))
    {
        if (handle != nullptr)
        {
            MorvCloseFile(handle);
            mFiles.pop_back();
        }
        Expect(false, expected.answer != nullptr ? "a handle" : "null", handle != nullptr ? "a handle" : "null");
    }
}

void ComparedLibrary::Close(std::size_t file)
{
    Call("MorvCloseFile of file " + std::to_string(file));
    LibraryRules::Close(*mFiles[file].entry);
    MorvCloseFile(mFiles[file].handle);
    mFiles[file] = mFiles.back();
    mFiles.pop_back();
}

void ComparedLibrary::Size(std::size_t file)
{
    Call("MorvGetFileSize of file " + std::to_string(file));
    ExpectNumber("size", std::int64_t{mFiles[file].entry->size}, MorvGetFileSize(mFiles[file].handle));
}

void ComparedLibrary::Read(std::size_t file, std::uint64_t offset, std::uint32_t size, bool wantsCount)
{
    const OpenedFile &opened = mFiles[file];
    Call("MorvRead of file " + std::to_string(file) + " (" + Quoted(opened.entry->path.c_str()) + ") at " +
         std::to_string(offset) + ", " + std::to_string(size));
    const ReadAnswer expected = ListingRules::Read(*opened.entry, offset, size);
    mBuffer.resize(std::max(mBuffer.size(), std::size_t{size} + GuardSize));
    std::fill_n(mBuffer.begin() + size, GuardSize, GuardByte);
    std::uint32_t count = Unwritten;
    const HRESULT result = MorvRead(opened.handle, offset, size, wantsCount ? &count : nullptr, mBuffer.data());
    ExpectNumber("result", static_cast<HRESULT>(expected.isGood ? S_OK : E_FAIL), result);
    ExpectNumber("count", wantsCount ? expected.count.value_or(Unwritten) : Unwritten, count);
    Expect(std::memcmp(mBuffer.data(), expected.bytes.data(), expected.bytes.size()) == 0, "the content",
           "other bytes");
    Expect(std::all_of(mBuffer.begin() + size, mBuffer.begin() + size + GuardSize,
                       [](char byte)
                       {
                           return byte == GuardByte;
                       }),
           "nothing behind the buffer", "bytes there");
    mCount.bytes += expected.bytes.size();
}

void ComparedLibrary::FindFirst(const char *path)
{
    Call("MorvFindFirstFile " + Quoted(path));
    const auto expected = path != nullptr ? mModel.FindFirst(path) : Ruled<std::shared_ptr<MergedWalk>>();
    if (!expected.isSettled)
    {
        Unsettled();
        return;
    }
    FindHandle *const handle = MorvFindFirstFile(path);
    if ((handle != nullptr) != (expected.answer != nullptr))
    {
        MorvFindClose(handle);
        Expect(false, expected.answer != nullptr ? "a handle" : "null", handle != nullptr ? "a handle" : "null");
    }
    if (handle != nullptr)
    {
        mFinds.push_back({handle, expected.answer});
        mHistory.back() += "  is enumeration " + std::to_string(mFinds.size() - 1);
    }
}

void ComparedLibrary::FindNext(std::size_t find, std::uint32_t capacity, bool wantsAll)
{
    NextOf(mFinds[find], capacity, wantsAll);
}

bool ComparedLibrary::NextOf(StartedFind &find, std::uint32_t capacity, bool wantsAll)
{
    Call("MorvFindNextFile of enumeration " + std::to_string(&find - mFinds.data()) + ", room for " +
         std::to_string(capacity) + (wantsAll ? "" : ", nowhere"));
    const std::optional<FoundEntry> expected = find.walk->Next();
    std::uint32_t isDirectory = Unwritten;
    std::uint64_t size = Unwritten;
    std::string name(capacity + GuardSize, GuardByte);
    std::string expectedName = name;
    const HRESULT result = wantsAll ? MorvFindNextFile(find.handle, &isDirectory, &size, capacity, name.data())
                                    : MorvFindNextFile(find.handle, nullptr, nullptr, 0, nullptr);
    ExpectNumber("result", static_cast<HRESULT>(expected ? S_OK : E_FAIL), result);
    const bool isWritten = expected && wantsAll;
    if (isWritten && capacity > 0)
    {
        const std::string cut = expected->name.substr(0, capacity - 1);
        expectedName.replace(0, cut.size() + 1, cut.c_str(), cut.size() + 1);
    }
    Expect(name == expectedName, "the name " + Quoted(expectedName.c_str()), Quoted(name.c_str()));
    ExpectNumber("a directory", isWritten ? std::uint32_t{expected->isDirectory} : Unwritten, isDirectory);
    ExpectNumber("size", isWritten ? std::uint64_t{expected->size} : std::uint64_t{Unwritten}, size);
    mCount.names += expected ? 1U : 0U;
    return expected.has_value();
}

void ComparedLibrary::FindClose(std::size_t find)
{
    Call("MorvFindClose of enumeration " + std::to_string(find));
    MorvFindClose(mFinds[find].handle);
    mFinds[find] = mFinds.back();
    mFinds.pop_back();
}

void ComparedLibrary::Enumerate(const char *path)
{
    const std::size_t before = mFinds.size();
    FindFirst(path);
    if (mFinds.size() > before)
    {
        while (NextOf(mFinds.back(), 1024, true))
        {
        }
        FindClose(mFinds.size() - 1);
    }
}

void ComparedLibrary::UseNothing()
{
    Call("calls with a null handle");
    std::uint32_t word = Unwritten;
    std::uint64_t wide = Unwritten;
    char byte = GuardByte;
    MorvCloseFile(nullptr);
    MorvFindClose(nullptr);
    ExpectNumber("size", std::int64_t{-1}, MorvGetFileSize(nullptr));
    ExpectNumber("result", static_cast<HRESULT>(E_HANDLE), MorvRead(nullptr, 0, 0, &word, &byte));
    ExpectNumber("result", static_cast<HRESULT>(E_HANDLE), MorvRead(nullptr, 7, 1, &word, &byte));
    ExpectNumber("result", static_cast<HRESULT>(E_HANDLE), MorvFindNextFile(nullptr, &word, &wide, 1, &byte));
    Expect(word == Unwritten && wide == Unwritten && byte == GuardByte, "nothing written", "something");
}

std::string ComparedLibrary::Text() const
{
    std::string text = "what is loaded:\n" + mModel.Text() + "the last calls:\n";
    for (const std::string &line : mHistory)
    {
        text += "  " + line + "\n";
    }
    return text;
}
} // namespace Keld::Test::Oracle
