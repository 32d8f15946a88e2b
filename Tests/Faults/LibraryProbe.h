#pragma once

#include "Faults/FaultSeam.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <map>
#include <string>
#include <vector>

namespace Keld::Test
{
/// Uses the library as a consumer would, without allocating anything itself, and holds every answer against what a
/// consumer got before while nothing failed.
class LibraryProbe
{
public:
    /// Reads everything through the library.
    /// \param workingDirectory a directory that a consumer would pass
    explicit LibraryProbe(std::string workingDirectory);

    /// From here on anything that hinders may be the answer, but no wrong byte, and nothing that is missing before a
    /// line of the log told of a failure, from here on; or all must be right.
    void Expect(bool allRight);

    void Start();
    void Walk(); ///< finds, opens, reads and closes everything

    /// The same once more, when nothing fails any more: a file may be refused, as those of LZMA are, but what opens is
    /// read whole.
    void WalkAgain();

    void Stop();

    /// Expects that four reads can be at work at once. A slot that is lost makes this wait for ever.
    void TakeAllSlots(const std::string &anyFile);

    /// Whether memory ran out, and an exception said so.
    bool WasOutOfMemory() const { return mOutOfMemory; }

    /// Whether it did so in a start.
    bool RanOutOfMemoryAtStart() const { return mOutOfMemoryAtStart; }

    /// Whether a line told that an index was deleted.
    /// \param path of the index, from the projects on
    static bool ToldOfDeletionOf(const std::string &path);

    /// Whether a line told of more than progress since what is expected was said.
    static bool ToldOfFailure();

    /// What was wrong, told on standard error, too.
    unsigned GetComplaintCount() const { return mComplaints; }

    void Complain(const char *what, const char *where);

private:
    bool MayMiss() const; ///< something without being wrong

    /// Names that a directory has, and whether an enumeration has shown them.
    using Names = std::map<std::string, bool, std::less<>>;

    void FindIn(const std::string &directory, Names &names);
    void ReadFile(const std::string &path, const std::string &content);

    template <class Call>
    void Try(const char *what, const Call &call);

    const std::string mWorkingDirectory;
    std::map<std::string, std::string> mFiles; ///< content by path
    std::map<std::string, Names> mChildren;    ///< by directory, with a '/' behind
    std::vector<char> mBuffer;                 ///< room for any of them
    bool mAllRight = true;
    bool mMayRefuse = false;
    bool mIsStarted = false;
    bool mOutOfMemory = false;
    bool mOutOfMemoryAtStart = false;
    unsigned mComplaints = 0;
};
} // namespace Keld::Test
