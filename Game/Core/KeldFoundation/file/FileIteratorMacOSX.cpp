#include "KeldFoundation/file/FileIteratorMacOSX.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FileStatus.h"
#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/file/FileIterator.h"

#include <string_view>

#include <glob.h>
#include <sys/stat.h>

namespace Keld::File
{
namespace
{
constexpr uint32 OwnerReadable = 0x100;

/// One for the process and not guarded: whoever creates iterators serialises it.
char gPattern[PathBufferSize];

/// A search looks through all that fits the components before, so that each one with a wildcard in it multiplies the
/// work. Names from a tree become parts of patterns, and one of many components could be searched for years.
constexpr int MostWildDirectories = 2;

/// Whether a part of a pattern has "*", "?", or a "[" that a "]" follows.
bool IsWild(std::string_view component)
{
    const uint_size bracket = component.find('[');
    return component.find_first_of("*?") != std::string_view::npos ||
           (bracket != std::string_view::npos && component.find(']', bracket) != std::string_view::npos);
}

/// How many components of a pattern are wild, but for the last.
int CountWildDirectories(std::string_view pattern)
{
    int count = 0;
    for (uint_size slash = pattern.find('/'); slash != std::string_view::npos; slash = pattern.find('/'))
    {
        count += IsWild(pattern.substr(0, slash)) ? 1 : 0;
        pattern.remove_prefix(slash + 1);
    }
    return count;
}

class FileIteratorMacOSX final : public FileIterator
{
public:
    FileIteratorMacOSX(const char *pattern, int flags);
    ~FileIteratorMacOSX() override { globfree(&mGlob); }

    FileIteratorMacOSX(const FileIteratorMacOSX &) = delete;
    FileIteratorMacOSX &operator=(const FileIteratorMacOSX &) = delete;

    bool IsValid() override { return static_cast<uint_size>(mIndex) < mGlob.gl_pathc; }
    void Next() override;
    const char *GetName() override { return mName; }
    bool IsDirectory() override { return mIsDirectory; }
    bool IsOwnerReadable() override { return mIsOwnerReadable; }

private:
    const char *GetMatch() const { return mGlob.gl_pathv[mIndex]; }
    bool IsWanted();
    void Position();
    void ReadStatus();
    void BuildName();

    uint32 mFlags;
    int32 mIndex = 0; ///< the current match
    glob_t mGlob = {};
    char mName[PathBufferSize] = {};
    bool mIsDirectory = false;
    bool mIsOwnerReadable = false;
};

FileIteratorMacOSX::FileIteratorMacOSX(const char *pattern, int flags) : mFlags(static_cast<uint32>(flags))
{
    if (std_strlen(pattern) >= sizeof gPattern)
    {
        return;
    }
    std_path_to_slashes(gPattern, pattern);
    if (CountWildDirectories(gPattern) > MostWildDirectories)
    {
        return;
    }
    // The matches stay in the order of the file system. A failure leaves none, which is all that matters.
    glob(gPattern, GLOB_NOSORT, nullptr, &mGlob);
    Position();
}

void FileIteratorMacOSX::Next()
{
    if (IsValid())
    {
        ++mIndex;
        Position();
    }
}

/// Goes on from the current match to the first one that is to be given, itself included.
void FileIteratorMacOSX::Position()
{
    while (IsValid() && !IsWanted())
    {
        ++mIndex;
    }
    if (IsValid())
    {
        BuildName();
    }
}

bool FileIteratorMacOSX::IsWanted()
{
    if (std_strlen(GetMatch()) >= PathBufferSize)
    {
        return false;
    }
    ReadStatus();
    const bool directoriesOnly = (mFlags & FileIteratorDirectoriesOnly) != 0;
    return mIsDirectory || !directoriesOnly;
}

void FileIteratorMacOSX::ReadStatus()
{
    const uint32 mode = GetFileStatus(GetMatch()).mode; // 0 of what cannot be looked at, a dangling link say
    mIsDirectory = S_ISDIR(mode);
    mIsOwnerReadable = (mode & OwnerReadable) != 0;
}

void FileIteratorMacOSX::BuildName()
{
    char path[PathBufferSize];
    char drive[PathBufferSize];
    char directory[PathBufferSize];
    char name[PathBufferSize];
    char extension[PathBufferSize];
    std_path_to_slashes(path, GetMatch());
    std_splitpath(path, drive, sizeof drive, directory, sizeof directory, name, sizeof name, extension,
                  sizeof extension);
    if (*extension != '\0')
    {
        std_snprintf(mName, sizeof mName, "%s%s", name, extension);
    }
    else
    {
        std_snprintf(mName, sizeof mName, "%s", name);
    }
}
} // namespace

FileIterator *CreateFileIteratorMacOSX(const char *pattern, int flags)
{
    return new FileIteratorMacOSX(pattern, flags);
}
} // namespace Keld::File
