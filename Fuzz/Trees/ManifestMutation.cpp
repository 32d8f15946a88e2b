#include "Trees/ManifestMutation.h"

#include "Mutation/ByteMutation.h"
#include "Trees/RecordBytes.h"

#include "KeldFoundation/file/ByteView.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>

namespace Keld::Fuzz
{
namespace
{
using namespace MORV::Reader;

constexpr std::size_t MostManifestGrowth = 256; // bytes

/// A manifest taken apart, to be put together again with counts that are true.
struct Parts
{
    ReleaseManifestHeader header;
    std::vector<DirectoryTableEntry> directories;
    std::vector<FileTableFields> files;
    std::string trailing; ///< of one record
    uint32 stringCount = 0;
    std::vector<std::string> strings; ///< each without its NUL
    std::string rest;                 ///< behind the last NUL
};

class PartsReader
{
public:
    explicit PartsReader(const std::string &bytes) : mView(bytes.data(), bytes.size()) {}

    std::optional<Parts> Read()
    {
        Parts parts;
        const auto *header = Take<ReleaseManifestHeader>(1);
        if (header == nullptr || header->magic != ReleaseManifestMagic)
        {
            return std::nullopt;
        }
        parts.header = *header;
        const bool isOld = header->version == ReleaseManifestVersionV0;
        parts.trailing.assign(isOld ? sizeof FileTableEntryV0::trailing : sizeof FileTableEntry::trailing, '\0');
        const auto *directories = Take<DirectoryTableEntry>(header->directoryCount);
        const auto *fileCount = Take<Little32>(1);
        if (directories == nullptr || fileCount == nullptr ||
            !(isOld ? TakeFiles<FileTableEntryV0>(parts, *fileCount) : TakeFiles<FileTableEntry>(parts, *fileCount)))
        {
            return std::nullopt;
        }
        parts.directories.assign(directories, directories + header->directoryCount);
        const auto *strings = Take<StringTableHeader>(1);
        if (strings == nullptr)
        {
            return std::nullopt;
        }
        parts.stringCount = strings->stringCount;
        TakeStrings(parts);
        return parts;
    }

private:
    template <class Record>
    const Record *Take(uint32 count)
    {
        const Record *records = mView.Records<Record>(mOffset, count);
        mOffset += records != nullptr ? sizeof(Record) * count : 0;
        return records;
    }

    template <class Record>
    bool TakeFiles(Parts &parts, uint32 count)
    {
        const Record *records = Take<Record>(count);
        for (uint32 index = 0; records != nullptr && index < count; ++index)
        {
            parts.files.push_back(records[index]);
        }
        return records != nullptr;
    }

    void TakeStrings(Parts &parts)
    {
        const std::size_t left = mView.GetSize() - mOffset;
        const char *text = mView.Records<char>(mOffset, left);
        std::string current;
        for (std::size_t index = 0; text != nullptr && index < left; ++index)
        {
            if (text[index] == '\0')
            {
                parts.strings.push_back(std::move(current));
                current.clear();
            }
            else
            {
                current += text[index];
            }
        }
        parts.rest = std::move(current);
    }

    const ByteView mView;
    std::size_t mOffset = 0;
};

std::string PutTogether(const Parts &parts)
{
    std::string bytes;
    ReleaseManifestHeader header = parts.header;
    header.directoryCount = static_cast<uint32>(parts.directories.size());
    AppendRecord(bytes, header);
    for (const DirectoryTableEntry &directory : parts.directories)
    {
        AppendRecord(bytes, directory);
    }
    AppendRecord(bytes, Little32(static_cast<uint32>(parts.files.size())));
    for (const FileTableFields &file : parts.files)
    {
        AppendRecord(bytes, file);
        bytes += parts.trailing;
    }
    std::string text;
    for (const std::string &string : parts.strings)
    {
        text += string;
        text += '\0';
    }
    text += parts.rest;
    AppendRecord(bytes, StringTableHeader{parts.stringCount, static_cast<uint32>(text.size())});
    return bytes + text;
}

class PartsMutation
{
public:
    PartsMutation(Parts &parts, Random &random, const std::vector<std::string> &words)
        : mParts(parts), mRandom(random), mWords(words)
    {
    }

    void Apply()
    {
        switch (mRandom.Below(10))
        {
        case 0:
            return ChangeHeader();
        case 1:
            return ChangeDirectory();
        case 2:
        case 3:
            return ChangeFile();
        case 4:
        case 5:
            return ChangeName();
        case 6:
            return AddFile();
        case 7:
            return AddDirectory();
        case 8:
            return MoveRecords();
        default:
            return ChangeForm();
        }
    }

private:
    void ChangeHeader()
    {
        Little32 *const fields[] = {&mParts.header.version, &mParts.header.identity.projectNameIndex,
                                    &mParts.header.identity.releaseVersion};
        Change(*fields[mRandom.Below(std::size(fields))]);
        if (mRandom.OneIn(4))
        {
            mParts.stringCount = OddNumber(mParts.stringCount, mRandom);
        }
    }

    void ChangeDirectory()
    {
        if (!mParts.directories.empty())
        {
            DirectoryTableEntry &directory = mRandom.Pick(mParts.directories);
            Little32 *const fields[] = {&directory.nameIndex, &directory.firstSubdirectory,
                                        &directory.subdirectoryCount, &directory.firstFile, &directory.fileCount};
            Change(*fields[mRandom.Below(std::size(fields))]);
        }
    }

    void ChangeFile()
    {
        static constexpr uint32 storages[] = {0x00, 0x01, 0x02, 0x12, 0x16, 0x32, 0x36, 0x03, 0x11, 0x17, 0xFFFFFFFF};
        if (mParts.files.empty())
        {
            return;
        }
        FileTableFields &file = mRandom.Pick(mParts.files);
        switch (mRandom.Below(5))
        {
        case 0:
            return Change(file.nameIndex);
        case 1:
            file.flags = storages[mRandom.Below(std::size(storages))];
            return;
        case 2:
            return Change(file.size);
        case 3:
            file.version = mRandom.OneIn(2) ? uint32{mRandom.Pick(mParts.files).version}
                                            : uint32{mParts.header.identity.releaseVersion};
            return;
        default:
            file.digest[mRandom.Below(sizeof file.digest)] ^= 1;
            return;
        }
    }

    void ChangeName()
    {
        if (mParts.strings.empty())
        {
            return;
        }
        std::string &name = mRandom.Pick(mParts.strings);
        switch (mRandom.Below(5))
        {
        case 0:
            name = mRandom.Pick(mParts.strings);
            break;
        case 1:
            name = mRandom.Pick(mWords);
            break;
        case 2:
            std::transform(name.begin(), name.end(), name.begin(),
                           [](char character)
                           {
                               const bool isLetter = (character | 0x20) >= 'a' && (character | 0x20) <= 'z';
                               return isLetter ? static_cast<char>(character ^ 0x20) : character;
                           });
            break;
        case 3:
            name.insert(mRandom.Below(name.size() + 1), mRandom.OneIn(2) ? "/" : "\\");
            break;
        default:
            MutateBytes(name, mRandom, mRandom.OneIn(16) ? 1200 : name.size() + 4);
            std::erase(name, '\0');
            break;
        }
    }

    // Into the directory whose files stand last, so that all others keep their places.
    void AddFile()
    {
        FileTableFields file = {};
        if (!mParts.files.empty())
        {
            file = mRandom.Pick(mParts.files);
        }
        if (mRandom.OneIn(2) && !mParts.strings.empty())
        {
            file.nameIndex = static_cast<uint32>(mRandom.Below(mParts.strings.size()));
        }
        const auto end = static_cast<uint32>(mParts.files.size());
        mParts.files.push_back(file);
        for (DirectoryTableEntry &directory : mParts.directories)
        {
            if (directory.fileCount != 0 && directory.firstFile + directory.fileCount == end)
            {
                directory.fileCount = directory.fileCount + 1;
                return;
            }
        }
        if (!mParts.directories.empty())
        {
            DirectoryTableEntry &directory = mRandom.Pick(mParts.directories);
            directory.firstFile = end;
            directory.fileCount = 1;
        }
    }

    void AddDirectory()
    {
        if (mParts.directories.empty())
        {
            return;
        }
        DirectoryTableEntry added = mRandom.Pick(mParts.directories);
        const auto end = static_cast<uint32>(mParts.directories.size());
        DirectoryTableEntry &parent = mRandom.Pick(mParts.directories);
        if (parent.subdirectoryCount == 0 || parent.firstSubdirectory + parent.subdirectoryCount != end)
        {
            parent.firstSubdirectory = end;
            parent.subdirectoryCount = 0;
        }
        parent.subdirectoryCount = parent.subdirectoryCount + 1;
        if (mRandom.OneIn(2))
        {
            added.subdirectoryCount = 0; // else it shares the other's
        }
        mParts.directories.push_back(added);
    }

    void MoveRecords()
    {
        if (!mParts.files.empty() && mRandom.OneIn(2))
        {
            std::swap(mRandom.Pick(mParts.files), mRandom.Pick(mParts.files));
            return;
        }
        if (!mParts.directories.empty())
        {
            mRandom.Pick(mParts.directories) = mRandom.Pick(mParts.directories);
        }
    }

    void ChangeForm()
    {
        if (mRandom.OneIn(2))
        {
            const bool isOld = mParts.header.version == ReleaseManifestVersionV0;
            mParts.header.version = isOld ? ReleaseManifestVersion : ReleaseManifestVersionV0;
            mParts.trailing.assign(isOld ? sizeof FileTableEntry::trailing : sizeof FileTableEntryV0::trailing, '\1');
            return;
        }
        if (mRandom.OneIn(2) && !mParts.strings.empty())
        {
            mParts.strings.pop_back();
            return;
        }
        MutateBytes(mParts.rest, mRandom, 40);
    }

    void Change(Little32 &field)
    {
        const std::size_t counts[] = {mParts.directories.size(), mParts.files.size(), mParts.strings.size()};
        field = mRandom.OneIn(2) ? static_cast<uint32>(mRandom.Below(counts[mRandom.Below(3)] + 2))
                                 : OddNumber(field, mRandom);
    }

    Parts &mParts;
    Random &mRandom;
    const std::vector<std::string> &mWords;
};
} // namespace

bool CountsTooManyStrings(const std::string &bytes)
{
    const std::optional<Parts> parts = PartsReader(bytes).Read();
    return parts && parts->stringCount >= ReleaseManifestStringLimit;
}

void MutateManifest(std::string &bytes, Random &random, const std::vector<std::string> &words)
{
    std::optional<Parts> parts = PartsReader(bytes).Read();
    if (!parts || random.OneIn(8))
    {
        MutateBytes(bytes, random, bytes.size() + MostManifestGrowth);
        return;
    }
    for (std::size_t left = 1 + random.Below(3); left > 0; --left)
    {
        PartsMutation(*parts, random, words).Apply();
    }
    bytes = PutTogether(*parts);
    if (random.OneIn(8) && bytes.size() >= sizeof(ReleaseManifestHeader))
    {
        // A count that is not true after all.
        Little32 count = OddNumber(static_cast<uint32>(parts->directories.size()), random);
        std::memcpy(bytes.data() + offsetof(ReleaseManifestHeader, directoryCount), &count, sizeof count);
    }
}
} // namespace Keld::Fuzz
