#include "Benchmarks/Comparison/ManifestTable.h"

#include "KeldMorvIO/listing/ReleaseManifestFormat.h"
#include "Tools/TreeReader/ReleaseContents.h"

#include <deque>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace Keld::Benchmarks
{
namespace
{
using namespace MORV::Reader;

/// A manifest that is known to be whole, record by record.
class ManifestImage
{
public:
    explicit ManifestImage(const std::string &path) : mBytes(TreeReader::ReadWholeFile(path))
    {
        const auto *const header = At<ReleaseManifestHeader>(0);
        mDirectories = At<DirectoryTableEntry>(sizeof *header);
        const std::size_t files = sizeof *header + header->directoryCount * sizeof(DirectoryTableEntry);
        fileCount = *At<Little32>(files);
        mFiles = At<FileTableEntry>(files + 4);
        const std::size_t strings = files + 4 + fileCount * sizeof(FileTableEntry);
        const char *text = At<char>(strings + sizeof(StringTableHeader));
        const char *const end = mBytes.data() + mBytes.size();
        while (text < end)
        {
            mStrings.push_back(text);
            text += std::char_traits<char>::length(text) + 1;
        }
    }

    /// Calls `visit` with the full path of every file, behind a prefix.
    template <class Visit>
    void ForEachFile(const std::string &root, const Visit &visit) const
    {
        std::deque<std::pair<std::string, uint32>> queue = {{root, 0}};
        std::string path;
        for (; !queue.empty(); queue.pop_front())
        {
            const std::string &prefix = queue.front().first;
            const DirectoryTableEntry &directory = mDirectories[queue.front().second];
            for (uint32 child = 0; child < directory.subdirectoryCount; ++child)
            {
                const uint32 index = directory.firstSubdirectory + child;
                queue.emplace_back(prefix + mStrings[mDirectories[index].nameIndex] + "/", index);
            }
            for (uint32 child = 0; child < directory.fileCount; ++child)
            {
                const FileTableEntry &file = mFiles[directory.firstFile + child];
                path.assign(prefix).append(mStrings[file.nameIndex]);
                visit(path, file);
            }
        }
    }

    uint32 fileCount;

private:
    template <class Record>
    const Record *At(std::size_t offset) const
    {
        return reinterpret_cast<const Record *>(mBytes.data() + offset);
    }

    std::string mBytes;
    const DirectoryTableEntry *mDirectories;
    const FileTableEntry *mFiles;
    std::vector<const char *> mStrings;
};
} // namespace

FlatMap BuildTable(const std::string &manifest)
{
    const ManifestImage image(manifest);
    FlatMap map(image.fileCount);
    image.ForEachFile("",
                      [&map](const std::string &path, const FileTableEntry &file)
                      {
                          map.Add(path, {0, file.size});
                      });
    return map;
}

std::size_t StatEach(const std::string &manifest, const std::string &directory)
{
    std::size_t there = 0;
    ManifestImage(manifest).ForEachFile(directory + "/",
                                        [&there](const std::string &path, const FileTableEntry &)
                                        {
                                            struct stat status = {};
                                            there +=
                                                stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) ? 1U : 0U;
                                        });
    return there;
}
} // namespace Keld::Benchmarks
