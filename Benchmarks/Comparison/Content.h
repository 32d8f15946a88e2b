#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Benchmarks
{
/// A file as every contender is to hold it.
struct ContentFile
{
    std::string path;
    std::string_view bytes; ///< of CorpusText, which is never freed
};

/// Paths as games have them, "Content/Area012/Set34/Texture0056.dds", so many in each directory.
std::vector<std::string> MakePaths(uint32 count, uint32 filesPerDirectory = 40);

/// That many files of `size` bytes of real text each.
std::vector<ContentFile> MakeContent(uint32 count, uint32 size);

/// Real text: the C headers of this machine, one behind another, in the order of their names.
std::string_view CorpusText(std::size_t size);

/// Real machine code: shared libraries of this machine, in the same way.
std::string_view CorpusCode(std::size_t size);

/// One zlib stream, of a size that the library reads: its end does not lie alone in a chunk of 64 KiB.
std::string ZlibStream(std::string_view plain);

/// Paths one behind another in random order, so that fetching the next one costs nothing that matters.
class Questions
{
public:
    /// \param present false makes paths of the same directories and lengths that no file has
    Questions(const std::vector<std::string> &paths, bool present);

    const char *Next()
    {
        const char *const path = mTexts.data() + mOffsets[mNext];
        mNext = mNext + 1 < mOffsets.size() ? mNext + 1 : 0;
        return path;
    }

private:
    std::string mTexts;
    std::vector<std::size_t> mOffsets;
    std::size_t mNext = 0;
};

/// A directory that is gone afterwards. As long as this lives, it holds a lock on it, by which others see that somebody
/// is there.
class Workplace
{
public:
    Workplace();
    ~Workplace();
    Workplace(const Workplace &) = delete;
    Workplace &operator=(const Workplace &) = delete;

    const std::filesystem::path &Path() const { return mPath; }

private:
    std::filesystem::path mPath;
    int mLock; ///< the directory, open and locked
};

/// Removes the workplaces of processes that were killed, with the images that are still mounted there.
void RemoveLeftWorkplaces();

/// Writes a whole file without asking the file system more than it must. The directory is there.
void WriteQuickly(const std::string &path, std::string_view bytes);
} // namespace Keld::Benchmarks
