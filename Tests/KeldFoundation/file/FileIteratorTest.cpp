#include "KeldFoundation/file/FileIterator.h"

#include "KeldFoundation/file/FileIteratorMacOSX.h"
#include "KeldFoundation/file/FileProviderList.h"
#include "KeldFoundation/file/MultiFileIterator.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <glob.h>
#include <sys/stat.h>

namespace Keld::File
{
namespace
{
using Test::TempTree;
using Names = std::vector<std::string>;

bool IsMerged(FileIterator *iterator)
{
    return dynamic_cast<MultiFileIterator *>(iterator) != nullptr;
}

Names Walk(FileIterator &iterator)
{
    Names names;
    for (; iterator.IsValid(); iterator.Next())
    {
        names.emplace_back(iterator.GetName());
    }
    return names;
}

Names Sorted(Names names)
{
    std::sort(names.begin(), names.end());
    return names;
}

/// An iterator over names from memory. Counts how many of its kind are alive.
class ListIterator : public FileIterator
{
public:
    explicit ListIterator(Names names) : mNames(std::move(names)) { ++gAlive; }
    ~ListIterator() override { --gAlive; }

    bool IsValid() override { return mIndex < mNames.size(); }
    void Next() override { ++mIndex; }
    const char *GetName() override { return mNames[mIndex].c_str(); }
    bool IsDirectory() override { return mNames[mIndex].front() == 'd'; }
    bool IsOwnerReadable() override { return mNames[mIndex].back() == 'r'; }

    static inline int gAlive = 0;

private:
    Names mNames;
    uint_size mIndex = 0;
};

class ListProvider : public IFileProvider
{
public:
    explicit ListProvider(Names names, bool gives = true) : mNames(std::move(names)), mGives(gives) {}

    IFile *Open(const char *, const char *) override { return nullptr; }
    int Access(const char *, int) override { return -1; }
    FileIterator *CreateIterator(const char *pattern, int flags) override
    {
        mPattern = pattern;
        mFlags = flags;
        return mGives ? new ListIterator(mNames) : nullptr;
    }

    std::string mPattern;
    int mFlags = 0;

private:
    Names mNames;
    bool mGives;
};

class FileIteratorTest : public testing::Test
{
protected:
    ~FileIteratorTest() override
    {
        gFileProviders = FileProviderList();
        EXPECT_EQ(0, ListIterator::gAlive);
    }

    boost::shared_ptr<FileIterator> Create(const std::string &pattern, int flags = 0) const
    {
        return CreateFileIterator(mTree.Path(pattern).c_str(), flags);
    }

    Names List(const std::string &pattern, int flags = 0) const { return Sorted(Walk(*Create(pattern, flags))); }

    TempTree mTree;
};

TEST_F(FileIteratorTest, GivesTheLastComponentOfEveryMatch)
{
    for (const char *name : {"a.txt", "b", "c.tar.gz", "x.vka"})
    {
        mTree.Write(name, "");
    }
    EXPECT_EQ((Names{"a.txt", "b", "c.tar.gz", "x.vka"}), List("*"));
    EXPECT_EQ((Names{"a.txt", "c.tar.gz"}), List("*.*t*"));
    EXPECT_EQ((Names{"x.vka"}), List("?.vka"));
    EXPECT_EQ((Names{"a.txt", "b"}), List("[ab]*"));
}

TEST_F(FileIteratorTest, WildcardsWorkInEveryComponent)
{
    mTree.Write("one/a.txt", "");
    mTree.Write("two/b.txt", "");
    EXPECT_EQ((Names{"a.txt", "b.txt"}), List("*/*.txt"));
}

TEST_F(FileIteratorTest, ANameWithoutWildcardsIsGivenAsItself)
{
    mTree.Write("a.txt", "");
    EXPECT_EQ((Names{"a.txt"}), List("a.txt"));
}

TEST_F(FileIteratorTest, TheOrderIsThatOfTheFileSystem)
{
    for (int index = 0; index < 50; ++index)
    {
        mTree.Write("f" + std::to_string(index * 37 % 50), "");
    }
    glob_t matches = {};
    ASSERT_EQ(0, glob(mTree.Path("f*").c_str(), GLOB_NOSORT, nullptr, &matches));
    Names expected;
    for (std::size_t index = 0; index < matches.gl_pathc; ++index)
    {
        expected.push_back(std::filesystem::path(matches.gl_pathv[index]).filename().string());
    }
    globfree(&matches);
    EXPECT_EQ(expected, Walk(*Create("f*")));
}

TEST_F(FileIteratorTest, LeadingDotsAreMatchedOnRequest)
{
    mTree.Write(".hidden", "");
    mTree.Write("shown", "");
    EXPECT_EQ((Names{"shown"}), List("*"));
    EXPECT_EQ((Names{".hidden"}), List(".h*"));
}

TEST_F(FileIteratorTest, NamesMatchWithTheirCase)
{
    mTree.Write("A.VKA", "");
    EXPECT_EQ(Names{}, List("*.vka"));
}

TEST_F(FileIteratorTest, BackslashesAndRunsOfSeparatorsMatchAsSlashes)
{
    mTree.Write("dir/a.txt", "");
    EXPECT_EQ((Names{"a.txt"}), List("dir\\*.txt"));
    EXPECT_EQ((Names{"a.txt"}), List("dir///*.txt"));
}

TEST_F(FileIteratorTest, WithoutAMatchTheIteratorIsInvalidFromTheStart)
{
    for (const char *pattern : {"*.none", "missing/*", "missing"})
    {
        const boost::shared_ptr<FileIterator> iterator = Create(pattern);
        ASSERT_NE(nullptr, iterator);
        EXPECT_FALSE(iterator->IsValid());
        EXPECT_TRUE(IsMerged(iterator.get()));
        EXPECT_STREQ("", iterator->GetName());
        EXPECT_FALSE(iterator->IsDirectory());
        EXPECT_FALSE(iterator->IsOwnerReadable());
        iterator->Next();
        EXPECT_FALSE(iterator->IsValid());
    }
    EXPECT_FALSE(CreateFileIterator("", 0)->IsValid());
    EXPECT_FALSE(CreateFileIterator(nullptr, 0)->IsValid());
}

TEST_F(FileIteratorTest, OnceInvalidItStaysSo)
{
    mTree.Write("a.txt", "");
    const boost::shared_ptr<FileIterator> iterator = Create("*");
    iterator->Next();
    EXPECT_FALSE(iterator->IsValid());
    iterator->Next();
    EXPECT_FALSE(iterator->IsValid());
}

TEST_F(FileIteratorTest, TellsDirectoriesAndTheOwnersRightToRead)
{
    mTree.MakeDirectory("dir");
    ASSERT_EQ(0, chmod(mTree.Write("no", "").c_str(), 0377));
    ASSERT_EQ(0, chmod(mTree.Write("yes", "").c_str(), 0400));
    EXPECT_TRUE(Create("dir")->IsDirectory());
    EXPECT_FALSE(Create("yes")->IsDirectory());
    EXPECT_TRUE(Create("yes")->IsOwnerReadable());
    EXPECT_FALSE(Create("no")->IsOwnerReadable());
}

TEST_F(FileIteratorTest, LinksAreFollowedAndADanglingOneIsNothing)
{
    mTree.MakeDirectory("dir");
    std::filesystem::create_symlink("dir", mTree.Path("link"));
    std::filesystem::create_symlink("nowhere", mTree.Path("x.dangling"));
    EXPECT_TRUE(Create("link")->IsDirectory());
    const boost::shared_ptr<FileIterator> dangling = Create("*.dangling");
    ASSERT_TRUE(dangling->IsValid());
    EXPECT_STREQ("x.dangling", dangling->GetName());
    EXPECT_FALSE(dangling->IsDirectory());
    EXPECT_FALSE(dangling->IsOwnerReadable());
}

TEST_F(FileIteratorTest, BitZeroOfTheFlagsGivesDirectoriesOnly)
{
    for (const char *name : {"a", "c", "e"})
    {
        mTree.Write(name, "");
    }
    mTree.MakeDirectory("b");
    mTree.MakeDirectory("d");
    EXPECT_EQ((Names{"b", "d"}), List("*", FileIteratorDirectoriesOnly));
    EXPECT_EQ((Names{"b", "d"}), List("*", 3));
    EXPECT_EQ(Names{}, List("[ace]", FileIteratorDirectoriesOnly));
}

TEST_F(FileIteratorTest, NoOtherBitOfTheFlagsHasAnEffect)
{
    mTree.Write("a", "");
    mTree.MakeDirectory("b");
    for (const int flags : {0, 2, 4, 0x7FFFFFFE, -2})
    {
        EXPECT_EQ((Names{"a", "b"}), List("*", flags)) << flags;
    }
}

TEST_F(FileIteratorTest, APatternThatDoesNotFitMatchesNothing)
{
    const std::string longest = "/" + std::string(1022, '*');
    EXPECT_TRUE(CreateFileIterator(longest.c_str(), 0)->IsValid()); // the longest that fits, and "/*" in effect
    EXPECT_FALSE(CreateFileIterator((longest + "*").c_str(), 0)->IsValid());
    EXPECT_FALSE(CreateFileIterator(std::string(100000, '*').c_str(), 0)->IsValid());
}

TEST_F(FileIteratorTest, AMatchThatDoesNotFitIsPassedOver)
{
    // The pattern is shorter than its matches: five levels of directories, as long as leaves room for a name.
    const std::string level((900 - mTree.Root().size()) / 5, 'd');
    const std::string directory = level + "/" + level + "/" + level + "/" + level + "/" + level + "/";
    const std::string longest(1023 - mTree.Path(directory).size(), 'f');
    mTree.Write(directory + longest, "");
    mTree.Write(directory + longest + "g", "");
    EXPECT_EQ((Names{longest}), List(level + "/" + level + "/" + level + "/*/*/f*"));
}

TEST_F(FileIteratorTest, APatternWithMoreThanTwoWildDirectoriesMatchesNothing)
{
    mTree.Write("a/b/c/x", "");
    mTree.Write("[a/[b/[c/y", "");
    EXPECT_EQ((Names{"x"}), List("a/*/[c]/*"));
    EXPECT_EQ((Names{"x", "x"}), List("*/../?/b/c/*"));
    EXPECT_EQ((Names{"y"}), List("[a/[b/[c/*"));
    EXPECT_EQ((Names{}), List("*/*/*/*"));
    EXPECT_EQ((Names{}), List("[a]/?/*c/x"));
    EXPECT_EQ((Names{}), List("*\\..\\*/..//*\\../a/b/c/x"));
}

TEST_F(FileIteratorTest, TheDefaultProvidersIteratorComesUnwrapped)
{
    mTree.Write("a.txt", "");
    const boost::shared_ptr<FileIterator> iterator = Create("*");
    EXPECT_TRUE(iterator->IsValid());
    EXPECT_FALSE(IsMerged(iterator.get()));
}

TEST_F(FileIteratorTest, OneProvidersIteratorComesUnwrapped)
{
    ListProvider provider({"one", "two"});
    AddFileProvider(&provider);
    const boost::shared_ptr<FileIterator> iterator = CreateFileIterator("some\\where//*", 5);
    EXPECT_NE(nullptr, dynamic_cast<ListIterator *>(iterator.get()));
    EXPECT_EQ((Names{"one", "two"}), Walk(*iterator));
    EXPECT_EQ("some/where/*", provider.mPattern);
    EXPECT_EQ(5, provider.mFlags);
}

TEST_F(FileIteratorTest, AProviderWithAMatchHidesTheFileSystem)
{
    mTree.Write("a.txt", "");
    ListProvider provider({"one"});
    AddFileProvider(&provider);
    EXPECT_EQ((Names{"one"}), Walk(*Create("*")));
}

TEST_F(FileIteratorTest, ProvidersWithoutAMatchLeaveTheFileSystem)
{
    mTree.Write("a.txt", "");
    ListProvider empty({});
    ListProvider none({"never"}, false);
    AddFileProvider(&empty);
    AddFileProvider(&none);
    EXPECT_EQ((Names{"a.txt"}), Walk(*Create("*")));
    EXPECT_EQ(0, ListIterator::gAlive);
}

TEST_F(FileIteratorTest, SeveralProvidersFollowOneAnotherAndRepeatWhatTheyShare)
{
    ListProvider first({"one", "dir"});
    ListProvider empty({});
    ListProvider second({"two", "one-r"});
    ListProvider third({"one"});
    for (ListProvider *provider : {&first, &empty, &second, &third})
    {
        AddFileProvider(provider);
    }
    const boost::shared_ptr<FileIterator> iterator = CreateFileIterator("*", 0);
    EXPECT_TRUE(IsMerged(iterator.get()));
    EXPECT_EQ(3, ListIterator::gAlive);
    EXPECT_FALSE(iterator->IsDirectory());
    iterator->Next();
    EXPECT_STREQ("dir", iterator->GetName());
    EXPECT_TRUE(iterator->IsDirectory());
    EXPECT_TRUE(iterator->IsOwnerReadable());
    iterator->Next();
    EXPECT_STREQ("two", iterator->GetName());
    EXPECT_FALSE(iterator->IsOwnerReadable());
    EXPECT_EQ(2, ListIterator::gAlive);
    EXPECT_EQ((Names{"two", "one-r", "one"}), Walk(*iterator));
    EXPECT_EQ(0, ListIterator::gAlive);
}

TEST_F(FileIteratorTest, AMergedIteratorDestroysWhatIsLeft)
{
    ListProvider first({"one"});
    ListProvider second({"two"});
    AddFileProvider(&first);
    AddFileProvider(&second);
    {
        const boost::shared_ptr<FileIterator> iterator = CreateFileIterator("*", 0);
        EXPECT_EQ(2, ListIterator::gAlive);
    }
    EXPECT_EQ(0, ListIterator::gAlive);
}
} // namespace
} // namespace Keld::File
