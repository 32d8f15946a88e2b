#include "KeldMorvIO/listing/PathProcessors.h"

#include "KeldMorvIO/listing/ProjectListing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>

namespace Keld::MORV::Reader
{
namespace
{
/// A chain of directories from the root down, and a file in the last of them, made by hand in one block.
class EntryChain
{
public:
    EntryChain(const std::string &rootName, const std::vector<std::string> &directories, const std::string &file)
        : mDirectoryCount(directories.size() + 1)
    {
        std::string names = rootName + '\0';
        for (const std::string &directory : directories)
        {
            names += directory + '\0';
        }
        names += file + '\0';
        mBlock.resize(mDirectoryCount * sizeof(DirectoryEntry) + sizeof(FileEntry) + names.size());
        char *name = mBlock.data() + mBlock.size() - names.size();
        std::copy(names.begin(), names.end(), name);
        for (std::size_t depth = 0; depth < mDirectoryCount; ++depth)
        {
            Fill(At<DirectoryEntry>(depth * sizeof(DirectoryEntry))->mEntry, name, depth);
        }
        Fill(At<FileEntry>(mDirectoryCount * sizeof(DirectoryEntry))->mEntry, name, mDirectoryCount);
    }

    const FileEntry *File() { return At<FileEntry>(mDirectoryCount * sizeof(DirectoryEntry)); }

    /// The directory at a depth; 0 is the root.
    const FileEntry *Directory(std::size_t depth)
    {
        return AsFileEntry(At<DirectoryEntry>(depth * sizeof(DirectoryEntry)));
    }

private:
    template <class Record>
    Record *At(std::size_t offset)
    {
        return reinterpret_cast<Record *>(static_cast<void *>(mBlock.data() + offset));
    }

    void Fill(ListingEntry &entry, char *&name, std::size_t depth)
    {
        entry.mName = name;
        entry.mParent = depth != 0 ? At<DirectoryEntry>((depth - 1) * sizeof(DirectoryEntry)) : nullptr;
        name += std::strlen(name) + 1;
    }

    std::size_t mDirectoryCount;
    std::vector<char> mBlock;
};

bool Matches(const char *text, const ProjectListing::FileEntry *entry)
{
    PathMatcher matcher(text);
    ProjectListing::WalkToRoot(entry, matcher);
    return matcher.IsFullMatch();
}

/// Notes the names that it is offered and refuses after so many of them.
class Recorder final : public ProjectListing::PathProcessor
{
public:
    explicit Recorder(std::size_t limit) : mLimit(limit) {}

    bool Process(const ProjectListing::FileEntry *entry) override
    {
        mNames.emplace_back(GetListingEntry(entry).mName.Get());
        return mNames.size() < mLimit;
    }

    std::vector<std::string> mNames;

private:
    std::size_t mLimit;
};

using Names = std::vector<std::string>;

TEST(WalkToRoot, OffersTheEntryAndItsAncestorsWithoutTheRoot)
{
    EntryChain chain("root", {"a", "b"}, "c");
    Recorder recorder(100);
    EXPECT_TRUE(ProjectListing::WalkToRoot(chain.File(), recorder));
    EXPECT_EQ(recorder.mNames, (Names{"c", "b", "a"}));
}

TEST(WalkToRoot, EndsAfterAnEntryDirectlyBelowTheRoot)
{
    EntryChain chain("root", {}, "c");
    Recorder recorder(100);
    EXPECT_TRUE(ProjectListing::WalkToRoot(chain.File(), recorder));
    EXPECT_EQ(recorder.mNames, Names{"c"});
}

TEST(WalkToRoot, OffersTheRootWhenItBeginsThere)
{
    EntryChain chain("root", {"a"}, "c");
    Recorder recorder(100);
    EXPECT_TRUE(ProjectListing::WalkToRoot(chain.Directory(0), recorder));
    EXPECT_EQ(recorder.mNames, Names{"root"});
}

TEST(WalkToRoot, StopsAtTheFirstRefusalAndReturnsIt)
{
    EntryChain chain("root", {"a", "b"}, "c");
    Recorder atOnce(1);
    EXPECT_FALSE(ProjectListing::WalkToRoot(chain.File(), atOnce));
    EXPECT_EQ(atOnce.mNames, Names{"c"});

    Recorder later(2);
    EXPECT_FALSE(ProjectListing::WalkToRoot(chain.File(), later));
    EXPECT_EQ(later.mNames, (Names{"c", "b"}));
}

TEST(PathMatcher, MatchesAWholePathWithoutRegardToAsciiCase)
{
    EntryChain chain("", {"Data", "maps"}, "Arena.BIN");
    EXPECT_TRUE(Matches("Data/maps/Arena.BIN", chain.File()));
    EXPECT_TRUE(Matches("dATA/MAPS/arena.bin", chain.File()));
    EXPECT_TRUE(Matches("data/maps", chain.Directory(2)));
    EXPECT_TRUE(Matches("DATA", chain.Directory(1)));
}

TEST(PathMatcher, DoesNotFoldBytesOutsideAscii)
{
    EntryChain chain("", {}, "\xC3\xA4");
    EXPECT_TRUE(Matches("\xC3\xA4", chain.File()));
    EXPECT_FALSE(Matches("\xC3\x84", chain.File()));
}

TEST(PathMatcher, RefusesANameWhoseAncestorsAreNotInTheText)
{
    EntryChain chain("", {"a"}, "b");
    EXPECT_FALSE(Matches("b", chain.File()));
    EXPECT_TRUE(Matches("a/b", chain.File()));
}

TEST(PathMatcher, RefusesATextThatIsLeftOverAtTheRoot)
{
    EntryChain chain("", {}, "b");
    EXPECT_FALSE(Matches("x/b", chain.File()));
    EXPECT_FALSE(Matches("x/y/b", chain.File()));
}

TEST(PathMatcher, RefusesATextThatOnlyEndsInTheName)
{
    EntryChain chain("", {}, "b");
    EXPECT_FALSE(Matches("xb", chain.File()));
}

TEST(PathMatcher, RefusesATextShorterThanTheName)
{
    EntryChain chain("", {}, "long.name");
    EXPECT_FALSE(Matches("name", chain.File()));
    EXPECT_FALSE(Matches("", chain.File()));
}

TEST(PathMatcher, RefusesAnAncestorThatRepeatsTheNameWhichCompletedTheText)
{
    EXPECT_FALSE(Matches("b", EntryChain("", {"b"}, "b").File()));
    EXPECT_FALSE(Matches("b", EntryChain("", {"b", "b"}, "b").File()));
    EXPECT_FALSE(Matches("b/b", EntryChain("", {"b", "b"}, "b").File()));
    EXPECT_TRUE(Matches("b/b/b", EntryChain("", {"b", "b"}, "b").File()));
    EXPECT_FALSE(Matches("b", EntryChain("", {"B", "b"}, "b").Directory(2)));
}

TEST(PathMatcher, ClearsTheMatchWhenAnAncestorIsLeftOver)
{
    EntryChain chain("", {"a"}, "b");
    PathMatcher matcher("b");
    EXPECT_TRUE(matcher.Process(chain.File()));
    EXPECT_TRUE(matcher.IsFullMatch());
    EXPECT_FALSE(matcher.Process(chain.Directory(1)));
    EXPECT_FALSE(matcher.IsFullMatch());
}

TEST(PathMatcher, MatchesTheRootByItsName)
{
    EXPECT_TRUE(Matches("", EntryChain("", {}, "b").Directory(0)));
    EXPECT_FALSE(Matches("", EntryChain("named", {}, "b").Directory(0)));
    EXPECT_TRUE(Matches("named", EntryChain("named", {}, "b").Directory(0)));
}

TEST(PathMatcher, LetsALeadingSeparatorPassWhichLookupsRefuse)
{
    EXPECT_TRUE(Matches("/b", EntryChain("", {}, "b").File()));
}

TEST(PathLength, CountsNamesAndSeparatorsBelowTheRoot)
{
    EntryChain chain("root", {"data", "maps"}, "arena.bin");
    EXPECT_EQ(ProjectListing::GetPathLength(chain.File()), std::string("data/maps/arena.bin").size());
    EXPECT_EQ(ProjectListing::GetPathLength(chain.Directory(2)), std::string("data/maps").size());
    EXPECT_EQ(ProjectListing::GetPathLength(chain.Directory(1)), std::string("data").size());
}

TEST(PathLength, OfTheRootIsThatOfItsName)
{
    EXPECT_EQ(ProjectListing::GetPathLength(EntryChain("", {}, "b").Directory(0)), 0u);
    EXPECT_EQ(ProjectListing::GetPathLength(EntryChain("named", {}, "b").Directory(0)), 5u);
}

TEST(PathLength, CountsNoSeparatorBehindAnEmptyName)
{
    EXPECT_EQ(ProjectListing::GetPathLength(EntryChain("", {"ab"}, "").File()), 2u);
    EXPECT_EQ(ProjectListing::GetPathLength(EntryChain("", {"ab", ""}, "c").File()), 5u);
}

TEST(PathLength, DoesNotWrapAround)
{
    struct Block
    {
        std::array<DirectoryEntry, 65> directories{}; // the root, and 64 directories with 2^32 bytes of names
        std::array<char, (1 << 26) + 1> name{};
    };
    const auto block = std::make_unique<Block>();
    std::fill(block->name.begin(), block->name.end() - 1, 'n');
    auto &directories = block->directories;
    for (std::size_t depth = 0; depth < directories.size(); ++depth)
    {
        directories[depth].mEntry.mName = block->name.data();
        directories[depth].mEntry.mParent = depth != 0 ? &directories[depth - 1] : nullptr;
    }
    EXPECT_EQ(ProjectListing::GetPathLength(AsFileEntry(&directories.back())), 0xFFFFFFFFu);
}

TEST(FilePath, IsWrittenWithItsCaseAndTerminator)
{
    EntryChain chain("root", {"Data", "maps"}, "Arena.bin");
    std::array<char, 32> buffer;
    buffer.fill('#');
    ASSERT_TRUE(ProjectListing::GetFilePath(chain.File(), buffer.data(), 32));
    EXPECT_STREQ(buffer.data(), "Data/maps/Arena.bin");
    EXPECT_EQ(buffer[20], '#');
    EXPECT_EQ(ProjectListing::GetFilePath(chain.File()), "Data/maps/Arena.bin");
    EXPECT_EQ(ProjectListing::GetFilePath(chain.Directory(1)), "Data");
    EXPECT_EQ(ProjectListing::GetFilePath(chain.Directory(0)), "root");
}

TEST(FilePath, NeedsRoomForItsTerminator)
{
    EntryChain chain("", {"ab"}, "cd");
    std::array<char, 8> buffer;
    buffer.fill('#');
    EXPECT_FALSE(ProjectListing::GetFilePath(chain.File(), buffer.data(), 5));
    EXPECT_EQ(buffer[0], '#');
    EXPECT_TRUE(ProjectListing::GetFilePath(chain.File(), buffer.data(), 6));
    EXPECT_STREQ(buffer.data(), "ab/cd");
}

TEST(FilePath, RefusesANullBuffer)
{
    EntryChain chain("", {}, "b");
    EXPECT_FALSE(ProjectListing::GetFilePath(chain.File(), nullptr, 100));
}

TEST(FilePath, AsATextHoldsUpTo1023BytesAndIsEmptyBeyond)
{
    const std::string fits(1023 - 2, 'n');
    EXPECT_EQ(ProjectListing::GetFilePath(EntryChain("", {"d"}, fits).File()), "d/" + fits);
    EXPECT_EQ(ProjectListing::GetFilePath(EntryChain("", {"d"}, fits + "n").File()), "");
}

TEST(FilePath, KeepsToItsBufferBehindAnEmptyLeaf)
{
    EntryChain chain("", {"outer", "inner"}, "");
    std::array<char, 32> memory;
    memory.fill('#');
    char *const buffer = memory.data() + 8;
    ASSERT_TRUE(ProjectListing::GetFilePath(chain.File(), buffer, 16));
    EXPECT_EQ(std::string(memory.data(), 8), std::string(8, '#'));
    EXPECT_EQ(std::string(memory.data() + 24, 8), std::string(8, '#'));
}
} // namespace
} // namespace Keld::MORV::Reader
