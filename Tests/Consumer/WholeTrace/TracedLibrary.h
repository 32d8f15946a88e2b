#pragma once

#include "Consumer/WholeTrace/Trace.h"

#include "KeldMorvIO.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Keld::Test::WholeTrace
{
/// The eleven calls of the library. Each writes what it asked and everything that came back: the result, what the out
/// parameters hold, the bytes around them, and the error number.
class TracedLibrary
{
public:
    explicit TracedLibrary(Trace &trace);

    /// \param keepsErrno see Trace::Logger
    void SetLogger(bool keepsErrno = false);
    void SetNoLogger();

    /// `leftOver` is the error number that the calling thread has left over.
    bool Start(const std::string &directory, int leftOver = 0);
    bool StartHere();
    void Stop();

    void Exists(const char *path);
    void Exists(const std::string &path) { Exists(path.c_str()); }

    /// The number of a handle, or -1.
    int Open(const char *path);
    int Open(const std::string &path) { return Open(path.c_str()); }
    void Close(int handle);
    void Size(int handle);
    void Read(int handle, std::uint64_t offset, std::uint32_t size);
    void ReadWithoutCount(int handle, std::uint64_t offset, std::uint32_t size);

    /// Into memory that nobody may write.
    void ReadIntoNowhere(int handle, std::uint64_t offset, std::uint32_t size);

    int FindFirst(const char *path);
    bool FindNext(int find, std::uint32_t capacity = 1024);
    void FindNextWithoutPlaces(int find);
    void FindClose(int find);

    // Several calls at once, in TracedSequences.cpp.

    /// A whole enumeration, in one line.
    void List(const std::string &path);

    /// Opens, measures, reads whole and a little, and closes.
    void Visit(const std::string &path);

    /// Opens and reads at many offsets and sizes.
    void ReadThoroughly(const std::string &path, std::uint32_t size);

    /// Lists every directory from the root on and visits every file.
    void Walk();

    /// Tells how many descriptors the process has open, beside those that it had before.
    void ShowDescriptors();

    void Note(const std::string &text) { mTrace.Line("-- " + text); }

private:
    void Observe(std::string call, const std::function<std::string()> &answer);
    std::string ReadAnswer(int handle, std::uint64_t offset, std::uint32_t size, bool wantsCount);
    OpenFileHandle *File(int handle) const;
    FindHandle *Find(int find) const;
    std::vector<std::string> ListDirectory(const std::string &directory, std::vector<std::string> &files);

    Trace &mTrace;
    std::ptrdiff_t mDescriptorsBefore;
};
} // namespace Keld::Test::WholeTrace
