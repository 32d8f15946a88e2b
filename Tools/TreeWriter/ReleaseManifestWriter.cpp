#include "Tools/TreeWriter/ReleaseManifestWriter.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/TreeWriter/RecordBytes.h"

#include <algorithm>
#include <deque>
#include <map>
#include <unordered_map>

namespace Keld::TreeWriter
{
namespace
{
using namespace MORV::Reader;
using TreeReader::FoldPath;
using TreeReader::ReleaseContents;
using TreeReader::ReleaseFile;
using TreeReader::TreeError;

constexpr uint64 LargestImage = 0x7FFFFFFF; // the reader adds sizes up as signed numbers

struct Directory
{
    std::string name;
    std::map<std::string, std::unique_ptr<Directory>> subdirectories; // by folded name
    std::map<std::string, const ReleaseFile *> files;                 // by folded name
};

std::vector<std::string> SplitNames(const std::string &path)
{
    std::vector<std::string> names;
    for (std::size_t begin = 0; begin <= path.size();)
    {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        names.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    const bool valid = std::none_of(names.begin(), names.end(),
                                    [](const std::string &name)
                                    {
                                        return name.empty() || name == "." || name == ".." ||
                                               name.find_first_of(std::string("\\\0", 2)) != name.npos;
                                    });
    if (!valid)
    {
        throw TreeError("\"" + path + "\" is no virtual path: names with single '/' between them, and no \\");
    }
    return names;
}

/// Strings in the order of their first use; the index is the ordinal.
class StringTable
{
public:
    StringTable() { GetIndex(""); }

    uint32 GetIndex(const std::string &text)
    {
        const auto [entry, inserted] = mIndices.emplace(text, static_cast<uint32>(mIndices.size()));
        if (inserted)
        {
            mData.append(text).push_back('\0');
        }
        return entry->second;
    }

    uint32 GetCount() const { return static_cast<uint32>(mIndices.size()); }
    const std::string &GetData() const { return mData; }

private:
    std::unordered_map<std::string, uint32> mIndices;
    std::string mData;
};

class Builder
{
public:
    explicit Builder(const ReleaseContents &contents) : mContents(contents)
    {
        for (const std::string &path : contents.directories)
        {
            GetDirectory(SplitNames(path), path);
        }
        for (const ReleaseFile &file : contents.files)
        {
            AddFile(file);
        }
    }

    std::string Build()
    {
        const uint32 projectName = mStrings.GetIndex(mContents.project);
        WriteTables();
        std::string image;
        ReleaseManifestHeader header;
        header.magic = ReleaseManifestMagic;
        header.version = mContents.formatVersion;
        header.identity.projectNameIndex = projectName;
        header.identity.releaseVersion = mContents.release;
        header.directoryCount = mDirectoryCount;
        AppendRecord(image, header);
        image += mDirectories;
        AppendRecord(image, Little32(mFileCount));
        image += mFiles;
        StringTableHeader strings;
        strings.stringCount = mStrings.GetCount();
        strings.dataSize = static_cast<uint32>(mStrings.GetData().size());
        AppendRecord(image, strings);
        image += mStrings.GetData();
        if (image.size() > LargestImage)
        {
            throw TreeError("the release has too many files for one manifest: split it into several projects");
        }
        return image;
    }

private:
    Directory &GetDirectory(const std::vector<std::string> &names, const std::string &path)
    {
        Directory *directory = &mRoot;
        for (const std::string &name : names)
        {
            const std::string folded = FoldPath(name);
            std::unique_ptr<Directory> &child = directory->subdirectories[folded];
            if (child == nullptr)
            {
                child = std::make_unique<Directory>();
                child->name = name;
            }
            if (child->name != name || directory->files.count(folded) != 0)
            {
                throw TreeError("two names differ in case alone, or in nothing, at " + path);
            }
            directory = child.get();
        }
        return *directory;
    }

    void AddFile(const ReleaseFile &file)
    {
        std::vector<std::string> names = SplitNames(file.path);
        const std::string folded = FoldPath(names.back());
        names.pop_back();
        Directory &directory = GetDirectory(names, file.path);
        if (directory.subdirectories.count(folded) != 0 || !directory.files.emplace(folded, &file).second)
        {
            throw TreeError("two names differ in case alone, or in nothing, at " + file.path);
        }
    }

    /// Level by level, so that the children of a directory come to lie side by side.
    void WriteTables()
    {
        std::deque<const Directory *> queue{&mRoot};
        mDirectoryCount = 1;
        while (!queue.empty())
        {
            const Directory &directory = *queue.front();
            queue.pop_front();
            DirectoryTableEntry record;
            record.nameIndex = mStrings.GetIndex(directory.name);
            record.firstSubdirectory = mDirectoryCount;
            record.subdirectoryCount = static_cast<uint32>(directory.subdirectories.size());
            record.firstFile = mFileCount;
            record.fileCount = static_cast<uint32>(directory.files.size());
            AppendRecord(mDirectories, record);
            mDirectoryCount += record.subdirectoryCount;
            for (const auto &[folded, child] : directory.subdirectories)
            {
                queue.push_back(child.get());
            }
            for (const auto &[folded, file] : directory.files)
            {
                WriteFileRecord(*file);
            }
        }
    }

    void WriteFileRecord(const ReleaseFile &file)
    {
        const std::string name = file.path.substr(file.path.rfind('/') + 1);
        FileTableEntryV0 record{};
        record.nameIndex = mStrings.GetIndex(name);
        record.version = file.version;
        std::copy(file.digest.begin(), file.digest.end(), record.digest);
        record.flags = file.flags;
        record.size = file.size;
        const bool longRecord = mContents.formatVersion == ReleaseManifestVersionV0;
        const uint_size size = longRecord ? sizeof(FileTableEntryV0) : sizeof(FileTableEntry);
        mFiles.append(reinterpret_cast<const char *>(&record), size); // they differ in trailing zeros alone
        ++mFileCount;
    }

    const ReleaseContents &mContents;
    Directory mRoot;
    StringTable mStrings;
    std::string mDirectories;
    std::string mFiles;
    uint32 mDirectoryCount = 0;
    uint32 mFileCount = 0;
};
} // namespace

std::string BuildReleaseManifest(const ReleaseContents &contents)
{
    if (contents.formatVersion != ReleaseManifestVersion && contents.formatVersion != ReleaseManifestVersionV0)
    {
        throw TreeError("a release manifest has the format version 0x10001 or 0x10002");
    }
    return Builder(contents).Build();
}
} // namespace Keld::TreeWriter
