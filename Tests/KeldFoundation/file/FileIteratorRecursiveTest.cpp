#include "KeldFoundation/file/FileIteratorRecursive.h"

#include "KeldFoundation/file/FileProviderList.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace Keld::File
{
namespace
{
using Test::TempTree;
using Paths = std::vector<std::string>;

class FileIteratorRecursiveTest : public testing::Test
{
protected:
    ~FileIteratorRecursiveTest() override { gFileProviders = FileProviderList(); }

    boost::shared_ptr<FileIteratorRecursive> Create(const std::string &pattern, int flags = 0) const
    {
        return CreateRecursiveFileIterator(mTree.Root().c_str(), pattern.c_str(), flags);
    }

    /// The full paths, without the root.
    Paths Walk(const std::string &pattern, int flags = 0) const
    {
        Paths paths;
        for (const auto iterator = Create(pattern, flags); iterator->IsValid(); iterator->Next())
        {
            const std::string path = iterator->GetFullPath();
            EXPECT_EQ(std::string(iterator->GetDirectory()) + "/" + iterator->GetName(), path);
            EXPECT_EQ(std::filesystem::is_directory(path), iterator->IsDirectory());
            paths.push_back(path.substr(mTree.Root().size() + 1));
        }
        return paths;
    }

    Paths Sorted(Paths paths) const
    {
        std::sort(paths.begin(), paths.end());
        return paths;
    }

    TempTree mTree;
};

TEST_F(FileIteratorRecursiveTest, FindsMatchesAtEveryDepth)
{
    mTree.Write("a.txt", "");
    mTree.Write("one/b.txt", "");
    mTree.Write("one/two/c.txt", "");
    mTree.Write("one/two/d.bin", "");
    EXPECT_EQ((Paths{"a.txt", "one/b.txt", "one/two/c.txt"}), Walk("*.txt"));
    EXPECT_EQ((Paths{"one/two/d.bin"}), Walk("D.BIN"));
}

TEST_F(FileIteratorRecursiveTest, AllEntriesOfADirectoryComeBeforeItsSubdirectories)
{
    mTree.Write("x/deep.txt", "");
    mTree.Write("x/y/deeper.txt", "");
    mTree.Write("zz.txt", "");
    EXPECT_EQ((Paths{"zz.txt", "x/deep.txt", "x/y/deeper.txt"}), Walk("*.txt"));
}

TEST_F(FileIteratorRecursiveTest, SubdirectoriesComeInTheOrderInWhichTheyWereMet)
{
    for (const char *name : {"m/f.txt", "b/f.txt", "z/f.txt", "b/in/f.txt"})
    {
        mTree.Write(name, "");
    }
    Paths expected;
    for (const std::string &directory : Walk("*", 1))
    {
        expected.push_back(directory + "/f.txt");
    }
    EXPECT_EQ(expected, Walk("f.txt"));
    EXPECT_EQ("b/in/f.txt", expected.back());
}

TEST_F(FileIteratorRecursiveTest, ADirectoryThatMatchesIsGivenAndGoneDownInto)
{
    mTree.Write("x.pak/inner.pak", "");
    mTree.Write("other/x.pak", "");
    const Paths paths = Walk("*.pak");
    ASSERT_EQ(3u, paths.size());
    EXPECT_EQ("x.pak", paths.front());
    EXPECT_EQ((Paths{"other/x.pak", "x.pak", "x.pak/inner.pak"}), Sorted(paths));
}

TEST_F(FileIteratorRecursiveTest, AnEmptyDirectoryIsInvalidAtOnce)
{
    const boost::shared_ptr<FileIteratorRecursive> iterator = Create("*");
    EXPECT_FALSE(iterator->IsValid());
    EXPECT_EQ(mTree.Root(), iterator->GetDirectory());
    EXPECT_STREQ("", iterator->GetFullPath());
    iterator->Next();
    EXPECT_FALSE(iterator->IsValid());
}

TEST_F(FileIteratorRecursiveTest, DirectoriesOnlyStillGoesDown)
{
    mTree.Write("one/two/c.txt", "");
    EXPECT_EQ((Paths{"one", "one/two"}), Walk("*", 1));
    EXPECT_EQ((Paths{}), Walk("c.txt", 1));
}

TEST_F(FileIteratorRecursiveTest, TellsOfEachEntryWhetherItsOwnerMayReadIt)
{
    for (const char *name : {"one/yes", "one/two/no", "one/two/yes"})
    {
        const bool readable = std::string(name).ends_with("yes");
        std::filesystem::permissions(mTree.Write(name, ""), std::filesystem::perms(readable ? 0400 : 0077));
    }
    Paths readable;
    Paths unreadable;
    for (const auto iterator = Create("*"); iterator->IsValid(); iterator->Next())
    {
        (iterator->IsOwnerReadable() ? readable : unreadable).emplace_back(iterator->GetFullPath());
    }
    EXPECT_EQ((Paths{mTree.Path("one"), mTree.Path("one/two"), mTree.Path("one/two/yes"), mTree.Path("one/yes")}),
              Sorted(readable));
    EXPECT_EQ((Paths{mTree.Path("one/two/no")}), unreadable);
}

TEST_F(FileIteratorRecursiveTest, EmptyDirectoriesOnTheWayArePassedThrough)
{
    mTree.MakeDirectory("a");
    mTree.MakeDirectory("b/empty");
    mTree.Write("b/c/d/f.txt", "");
    EXPECT_EQ((Paths{"b/c/d/f.txt"}), Walk("*.txt"));
}

TEST_F(FileIteratorRecursiveTest, TheFullPathOfTheLastMatchStandsUntilTheNext)
{
    mTree.Write("a.txt", "");
    const boost::shared_ptr<FileIteratorRecursive> iterator = Create("a.txt");
    ASSERT_TRUE(iterator->IsValid());
    iterator->Next();
    EXPECT_FALSE(iterator->IsValid());
    EXPECT_EQ(mTree.Path("a.txt"), iterator->GetFullPath());
}

TEST_F(FileIteratorRecursiveTest, SeparatorsAreSettledAndATrailingOneIsNotDoubled)
{
    mTree.Write("one/a.txt", "");
    const std::string directory = mTree.Root() + "\\one//";
    const boost::shared_ptr<FileIteratorRecursive> iterator = CreateRecursiveFileIterator(directory.c_str(), "a*", 0);
    ASSERT_TRUE(iterator->IsValid());
    EXPECT_EQ(mTree.Path("one/a.txt"), iterator->GetFullPath());
    EXPECT_EQ(mTree.Path("one") + "/", iterator->GetDirectory());
}

TEST_F(FileIteratorRecursiveTest, AnEmptyDirectoryTextMeansTheWorkingDirectory)
{
    mTree.Write("one/a.txt", "");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(mTree.Root());
    const boost::shared_ptr<FileIteratorRecursive> iterator = CreateRecursiveFileIterator("", "a.txt", 0);
    const bool valid = iterator->IsValid();
    const std::string path = iterator->GetFullPath();
    std::filesystem::current_path(before);
    EXPECT_TRUE(valid);
    EXPECT_EQ("one/a.txt", path);
    EXPECT_STREQ("one", iterator->GetDirectory());
}

TEST_F(FileIteratorRecursiveTest, NullTextsAreEmptyOnes)
{
    mTree.Write("a.txt", "");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(mTree.Root());
    const bool starMatches = CreateRecursiveFileIterator(nullptr, "*", 0)->IsValid();
    const bool nullMatches = CreateRecursiveFileIterator(nullptr, nullptr, 0)->IsValid();
    std::filesystem::current_path(before);
    EXPECT_TRUE(starMatches);
    EXPECT_FALSE(nullMatches); // an empty pattern matches no name
}

TEST_F(FileIteratorRecursiveTest, NamesThatReadAsPatternsAreGivenButNotGoneDownInto)
{
    mTree.Write("[1]/a.txt", "");
    EXPECT_EQ((Paths{"[1]"}), Walk("*"));
}

TEST_F(FileIteratorRecursiveTest, ALoopOfLinksEnds)
{
    mTree.Write("dir/a.txt", "");
    std::filesystem::create_directory_symlink(".", mTree.Path("dir/loop"));
    const Paths paths = Walk("a.txt");
    ASSERT_LT(1u, paths.size());
    EXPECT_GE(64u, paths.size());
    EXPECT_EQ("dir/a.txt", paths.front());
    EXPECT_EQ("dir/loop/a.txt", paths[1]);
}

TEST_F(FileIteratorRecursiveTest, SeveralLinksBackToOneDirectoryEnd)
{
    mTree.Write("dir/a.txt", "");
    mTree.Write("dir/deep/b.txt", "");
    for (const char *link : {"dir/loop1", "dir/loop2", "dir/deep/loop3"})
    {
        std::filesystem::create_directory_symlink(mTree.Path("dir"), mTree.Path(link));
    }
    const Paths paths = Walk("*.txt");
    EXPECT_EQ("dir/a.txt", paths.front());
    EXPECT_EQ(1, std::count(paths.begin(), paths.end(), "dir/deep/b.txt"));
    EXPECT_GE(2048u, paths.size()); // 1024 times each of the two directories
}

TEST_F(FileIteratorRecursiveTest, ADirectoryIsGoneDownIntoByEveryPathThatLeadsToIt)
{
    mTree.Write("dir/a.txt", "");
    std::filesystem::create_directory_symlink("dir", mTree.Path("link"));
    std::filesystem::create_directory_symlink("dir", mTree.Path("more"));
    EXPECT_EQ((Paths{"dir/a.txt", "link/a.txt", "more/a.txt"}), Sorted(Walk("*.txt")));
}

/// Has a directory "d" in every directory, without an end.
class EndlessProvider : public IFileProvider
{
public:
    IFile *Open(const char *, const char *) override { return nullptr; }
    int Access(const char *, int) override { return -1; }
    FileIterator *CreateIterator(const char *, int) override { return new OneDirectory; }

private:
    class OneDirectory : public FileIterator
    {
    public:
        bool IsValid() override { return mIsValid; }
        void Next() override { mIsValid = false; }
        const char *GetName() override { return "d"; }
        bool IsDirectory() override { return true; }
        bool IsOwnerReadable() override { return true; }

    private:
        bool mIsValid = true;
    };
};

TEST_F(FileIteratorRecursiveTest, GoesDownAsLongAsPathsFit)
{
    EndlessProvider provider;
    AddFileProvider(&provider);
    std::string longest;
    for (const auto iterator = CreateRecursiveFileIterator("/r", "d", 0); iterator->IsValid(); iterator->Next())
    {
        longest = iterator->GetFullPath();
        ASSERT_GE(1023u, longest.size());
    }
    EXPECT_LE(1022u, longest.size());
}
} // namespace
} // namespace Keld::File
