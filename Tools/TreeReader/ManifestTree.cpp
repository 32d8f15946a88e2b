#include "Tools/TreeReader/ManifestTree.h"

#include "Tools/TreeReader/DiskFile.h"

#include "KeldMorvIO/listing/LevelOrder.h"
#include "KeldMorvIO/listing/ManifestFileIterator.h"
#include "KeldMorvIO/listing/ManifestParsing.h"
#include "KeldMorvIO/listing/PathProcessors.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace Keld::TreeReader
{
using MORV::Reader::DirectoryTableEntry;
using MORV::Reader::ManifestRefusal;
using MORV::Reader::ManifestTables;

namespace
{
std::string RefusalText(const MORV::Reader::ParsedImage &parsed)
{
    switch (parsed.refusal)
    {
    case ManifestRefusal::TooShort:
        return "is no release manifest: it has fewer than 8 bytes";
    case ManifestRefusal::WrongMagic:
        return "is no release manifest: it does not begin with \"QVMF\"";
    case ManifestRefusal::UnknownVersion:
        return "is a release manifest of an unknown form: version word " + std::to_string(parsed.version);
    case ManifestRefusal::None:
    case ManifestRefusal::Damaged:
        break;
    }
    return "is a damaged release manifest: it is cut short, or its tables do not fit together";
}
} // namespace

Result<std::unique_ptr<const ManifestTree>> ManifestTree::Load(const std::string &path)
{
    Result<LargeVector<char>> image = ReadFileImage(path, LargestImage);
    if (!image)
    {
        return image.GetFault();
    }
    return Parse(*image, path);
}

Result<std::unique_ptr<const ManifestTree>> ManifestTree::Parse(LargeVector<char> &image, const std::string &path)
{
    try
    {
        MORV::Reader::ParsedImage parsed = MORV::Reader::ParseReleaseManifest(image);
        if (parsed.manifest == nullptr)
        {
            return Fault{FaultKind::BadManifest, path, RefusalText(parsed)};
        }
        return std::unique_ptr<const ManifestTree>(new ManifestTree(std::move(parsed)));
    }
    catch (const std::length_error &)
    {
        return Fault{FaultKind::BadManifest, path, "is a damaged release manifest: it states more strings than can be"};
    }
}

ManifestTree::ManifestTree(MORV::Reader::ParsedImage parsed)
    : mManifest(std::move(parsed.manifest)), mTables(*parsed.tables), mFormatVersion(parsed.version),
      mParents(GetEntryCount(), RootEntry), mLevelOrder{RootEntry}
{
    uint_size heldFiles = 0;
    const auto noteChildren = [&](uint32 index)
    {
        const EntryRange subdirectories = GetSubdirectories(index);
        const EntryRange files = GetFiles(index);
        std::fill_n(mParents.begin() + subdirectories.first, subdirectories.count, index);
        std::fill_n(mParents.begin() + files.first, files.count, index);
        heldFiles += files.count;
    };
    mLevelOrder.reserve(GetDirectoryCount());
    MORV::Reader::WalkLevelOrder(mTables.GetDirectories(), mLevelOrder, noteChildren);
    mHasOddities =
        mLevelOrder.size() != GetDirectoryCount() || heldFiles != GetFileCount() || *GetName(RootEntry) != '\0';
    if (heldFiles != GetFileCount())
    {
        mHeldFiles.resize(GetFileCount());
        for (const uint32 directory : mLevelOrder)
        {
            const DirectoryTableEntry &record = mTables.GetDirectory(directory);
            for (uint32 position = 0; position < record.fileCount; ++position)
            {
                mHeldFiles[record.firstFile + position] = true;
            }
        }
    }
}

const char *ManifestTree::GetName(EntryIndex entry) const
{
    return mTables.GetString(IsDirectory(entry) ? mTables.GetDirectory(entry).nameIndex : GetFields(entry).nameIndex);
}

/// A range without children may begin anywhere, so its start is not looked at.
EntryRange ManifestTree::GetSubdirectories(EntryIndex directory) const
{
    const DirectoryTableEntry &record = mTables.GetDirectory(directory);
    return record.subdirectoryCount != 0 ? EntryRange{record.firstSubdirectory, record.subdirectoryCount}
                                         : EntryRange{};
}

EntryRange ManifestTree::GetFiles(EntryIndex directory) const
{
    const DirectoryTableEntry &record = mTables.GetDirectory(directory);
    return record.fileCount != 0 ? EntryRange{GetFileEntry(record.firstFile), record.fileCount} : EntryRange{};
}

std::string ManifestTree::GetPath(EntryIndex entry) const
{
    std::string path;
    AppendPath(entry, path);
    return path;
}

void ManifestTree::AppendPath(EntryIndex entry, std::string &text) const
{
    // From the leaf on, so that the names are measured, room is made once, and they are put in from the right.
    uint_size length = 0;
    for (EntryIndex ancestor = entry; ancestor != RootEntry && length < MORV::Reader::ManifestPathLimit;
         ancestor = GetParent(ancestor))
    {
        const uint_size separator = ancestor != entry ? 1 : 0;
        length += strnlen(GetName(ancestor), MORV::Reader::ManifestPathLimit) + separator;
    }
    const uint_size begin = text.size();
    text.resize(begin + length);
    uint_size end = length;
    for (EntryIndex ancestor = entry; ancestor != RootEntry && end > 0; ancestor = GetParent(ancestor))
    {
        if (ancestor != entry)
        {
            text[begin + --end] = '/';
        }
        const char *name = GetName(ancestor);
        const uint_size size = std::min<uint_size>(strnlen(name, MORV::Reader::ManifestPathLimit), end);
        end -= size;
        std::memcpy(text.data() + begin + end, name, size);
    }
}

bool ManifestTree::Matches(EntryIndex entry, const char *path) const
{
    MORV::Reader::PathMatcher matcher(path);
    bool goOn = matcher.ProcessName(GetName(entry));
    EntryIndex ancestor = GetParent(entry);
    while (goOn && ancestor != RootEntry)
    {
        goOn = matcher.ProcessName(GetName(ancestor));
        ancestor = GetParent(ancestor);
    }
    return matcher.IsFullMatch();
}
} // namespace Keld::TreeReader
