// A whole small tree, and a consumer in it: the library is started, asked for all that it shows and for what the script
// says, and stopped. The first line of the script is the working directory below the tree's own, each further one a
// path to ask for.

#include "FuzzSupport.h"
#include "Trees/ConsumerLog.h"
#include "Trees/ManifestMutation.h"
#include "Trees/TreeCase.h"

#include "KeldMorvIO/Public/Handles.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

namespace
{
using namespace Keld;
using Fuzz::Require;

constexpr std::size_t MostPaths = 11;
constexpr int MostEntries = 64;
constexpr int DeepestDirectory = 5;
constexpr uint64 LargestFile = 1 << 20;  // bytes; a compressed file is held whole while it is open
constexpr uint32 LargestRead = 64 << 10; // bytes

/// One consumer from start to stop.
class Consumer
{
public:
    void Use(const std::vector<std::string> &paths)
    {
        List("", 0);
        for (const std::string &path : paths)
        {
            Ask(path);
            Search(path);
        }
    }

    /// Leaves its last file open, as a careless program does.
    void Stop()
    {
        MorvShutdown();
        delete mAbandoned; // the record alone: nobody may call with it any more
        mAbandoned = nullptr;
    }

private:
    void List(const std::string &directory, int depth)
    {
        FindHandle *const find = MorvFindFirstFile((directory.empty() ? "*" : directory + "/*").c_str());
        uint32_t isDirectory = 0;
        uint64_t size = 0;
        char name[1024];
        while (find != nullptr && mEntriesLeft > 0 &&
               MorvFindNextFile(find, &isDirectory, &size, sizeof name, name) == S_OK)
        {
            --mEntriesLeft;
            const std::string path = directory.empty() ? name : directory + "/" + name;
            if (isDirectory != 0 && depth < DeepestDirectory)
            {
                List(path, depth + 1);
            }
            else if (size <= LargestFile)
            {
                Ask(path);
            }
        }
        MorvFindClose(find);
    }

    // Looks for the size first: whoever opens a compressed file has it in memory.
    void Ask(const std::string &path)
    {
        const bool exists = MorvFileExists(path.c_str()) != 0;
        if (!FindSize(path))
        {
            return;
        }
        OpenFileHandle *const file = MorvOpenFile(path.c_str());
        Require(file == nullptr || exists, "what can be opened exists");
        if (file == nullptr)
        {
            return;
        }
        Read(file);
        if (mAbandoned == nullptr)
        {
            mAbandoned = file;
            return;
        }
        OpenFileHandle *const second = MorvOpenFile(path.c_str());
        MorvCloseFile(file);
        MorvCloseFile(second);
    }

    static bool FindSize(const std::string &path)
    {
        FindHandle *const find = MorvFindFirstFile(path.c_str());
        uint64_t size = 0;
        bool isSmall = true;
        while (find != nullptr && MorvFindNextFile(find, nullptr, &size, 0, nullptr) == S_OK)
        {
            isSmall = isSmall && size <= LargestFile;
        }
        MorvFindClose(find);
        return isSmall;
    }

    static void Read(OpenFileHandle *file)
    {
        const int64_t size = MorvGetFileSize(file);
        Require(size >= 0 && size <= int64_t{0xFFFFFFFF}, "an open file has a size");
        const auto wanted = static_cast<uint32>(std::min<int64_t>(size, LargestRead));
        std::string whole;
        std::string again;
        const bool isWhole = ReadAt(file, 0, wanted, whole);
        Require(ReadAt(file, 0, wanted, again) == isWhole && again == whole, "two reads give the same");
        const uint32 half = wanted / 2;
        std::string first;
        std::string second;
        const bool isSplit = ReadAt(file, 0, half, first) && ReadAt(file, half, wanted - half, second);
        Require(!isWhole || (isSplit && first + second == whole), "two halves are the whole");
        ReadAt(file, static_cast<uint64>(size), 16, again);
        ReadAt(file, static_cast<uint64>(size) / 2 + 1, wanted, again);
        ReadAt(file, ~uint64{0} - 8, 16, again);
    }

    static bool ReadAt(OpenFileHandle *file, uint64 offset, uint32 size, std::string &bytes)
    {
        // Room for exactly that size, so that a sanitizer sees a write behind it.
        const std::unique_ptr<char[]> room(new char[size]);
        uint32_t count = 0;
        const HRESULT result = MorvRead(file, offset, size, &count, room.get());
        Require(result == S_OK || result == E_FAIL, "a read works or fails");
        Require(count <= size || result != S_OK, "no more comes than was asked for");
        bytes.assign(room.get(), result == S_OK ? count : 0);
        return result == S_OK;
    }

    void Search(const std::string &pattern)
    {
        FindHandle *const find = MorvFindFirstFile(pattern.c_str());
        const auto capacity = static_cast<uint32>(pattern.size() % 9);
        const std::unique_ptr<char[]> name(new char[capacity]);
        while (find != nullptr && mEntriesLeft-- > 0 &&
               MorvFindNextFile(find, nullptr, nullptr, capacity, name.get()) == S_OK)
        {
            Require(capacity == 0 || std::memchr(name.get(), '\0', capacity) != nullptr, "a name ends in its room");
        }
        MorvFindClose(find);
    }

    OpenFileHandle *mAbandoned = nullptr;
    int mEntriesLeft = MostEntries;
};

/// A start that is thrown through leaves what it had loaded of a solution, which is known and stays so.
bool LeavesListings(const Fuzz::TreeInput &input)
{
    return std::any_of(input.entries.begin(), input.entries.end(),
                       [](const Fuzz::TreeEntry &entry)
                       {
                           return entry.kind == Fuzz::TreeEntry::File && Fuzz::CountsTooManyStrings(entry.bytes);
                       });
}

bool Start(const std::string &directory)
{
    try
    {
        return MorvInitialize(0, 0, 0, directory.c_str()) == S_OK;
    }
    catch (const std::length_error &)
    {
        return false; // the way in which a string count beyond all bounds is refused
    }
    catch (const std::bad_alloc &)
    {
        return false;
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size);
    const std::string &directory = test.GetLines()[0];
    std::vector<std::string> paths = test.GetLinesBehind(1);
    paths.resize(std::min(paths.size(), MostPaths));
    if (directory.find("solutions/") != std::string::npos && LeavesListings(test.GetInput()))
    {
        return 0;
    }
    Fuzz::UseConsumerLog();

    Consumer consumer;
    if (Start(test.GetDisk().GetPath(directory)))
    {
        consumer.Use(paths);
    }
    consumer.Stop();
    return 0;
}
