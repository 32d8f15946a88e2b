#include "Tools/TreeWriter/SourceTree.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/TreeWriter/ContentDigest.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/file/StreamCloser.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::FoldPath;
using TreeReader::TreeError;

namespace
{
constexpr uint64 LargestFile = 0xFFFFFFFE; // 0xFFFFFFFF is the size of what has none
constexpr std::size_t LongestPath = PathBufferSize - 1;
constexpr std::size_t MostProblemsTold = 20;

class Scanner
{
public:
    explicit Scanner(const fs::path &root) { mTree.root = root; }

    SourceTree Scan()
    {
        ScanDirectory(mTree.root, "");
        if (mProblemCount == 0 && mTree.files.empty())
        {
            Refuse(mTree.root.string() + ": holds no files, and a release without files cannot be served");
        }
        if (mProblemCount > MostProblemsTold)
        {
            mProblems += "\n... and " + std::to_string(mProblemCount - MostProblemsTold) + " more";
        }
        if (mProblemCount > 0)
        {
            throw TreeError(mProblems);
        }
        return std::move(mTree);
    }

private:
    void Refuse(const std::string &problem)
    {
        if (++mProblemCount <= MostProblemsTold)
        {
            mProblems += (mProblems.empty() ? "" : "\n") + problem;
        }
    }

    std::vector<std::string> ListNames(const fs::path &directory)
    {
        std::vector<std::string> names;
        std::error_code error;
        for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error))
        {
            names.push_back(entry->path().filename().string());
        }
        if (error)
        {
            Refuse(directory.string() + ": cannot be listed: " + error.message());
        }
        std::sort(names.begin(), names.end(),
                  [](const std::string &left, const std::string &right)
                  {
                      const std::string foldedLeft = FoldPath(left);
                      const std::string foldedRight = FoldPath(right);
                      return foldedLeft != foldedRight ? foldedLeft < foldedRight : left < right;
                  });
        return names;
    }

    void ScanDirectory(const fs::path &directory, const std::string &prefix)
    {
        const std::vector<std::string> names = ListNames(directory);
        for (std::size_t index = 0; index < names.size(); ++index)
        {
            const fs::path path = directory / names[index];
            if (index > 0 && FoldPath(names[index - 1]) == FoldPath(names[index]))
            {
                Refuse(path.string() + ": differs from " + names[index - 1] +
                       " in case alone, and virtual paths have no case: rename one");
            }
            else if (names[index].find('\\') != std::string::npos)
            {
                Refuse(path.string() + ": has a backslash in its name, which the reader takes for a separator");
            }
            else if (prefix.size() + names[index].size() > LongestPath)
            {
                Refuse(path.string() + ": its virtual path is longer than 1023 bytes");
            }
            else
            {
                ScanEntry(path, prefix + names[index]);
            }
        }
    }

    void ScanEntry(const fs::path &path, std::string virtualPath)
    {
        std::error_code error;
        const fs::file_status status = fs::symlink_status(path, error);
        switch (status.type())
        {
        case fs::file_type::directory:
            mTree.directories.push_back(virtualPath);
            ScanDirectory(path, virtualPath + "/");
            break;
        case fs::file_type::regular:
            ScanFile(path, std::move(virtualPath));
            break;
        case fs::file_type::symlink:
            Refuse(path.string() + ": is a symbolic link: put a copy of what it names in its place");
            break;
        case fs::file_type::none:
        case fs::file_type::not_found:
            Refuse(path.string() + ": cannot be examined: " + error.message());
            break;
        default:
            Refuse(path.string() + ": is neither a file nor a directory");
            break;
        }
    }

    void ScanFile(const fs::path &path, std::string virtualPath)
    {
        std::error_code error;
        const uint64 size = fs::file_size(path, error);
        if (error)
        {
            Refuse(path.string() + ": cannot be examined: " + error.message());
        }
        else if (size > LargestFile)
        {
            Refuse(path.string() + ": is larger than 4294967294 bytes, the most that a manifest can tell: split it");
        }
        else
        {
            mTree.files.push_back({std::move(virtualPath), size});
        }
    }

    SourceTree mTree;
    std::string mProblems;
    std::size_t mProblemCount = 0;
};

[[noreturn]] void FailToRead(const fs::path &file)
{
    throw TreeError(file.string() + ": cannot be read: " + std::strerror(errno));
}
} // namespace

SourceTree ScanSource(const fs::path &source)
{
    std::error_code error;
    const fs::file_status status = fs::status(source, error);
    if (!fs::exists(status))
    {
        throw TreeError(source.string() + ": no such folder: give the folder whose files are to be packed");
    }
    if (!fs::is_directory(status))
    {
        throw TreeError(source.string() + ": is no folder: give the folder whose files are to be packed");
    }
    return Scanner(source).Scan();
}

ContentSummary ReadContent(const fs::path &file, const std::function<void(std::string_view)> &sink)
{
    const Stream stream(std::fopen(file.c_str(), "rb"));
    if (stream == nullptr)
    {
        FailToRead(file);
    }
    std::string buffer(std::size_t{1} << 20, '\0');
    ContentSummary summary;
    ContentDigest digest;
    while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), stream.get()))
    {
        const std::string_view piece(buffer.data(), size);
        summary.size += size;
        digest.Update(piece);
        sink(piece);
    }
    if (std::ferror(stream.get()) != 0)
    {
        FailToRead(file);
    }
    summary.digest = digest.Finish();
    return summary;
}
} // namespace Keld::TreeWriter
