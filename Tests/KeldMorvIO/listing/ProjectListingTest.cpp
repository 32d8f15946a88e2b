#include "KeldMorvIO/listing/ProjectListing.h"

#include "ListingTree.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;
using namespace std::string_literals;
using FileEntry = ProjectListing::FileEntry;

std::string PathOf(const FileEntry *entry)
{
    return entry != nullptr ? ProjectListing::GetFilePath(entry) : "(null)";
}

class ProjectListingTest : public testing::Test
{
protected:
    ReaderLogCapture mLog;
    ListingTree mTree;
};

TEST_F(ProjectListingTest, FindsFilesAndDirectoriesByTheirPath)
{
    mTree.Naked("a.txt", "A").Naked("data/maps/arena.bin", "map").Managed("data/b.txt", "B").Archived("data/c", "C");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    for (const char *const path : {"a.txt", "data", "data/maps", "data/maps/arena.bin", "data/b.txt", "data/c"})
    {
        EXPECT_EQ(PathOf(listing->FindEntry(path)), path);
    }
}

TEST_F(ProjectListingTest, FindsNothingElse)
{
    mTree.Naked("a.txt", "A").Naked("data/maps/arena.bin", "map");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    LogRecorder::Clear();
    for (const char *const path : {"b.txt", "arena.bin", "maps", "maps/arena.bin", "data/a.txt", "data/maps/arena",
                                   "x/a.txt", "xa.txt", "data/", "data//maps", "a.txt/", "data/maps/arena.bin/x", " "})
    {
        EXPECT_EQ(listing->FindEntry(path), nullptr) << path;
    }
    mLog.ExpectAll({});
}

TEST_F(ProjectListingTest, GivesNullForANullPath)
{
    mTree.Naked("a.txt", "A");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(listing->FindEntry(nullptr), nullptr);
}

TEST_F(ProjectListingTest, FindsTheRootByTheEmptyPath)
{
    mTree.Naked("d/a.txt", "A");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const FileEntry *const root = listing->FindEntry("");
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(GetListingEntry(root).mParent, nullptr);
    EXPECT_EQ(root, AsFileEntry(GetListingEntry(listing->FindEntry("d")).mParent));
}

TEST_F(ProjectListingTest, DoesNotFindANamedRootByTheEmptyPath)
{
    mTree.Naked("d/a.txt", "A");
    mTree.Manifest().RootName("named");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(listing->FindEntry(""), nullptr);
    EXPECT_EQ(listing->FindEntry("named/d/a.txt"), nullptr);
    EXPECT_EQ(PathOf(listing->FindEntry("d/a.txt")), "d/a.txt");
}

TEST_F(ProjectListingTest, NeverFindsAPathThatBeginsWithASeparator)
{
    // With so few buckets the path falls by chance into that of the name alone: "/f" of 5, "/c" of 7, "/i" of 9.
    for (const char *const name : {"f", "c", "i"})
    {
        for (const int others : {2, 4, 7})
        {
            ListingTree tree;
            tree.Naked(name, "x").Naked("dir/" + std::string(name), "x");
            for (int index = 1; index < others; ++index)
            {
                tree.Naked("other" + std::to_string(index), "x");
            }
            const auto listing = tree.Load();
            ASSERT_NE(listing, nullptr);
            EXPECT_NE(listing->FindEntry(name), nullptr) << name;
            for (const std::string &path : {"/" + std::string(name), "//" + std::string(name), "/dir"s, "/"s})
            {
                EXPECT_EQ(listing->FindEntry(path.c_str()), nullptr) << path << " beside " << others;
            }
        }
    }
}

TEST_F(ProjectListingTest, ComparesPathsWithoutRegardToAsciiCase)
{
    mTree.Naked("Data/Arena_X.BIN", "A").Naked("Data/arena[x.bin", "B");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const FileEntry *const entry = listing->FindEntry("Data/Arena_X.BIN");
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->mEntry.mName, "Arena_X.BIN");
    EXPECT_EQ(listing->FindEntry("data/arena_x.bin"), entry);
    EXPECT_EQ(listing->FindEntry("DATA/ARENA_X.BIN"), entry);
    EXPECT_EQ(listing->FindEntry("DATA/ARENA{X.BIN"), nullptr);
}

TEST_F(ProjectListingTest, FindsNamesWithBytesOutsideAscii)
{
    mTree.Naked("\xC3\xA4/\xE6\x97\xA5\xFF.txt", "A").Naked("plain", "B");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_NE(listing->FindEntry("\xC3\xA4"), nullptr);
    EXPECT_NE(listing->FindEntry("\xC3\xA4/\xE6\x97\xA5\xFF.TXT"), nullptr);
    EXPECT_EQ(listing->FindEntry("\xC3\x84/\xE6\x97\xA5\xFF.txt"), nullptr);
}

TEST_F(ProjectListingTest, TellsDirectoriesApartThatRepeatTheirParentsName)
{
    // How many entries there are decides which hashes share a bucket, and, from 16 on, which of them comes first.
    for (const int padding : {0, 9, 15, 16, 17, 20, 21, 42, 45})
    {
        ListingTree tree;
        tree.Naked("b/b/b/b", "deep").Naked("b/b/c", "c").Naked("c/c", "x");
        for (int index = 0; index < padding; ++index)
        {
            tree.Naked("pad" + std::to_string(index), "p");
        }
        const auto listing = tree.Load();
        ASSERT_NE(listing, nullptr);
        for (const char *const path : {"b", "b/b", "b/b/b", "b/b/b/b", "b/b/c", "c", "c/c"})
        {
            EXPECT_EQ(PathOf(listing->FindEntry(path)), path) << padding;
        }
        EXPECT_EQ(listing->FindEntry("b/b/b/b/b"), nullptr) << padding;
        EXPECT_EQ(listing->FindEntry("c/c/c"), nullptr) << padding;
    }
}

TEST_F(ProjectListingTest, TellsAFileFromTheDirectoryWhoseNameItRepeats)
{
    for (char letter = 'a'; letter <= 'z'; ++letter)
    {
        const std::string name(1, letter);
        ListingTree tree;
        tree.Naked(name + "/" + name, "x");
        const auto listing = tree.Load();
        ASSERT_NE(listing, nullptr);
        ASSERT_NE(listing->FindEntry(name.c_str()), nullptr);
        EXPECT_TRUE(ProjectListing::IsDirectory(listing->FindEntry(name.c_str()))) << name;
        EXPECT_FALSE(ProjectListing::IsDirectory(listing->FindEntry((name + "/" + name).c_str()))) << name;
    }
}

TEST_F(ProjectListingTest, FindsEveryPathOfARandomTreeAndNoOther)
{
    std::mt19937 random(20240611);
    std::set<std::string> files;
    const auto name = [&random]
    {
        return std::string(1 + random() % 3, static_cast<char>('a' + random() % 4));
    };
    while (files.size() < 150)
    {
        std::string path = "d" + name();
        for (std::size_t depth = random() % 4; depth > 0; --depth)
        {
            path += "/d" + name();
        }
        files.insert(path + "/f" + name());
    }
    std::set<std::string> known;
    for (const std::string &file : files)
    {
        mTree.Naked(file, "x");
        for (std::size_t slash = file.find('/'); slash != std::string::npos; slash = file.find('/', slash + 1))
        {
            known.insert(file.substr(0, slash));
        }
        known.insert(file);
    }
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    for (const std::string &path : known)
    {
        EXPECT_EQ(PathOf(listing->FindEntry(path.c_str())), path);
        for (const std::string &other : {path + "/dz", path.substr(1), "d" + path, path + "a"})
        {
            EXPECT_EQ(listing->FindEntry(other.c_str()) != nullptr, known.count(other) == 1) << other;
        }
    }
}

TEST_F(ProjectListingTest, TellsKindsApartByPlace)
{
    mTree.Naked("d/e/f.txt", "A").Naked("a.txt", "A");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_TRUE(ProjectListing::IsDirectory(listing->FindEntry("")));
    EXPECT_TRUE(ProjectListing::IsDirectory(listing->FindEntry("d")));
    EXPECT_TRUE(ProjectListing::IsDirectory(listing->FindEntry("d/e")));
    EXPECT_FALSE(ProjectListing::IsDirectory(listing->FindEntry("d/e/f.txt")));
    EXPECT_FALSE(ProjectListing::IsDirectory(listing->FindEntry("a.txt")));
}

TEST_F(ProjectListingTest, GivesTheManifestsSizeAndZeroForDirectories)
{
    mTree.Disk().Write(ListingTree::NakedPath("d/a.txt"), "seven b");
    mTree.Manifest().File("d/a.txt", {.size = 0xFFFFFFFF});
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(ProjectListing::GetFileSize(listing->FindEntry("d/a.txt")), 0xFFFFFFFFu);
    EXPECT_EQ(ProjectListing::GetFileSize(listing->FindEntry("d")), 0u);
    EXPECT_EQ(ProjectListing::GetFileSize(listing->FindEntry("")), 0u);
}

TEST_F(ProjectListingTest, IsTheOwnerOfEachOfItsEntries)
{
    mTree.Naked("d/e/f.txt", "A").Naked("a.txt", "A");
    const auto listing = mTree.Load();
    const auto other = mTree.Load();
    ASSERT_NE(listing, nullptr);
    ASSERT_NE(other, nullptr);
    for (const char *const path : {"", "d", "d/e", "d/e/f.txt", "a.txt"})
    {
        EXPECT_EQ(ProjectListing::GetOwner(listing->FindEntry(path)), listing.get()) << path;
        EXPECT_EQ(ProjectListing::GetOwner(other->FindEntry(path)), other.get()) << path;
    }
}

TEST_F(ProjectListingTest, WalksADirectoryInOrderDirectoriesFirst)
{
    mTree.Naked("Zoo", "1").Naked("apple", "2").Naked("_x", "3").Naked("Mid", "4");
    mTree.Naked("sub2/x", "5").Naked("Sub1/x", "6").Naked("_sub/x", "7");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(NamesIn(listing->FindEntry("")),
              (std::vector<std::string>{"_sub/", "Sub1/", "sub2/", "_x", "apple", "Mid", "Zoo"}));
    EXPECT_EQ(NamesIn(listing->FindEntry("SUB1")), std::vector<std::string>{"x"});
}

TEST_F(ProjectListingTest, IteratorStepsThroughEntriesAndStaysAtTheEnd)
{
    mTree.Naked("d/x", "X").Naked("file", "F");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    ProjectListing::DirectoryIterator iterator(listing->FindEntry(""));
    EXPECT_TRUE(iterator.IsValid());
    EXPECT_TRUE(iterator.IsDirectory());
    EXPECT_EQ(iterator.GetEntry(), listing->FindEntry("d"));
    EXPECT_STREQ(iterator.GetName(), "d");

    EXPECT_TRUE(iterator.Next());
    EXPECT_TRUE(iterator.IsValid());
    EXPECT_FALSE(iterator.IsDirectory());
    EXPECT_EQ(iterator.GetEntry(), listing->FindEntry("file"));
    EXPECT_STREQ(iterator.GetName(), "file");

    EXPECT_FALSE(iterator.Next());
    for (int again = 0; again < 3; ++again)
    {
        EXPECT_FALSE(iterator.IsValid());
        EXPECT_FALSE(iterator.IsDirectory());
        EXPECT_EQ(iterator.GetEntry(), nullptr);
        EXPECT_EQ(iterator.GetName(), nullptr);
        EXPECT_FALSE(iterator.Next());
    }
}

TEST_F(ProjectListingTest, IteratorOnNullAFileOrAnEmptyDirectoryIsEmpty)
{
    mTree.Naked("file", "F");
    mTree.Manifest().Directory("empty");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    LogRecorder::Clear();
    for (const FileEntry *const entry :
         {static_cast<const FileEntry *>(nullptr), listing->FindEntry("file"), listing->FindEntry("empty")})
    {
        ProjectListing::DirectoryIterator iterator(entry);
        EXPECT_FALSE(iterator.IsValid());
        EXPECT_FALSE(iterator.IsDirectory());
        EXPECT_EQ(iterator.GetEntry(), nullptr);
        EXPECT_EQ(iterator.GetName(), nullptr);
        EXPECT_FALSE(iterator.Next());
    }
    mLog.ExpectAll({});
}

TEST_F(ProjectListingTest, IteratorsOfOneDirectoryAreIndependentCopies)
{
    mTree.Naked("a", "1").Naked("b", "2");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    ProjectListing::DirectoryIterator first(listing->FindEntry(""));
    ProjectListing::DirectoryIterator second = first;
    EXPECT_TRUE(second.Next());
    EXPECT_STREQ(first.GetName(), "a");
    EXPECT_STREQ(second.GetName(), "b");
}
} // namespace
} // namespace Keld::MORV::Reader
