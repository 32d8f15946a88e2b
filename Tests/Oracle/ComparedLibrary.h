#pragma once

#include "Oracle/Disk.h"
#include "Oracle/LibraryRules.h"

#include "KeldMorvIO.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// What was compared.
struct Compared
{
    std::uint64_t calls = 0;
    std::uint64_t unsettled = 0; ///< calls that were not made
    std::uint64_t starts = 0;    ///< that succeeded, as below
    std::uint64_t found = 0;
    std::uint64_t opens = 0;
    std::uint64_t bytes = 0;
    std::uint64_t names = 0;

    Compared &operator+=(const Compared &other);
};

/// The library and the model gave two answers.
class Difference : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The calls of the library, each made on the model too: result, null or not, what the out parameters hold, and the
/// bytes behind them. A call whose answer is not settled is not made.
class ComparedLibrary
{
public:
    explicit ComparedLibrary(Disk &disk);
    ~ComparedLibrary();
    ComparedLibrary(const ComparedLibrary &) = delete;
    ComparedLibrary &operator=(const ComparedLibrary &) = delete;

    void Start(const std::string &directory);

    /// The next path call is to start the library here.
    void WorkIn(const std::string &directory);

    /// Closes all but at most one file, ends the library, and holds the disk against what should be there.
    void Stop(bool leavesOneOpen);

    void Exists(const char *path);
    void Open(const char *path);
    void Close(std::size_t file);
    void Size(std::size_t file);
    void Read(std::size_t file, std::uint64_t offset, std::uint32_t size, bool wantsCount);
    void FindFirst(const char *path);

    /// \param capacity  room for the name; with `wantsAll` false no out parameter is given
    void FindNext(std::size_t find, std::uint32_t capacity, bool wantsAll);
    void FindClose(std::size_t find);

    /// From the first to the last entry.
    void Enumerate(const char *path);

    /// Handles that are null.
    void UseNothing();

    void Note(const std::string &text);

    std::size_t FileCount() const { return mFiles.size(); }
    std::size_t FindCount() const { return mFinds.size(); }
    std::uint32_t SizeOfFile(std::size_t file) const { return mFiles[file].entry->size; }
    const Compared &Count() const { return mCount; }

    /// What happened last, and what is loaded by the model's lights.
    std::string Text() const;

private:
    struct OpenedFile
    {
        OpenFileHandle *handle;
        ListedEntry *entry;
    };

    struct StartedFind
    {
        FindHandle *handle;
        std::shared_ptr<MergedWalk> walk;
    };

    void Call(const std::string &text);
    void Unsettled();
    static void Expect(bool isAsExpected, const std::string &expected, const std::string &found);
    template <class Number>
    static void ExpectNumber(const char *what, Number expected, Number found);
    bool NextOf(StartedFind &find, std::uint32_t capacity, bool wantsAll);

    Disk &mDisk;
    LibraryRules mModel;
    std::vector<OpenedFile> mFiles;
    std::vector<StartedFind> mFinds;
    std::vector<char> mBuffer;
    std::deque<std::string> mHistory;
    Compared mCount;
};
} // namespace Keld::Test::Oracle
