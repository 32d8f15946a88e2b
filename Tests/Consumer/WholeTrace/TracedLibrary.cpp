#include "Consumer/WholeTrace/TracedLibrary.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iterator>
#include <typeinfo>

#include <sys/mman.h>

namespace Keld::Test::WholeTrace
{
namespace
{
constexpr std::uint32_t Untouched = 0xDEADBEEF;
constexpr std::size_t GuardSize = 16;                      ///< bytes behind a buffer that no call may touch
constexpr std::size_t MostCompared = std::size_t{4} << 20; ///< bytes of a buffer that are looked at

// Handles outlive the library's shutdown in some scenarios, and nobody can close them then.
std::vector<OpenFileHandle *> &Files()
{
    static auto *const files = new std::vector<OpenFileHandle *>;
    return *files;
}

std::vector<FindHandle *> &Finds()
{
    static auto *const finds = new std::vector<FindHandle *>;
    return *finds;
}

/// Fresh memory, of which a large part costs nothing until it is written.
class Pages
{
public:
    explicit Pages(std::size_t size, int protection = PROT_READ | PROT_WRITE)
        : mSize(size), mPages(mmap(nullptr, size, protection, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
    {
    }
    ~Pages() { munmap(mPages, mSize); }
    Pages(const Pages &) = delete;
    Pages &operator=(const Pages &) = delete;

    char *Data() const { return static_cast<char *>(mPages); }

private:
    std::size_t mSize;
    void *mPages;
};

std::string Hex(std::uint32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

std::string ResultText(HRESULT result)
{
    return result == S_OK ? "S_OK" : Hex(static_cast<std::uint32_t>(result));
}

std::string CountText(std::uint32_t count)
{
    return count == Untouched ? "untouched" : std::to_string(count);
}

std::string FileText(int handle)
{
    return handle < 0 ? "null" : "file " + std::to_string(handle);
}

std::string OffsetText(std::uint64_t offset)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(offset));
    return offset < 0x7FFFFFFF ? std::to_string(offset) : text;
}

// What stands in errno behind a call, where the call left anything there.
std::string WithErrno(const std::string &answer)
{
    const int error = errno;
    return error == 0 ? answer : answer + " errno " + std::to_string(error);
}

std::ptrdiff_t CountDescriptors()
{
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}
} // namespace

TracedLibrary::TracedLibrary(Trace &trace) : mTrace(trace), mDescriptorsBefore(CountDescriptors()) {}

// The error number of a call that leaves it alone is 0. Exceptions are told by their type; their texts are the C++
// library's.
void TracedLibrary::Observe(std::string call, const std::function<std::string()> &answer)
{
    mTrace.Begin(std::move(call));
    std::string text;
    errno = 0;
    try
    {
        text = answer();
    }
    catch (const std::exception &exception)
    {
        text = std::string("throws ") + typeid(exception).name();
    }
    mTrace.End(text);
}

void TracedLibrary::SetLogger(bool keepsErrno)
{
    Observe(keepsErrno ? "logger that keeps errno" : "logger that spoils errno",
            [keepsErrno]
            {
                MorvSetLogger(Trace::Logger(keepsErrno));
                return std::string("set");
            });
}

void TracedLibrary::SetNoLogger()
{
    Observe("no logger",
            []
            {
                MorvSetLogger(nullptr);
                return std::string("set");
            });
}

bool TracedLibrary::Start(const std::string &directory, int leftOver)
{
    HRESULT result = E_FAIL;
    Observe("start " + mTrace.Quoted(directory) + (leftOver == 0 ? "" : " with errno " + std::to_string(leftOver)),
            [&]
            {
                errno = leftOver;
                result = MorvInitialize(1, 2, 3, directory.c_str());
                return ResultText(result);
            });
    return result == S_OK;
}

bool TracedLibrary::StartHere()
{
    HRESULT result = E_FAIL;
    Observe("start here",
            [&]
            {
                result = MorvInitialize(0, 0, 0, nullptr);
                return ResultText(result);
            });
    return result == S_OK;
}

void TracedLibrary::Stop()
{
    Observe("stop",
            []
            {
                MorvShutdown();
                return std::string("stopped");
            });
}

void TracedLibrary::Exists(const char *path)
{
    Observe("exists " + (path == nullptr ? "null" : mTrace.Quoted(path)),
            [path]
            {
                return WithErrno(std::to_string(MorvFileExists(path)));
            });
}

int TracedLibrary::Open(const char *path)
{
    int handle = -1;
    Observe("open " + (path == nullptr ? "null" : mTrace.Quoted(path)),
            [&]
            {
                OpenFileHandle *const file = MorvOpenFile(path);
                const int error = errno;
                if (file != nullptr)
                {
                    handle = static_cast<int>(Files().size());
                    Files().push_back(file);
                }
                errno = error;
                return handle < 0 ? WithErrno("null") : FileText(handle);
            });
    return handle;
}

void TracedLibrary::Close(int handle)
{
    Observe("close " + FileText(handle),
            [&]
            {
                MorvCloseFile(File(handle));
                return WithErrno("closed");
            });
}

void TracedLibrary::Size(int handle)
{
    Observe("size of " + FileText(handle),
            [&]
            {
                return WithErrno(std::to_string(MorvGetFileSize(File(handle))));
            });
}

void TracedLibrary::Read(int handle, std::uint64_t offset, std::uint32_t size)
{
    Observe("read " + FileText(handle) + " at " + OffsetText(offset) + " size " + std::to_string(size),
            [&]
            {
                return ReadAnswer(handle, offset, size, true);
            });
}

void TracedLibrary::ReadWithoutCount(int handle, std::uint64_t offset, std::uint32_t size)
{
    Observe("read uncounted " + FileText(handle) + " at " + OffsetText(offset) + " size " + std::to_string(size),
            [&]
            {
                return ReadAnswer(handle, offset, size, false);
            });
}

std::string TracedLibrary::ReadAnswer(int handle, std::uint64_t offset, std::uint32_t size, bool wantsCount)
{
    const Pages buffer(size + GuardSize);
    const std::size_t compared = std::min<std::size_t>(size, MostCompared) + GuardSize;
    std::memset(buffer.Data(), 0xCC, compared);
    std::uint32_t count = Untouched;
    errno = 0;
    const HRESULT result = MorvRead(File(handle), offset, size, wantsCount ? &count : nullptr, buffer.Data());
    return WithErrno(ResultText(result) + " " + CountText(count)) + " " +
           Digest(std::string_view(buffer.Data(), compared));
}

void TracedLibrary::ReadIntoNowhere(int handle, std::uint64_t offset, std::uint32_t size)
{
    Observe("read into nowhere " + FileText(handle) + " at " + OffsetText(offset) + " size " + std::to_string(size),
            [&]
            {
                const Pages buffer(size, PROT_NONE);
                std::uint32_t count = Untouched;
                errno = 0;
                const HRESULT result = MorvRead(File(handle), offset, size, &count, buffer.Data());
                return WithErrno(ResultText(result) + " " + CountText(count));
            });
}

int TracedLibrary::FindFirst(const char *path)
{
    int find = -1;
    Observe("find " + (path == nullptr ? "null" : mTrace.Quoted(path)),
            [&]
            {
                FindHandle *const handle = MorvFindFirstFile(path);
                const int error = errno;
                if (handle != nullptr)
                {
                    find = static_cast<int>(Finds().size());
                    Finds().push_back(handle);
                }
                errno = error;
                return find < 0 ? WithErrno("null") : "find " + std::to_string(find);
            });
    return find;
}

bool TracedLibrary::FindNext(int find, std::uint32_t capacity)
{
    bool found = false;
    Observe("next of " + std::to_string(find) + " room " + std::to_string(capacity),
            [&]
            {
                std::string name(capacity + GuardSize, '\x33');
                std::uint32_t isDirectory = Untouched;
                std::uint64_t size = Untouched;
                const HRESULT result = MorvFindNextFile(Find(find), &isDirectory, &size, capacity, name.data());
                found = result == S_OK;
                const std::string numbers = CountText(isDirectory) + " " + std::to_string(size);
                const std::string written = name[0] == '\x33' ? "nothing" : mTrace.Quoted(name.c_str());
                return WithErrno(ResultText(result) + " " + numbers + " " + written) + " " + Digest(name);
            });
    return found;
}

void TracedLibrary::FindNextWithoutPlaces(int find)
{
    Observe("next of " + std::to_string(find) + " without places",
            [&]
            {
                return WithErrno(ResultText(MorvFindNextFile(Find(find), nullptr, nullptr, 77, nullptr)));
            });
}

void TracedLibrary::FindClose(int find)
{
    Observe("find close " + std::to_string(find),
            [&]
            {
                MorvFindClose(Find(find));
                return WithErrno("closed");
            });
}

void TracedLibrary::ShowDescriptors()
{
    mTrace.Line("descriptors more than at first: " + std::to_string(CountDescriptors() - mDescriptorsBefore));
}

OpenFileHandle *TracedLibrary::File(int handle) const
{
    return handle < 0 ? nullptr : Files()[static_cast<std::size_t>(handle)];
}

FindHandle *TracedLibrary::Find(int find) const
{
    return find < 0 ? nullptr : Finds()[static_cast<std::size_t>(find)];
}
} // namespace Keld::Test::WholeTrace
