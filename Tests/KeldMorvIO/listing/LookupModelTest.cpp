#include "ListingTree.h"
#include "Support/ReaderLogCapture.h"

#include "KeldFoundation/CStd/Hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

// Lookups in random trees against a plain model of them. The trees have what a writer of sense never makes: names that
// are empty or hold a separator, siblings of one name, records that no directory holds, a root with a name.
namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;

/// Stands for a separator inside a name until the image is written.
constexpr char HiddenSeparator = '\x01';

const std::vector<std::string> NamePool = {"a", "A", "b", "ab", "B.x", "a\001b", "b\001A", "long name", "\xC4"};

/// Names from the leaf up, without the root's unless the entry is the root.
std::vector<std::string> NamesUpwards(const FileEntry *entry)
{
    std::vector<std::string> names{GetListingEntry(entry).mName.Get()};
    const DirectoryEntry *ancestor = GetListingEntry(entry).mParent;
    for (; ancestor != nullptr && ancestor->mEntry.mParent != nullptr; ancestor = ancestor->mEntry.mParent)
    {
        names.emplace_back(ancestor->mEntry.mName.Get());
    }
    return names;
}

std::string InLowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), FoldCase);
    return text;
}

/// Takes one name after the other off the right-hand end of the text. The whole text must go with the last name.
bool IsMatch(const std::vector<std::string> &names, std::string text)
{
    text = InLowerCase(text);
    for (std::size_t index = 0; index < names.size(); ++index)
    {
        const std::string name = InLowerCase(names[index]);
        const bool isLast = index + 1 == names.size();
        if (text.size() < name.size() || text.substr(text.size() - name.size()) != name)
        {
            return false;
        }
        text.resize(text.size() - name.size());
        if (text.empty())
        {
            return isLast;
        }
        if (text.back() != '/')
        {
            return false;
        }
        text.pop_back();
        if (text.empty())
        {
            return isLast;
        }
    }
    return false;
}

const FileEntry *FindByModel(const ProjectListing &listing, const std::string &path)
{
    if (!path.empty() && path.front() == '/')
    {
        return nullptr;
    }
    for (const HashSlot &slot : listing.GetBucket(HashPathLower(path.c_str()) % listing.GetHeader().mBucketCount))
    {
        if (IsMatch(NamesUpwards(slot.mEntry), path))
        {
            return slot.mEntry;
        }
    }
    return nullptr;
}

/// A tree of files in an archive, whose manifest is made of unique names first and of names from the pool afterwards.
class RandomTree
{
public:
    explicit RandomTree(unsigned seed) : mRandom(seed)
    {
        for (const std::string &name : NamePool)
        {
            Add(name, name);
        }
        std::vector<std::pair<std::string, std::string>> directories{{"", ""}}; // under unique and under real names
        for (int count = 0; count < 60; ++count)
        {
            const auto [unique, real] = directories[mRandom() % directories.size()];
            const std::string key = unique + "u" + std::to_string(count);
            if (mRandom() % 3 == 0)
            {
                const std::string name = mRandom() % 5 == 0 ? "" : PickName();
                directories.emplace_back(key + "/", real + name + "/");
                mManifest.Directory(key);
                mRenamedDirectories.emplace_back(key, name);
            }
            else
            {
                const std::string name = PickName();
                Add(key, real + name);
                mRenamedFiles.emplace_back(key, name);
            }
        }
    }

    std::unique_ptr<ProjectListing> Load()
    {
        Rename();
        if (mRandom() % 4 == 0)
        {
            mManifest.RootName("root");
        }
        if (mRandom() % 4 == 0)
        {
            mManifest.Patch(mManifest.DirectoryOffset("") + 16, static_cast<std::uint32_t>(NamePool.size())); // files
        }
        std::string bytes = mManifest.Bytes();
        std::replace(bytes.begin() + static_cast<std::ptrdiff_t>(mManifest.StringDataOffset()), bytes.end(),
                     HiddenSeparator, '/');
        const std::string archives = "MORV/projects/atlas/filearchives/1.0.0.0/files.vka";
        mTree.Write(archives, mIndex.Bytes());
        mTree.Write(archives + ".dat", "x");
        const std::unique_ptr<ReleaseManifest> manifest(
            ReleaseManifest::Load(mTree.Write("releasemanifest", bytes).c_str()));
        return std::unique_ptr<ProjectListing>(manifest != nullptr ? manifest->CreateListing(mTree.Path("MORV").c_str())
                                                                   : nullptr);
    }

    /// A path that some entry may have, or nearly.
    std::string PickPath()
    {
        std::string path;
        for (std::size_t count = mRandom() % 5; count > 0; --count)
        {
            std::string name = mRandom() % 8 == 0 ? "" : PickName();
            std::replace(name.begin(), name.end(), HiddenSeparator, '/');
            path += name + (count > 1 || mRandom() % 8 == 0 ? "/" : "");
        }
        return mRandom() % 16 == 0 ? "root" : path;
    }

    const std::string &PickName() { return NamePool[mRandom() % NamePool.size()]; }

private:
    void Add(const std::string &key, std::string real)
    {
        mManifest.File(key, {ArchivedFlag, 1});
        std::replace(real.begin(), real.end(), HiddenSeparator, '/');
        mIndex.File(real, 0, 1);
    }

    /// Gives the records the names of the pool, whose strings are those of the first files in the root.
    void Rename()
    {
        const auto indexOf = [this](const std::string &name)
        {
            return name.empty() ? 0 : 2 + mManifest.DirectoryCount() - 1 + mManifest.FileIndex(name);
        };
        for (const auto &[key, name] : mRenamedDirectories)
        {
            mManifest.Patch(mManifest.DirectoryOffset(key), indexOf(name));
        }
        for (const auto &[key, name] : mRenamedFiles)
        {
            mManifest.Patch(mManifest.FileOffset(key), indexOf(name));
        }
    }

    std::mt19937 mRandom;
    TempTree mTree;
    ManifestImage mManifest;
    ArchiveImage mIndex;
    std::vector<std::pair<std::string, std::string>> mRenamedDirectories;
    std::vector<std::pair<std::string, std::string>> mRenamedFiles;
};

TEST(LookupModel, FindsTheSameEntryInRandomTreesOfOddNames)
{
    ReaderLogCapture log;
    std::size_t foundCount = 0;
    for (unsigned seed = 0; seed < 60; ++seed)
    {
        RandomTree tree(seed);
        const std::unique_ptr<ProjectListing> listing = tree.Load();
        ASSERT_NE(listing, nullptr) << seed;
        std::vector<std::string> paths;
        for (const HashSlot &slot : listing->GetSlots())
        {
            paths.push_back(ProjectListing::GetFilePath(slot.mEntry));
            paths.push_back(InLowerCase(paths.back()) + "/");
        }
        for (int count = 0; count < 500; ++count)
        {
            paths.push_back(tree.PickPath());
        }
        for (const std::string &path : paths)
        {
            const FileEntry *const expected = FindByModel(*listing, path);
            foundCount += expected != nullptr ? 1 : 0;
            ASSERT_EQ(listing->FindEntry(path.c_str()), expected) << seed << ": " << path;
        }
    }
    EXPECT_GT(foundCount, 3000u);
}

TEST(LookupModel, SearchesByEveryNameWhereARecordHasNoPathOfItsOwn)
{
    ReaderLogCapture log;
    std::size_t decided = 0;
    for (unsigned seed = 0; seed < 60; ++seed)
    {
        decided += RandomTree(seed).Load()->DoHashesDecide() ? 1u : 0u;
    }
    EXPECT_GT(decided, 15u); // so that the trees above are of both kinds
    EXPECT_LT(decided, 45u);
}
// Names are compared by words as far as they are long enough, and by bytes at the end of all strings.
TEST(LookupModelTest, NamesOfEveryLengthAreFoundInEitherCaseAlone)
{
    ListingTree tree;
    std::vector<std::string> paths;
    for (std::size_t length = 1; length < 40; ++length)
    {
        std::string name;
        for (std::size_t index = 0; index < length; ++index)
        {
            name += static_cast<char>((index % 2 == 0 ? 'A' : 'a') + (index * 7 + length) % 26);
        }
        paths.push_back("Directory" + std::to_string(length) + "/" + name);
        tree.Naked(paths.back(), "x");
    }
    const auto listing = tree.Load();
    for (const std::string &path : paths)
    {
        const FileEntry *const entry = listing->FindEntry(path.c_str());
        ASSERT_NE(nullptr, entry) << path;
        EXPECT_EQ(path, ProjectListing::GetFilePath(entry));
        EXPECT_EQ(entry, listing->FindEntry(InLowerCase(path).c_str()));
        for (std::size_t index = 0; index < path.size(); ++index)
        {
            std::string other = path;
            other[index] = '#';
            EXPECT_EQ(nullptr, listing->FindEntry(other.c_str()));
        }
        EXPECT_EQ(nullptr, listing->FindEntry((path + "x").c_str()));
    }
}
} // namespace
} // namespace Keld::MORV::Reader
