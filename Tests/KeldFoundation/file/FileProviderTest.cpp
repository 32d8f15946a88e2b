#include "KeldFoundation/file/FileProviderList.h"

#include "KeldFoundation/file/FileIterator.h"
#include "KeldFoundation/file/IFile.h"
#include "KeldFoundation/file/SparseFileProvider.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace Keld::File
{
namespace
{
using Test::TempTree;
using FilePointer = std::unique_ptr<IFile>;

class FileProviderTest : public testing::Test
{
protected:
    FilePointer Open(const std::string &path, const char *mode = "r")
    {
        return FilePointer(mProvider.Open(path.c_str(), mode));
    }

    TempTree mTree;
    SparseFileProvider mProvider;
};

TEST(FileProviderListTest, TheListOfTheProcessIsEmptyAtLoad)
{
    EXPECT_EQ(0u, gFileProviders.mCount);
    for (const IFileProvider *provider : gFileProviders.mProviders)
    {
        EXPECT_EQ(nullptr, provider);
    }
}

TEST(FileProviderListTest, ProvidersKeepTheOrderOfAdding)
{
    SparseFileProvider first;
    SparseFileProvider second;
    FileProviderList list;
    AddFileProvider(list, &first);
    AddFileProvider(list, &second);
    EXPECT_EQ(2u, list.mCount);
    EXPECT_EQ(&first, list.mProviders[0]);
    EXPECT_EQ(&second, list.mProviders[1]);
}

TEST(FileProviderListTest, AProviderIsAddedOnce)
{
    SparseFileProvider first;
    SparseFileProvider second;
    FileProviderList list;
    AddFileProvider(list, &first);
    AddFileProvider(list, &first);
    EXPECT_EQ(1u, list.mCount);
    AddFileProvider(list, &second);
    AddFileProvider(list, &first);
    AddFileProvider(list, &second);
    EXPECT_EQ(2u, list.mCount);
    EXPECT_EQ(nullptr, list.mProviders[2]);
}

TEST(FileProviderListTest, AFifthProviderIsDropped)
{
    SparseFileProvider providers[5];
    FileProviderList list;
    for (SparseFileProvider &provider : providers)
    {
        AddFileProvider(list, &provider);
    }
    EXPECT_EQ(4u, list.mCount);
    for (uint32 index = 0; index < 4; ++index)
    {
        EXPECT_EQ(&providers[index], list.mProviders[index]);
    }
}

TEST(FileProviderListTest, TheDefaultProviderIsOne)
{
    IFileProvider *const provider = GetDefaultProvider();
    ASSERT_NE(nullptr, provider);
    EXPECT_EQ(provider, GetDefaultProvider());
    EXPECT_NE(nullptr, dynamic_cast<SparseFileProvider *>(provider));
}

/// Runs behind the handler that destroys the default provider. Ends the process with 42 when all is as it must be.
void UseTheProviderAfterItsEnd()
{
    std::string text;
    try
    {
        GetDefaultProvider();
    }
    catch (const std::logic_error &error)
    {
        text = error.what();
    }
    IFileProvider *const provider = GetDefaultProvider();
    const bool comesBack = provider != nullptr && provider == GetDefaultProvider();
    _exit(text == "Dead Reference Detected" && comesBack ? 42 : 1);
}

TEST(FileProviderListDeathTest, TheFirstUseAfterTheExitHandlerThrowsAndTheNextMakesANewProvider)
{
    const auto leave = []
    {
        std::atexit(UseTheProviderAfterItsEnd); // handlers run last in, first out
        GetDefaultProvider();
        std::exit(0);
    };
    EXPECT_EXIT(leave(), testing::ExitedWithCode(42), "");
}

TEST_F(FileProviderTest, OpensAFileUnderItsName)
{
    const std::string path = mTree.Write("dir/a.txt", "one\ntwo\n");
    const FilePointer file = Open(path);
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(path, file->GetName());
    EXPECT_EQ(8u, file->GetSize());
    EXPECT_TRUE(file->IsOpen());
    EXPECT_EQ(0, file->Tell());
    EXPECT_EQ(0, file->IsEof());
}

TEST_F(FileProviderTest, BackslashesCountAsSlashesAndStayInTheName)
{
    mTree.Write("dir/a.txt", "abc");
    const std::string path = mTree.Path("dir\\a.txt");
    const FilePointer file = Open(path);
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(path, file->GetName());
    EXPECT_STREQ("abc", file->GetContents());
}

TEST_F(FileProviderTest, GivesNullForWhatCannotBeOpened)
{
    EXPECT_EQ(nullptr, Open(mTree.Path("missing")));
    EXPECT_EQ(nullptr, Open("/" + std::string(1024, 'a')));
}

TEST_F(FileProviderTest, GivesNullForADirectory)
{
    EXPECT_EQ(nullptr, Open(mTree.MakeDirectory("dir")));
}

TEST_F(FileProviderTest, QuestionsOfANullFileHaveAnAnswer)
{
    EXPECT_STREQ("???", IFile::NameOf(nullptr));
    EXPECT_FALSE(IFile::IsOpen(nullptr));
    const std::string path = mTree.Write("a.txt", "abc");
    const FilePointer file = Open(path);
    EXPECT_EQ(path, IFile::NameOf(file.get()));
    EXPECT_TRUE(IFile::IsOpen(file.get()));
}

TEST_F(FileProviderTest, ContentsAreTheWholeTextAndAreKept)
{
    const FilePointer file = Open(mTree.Write("a.txt", "one\ntwo\n"));
    ASSERT_NE(nullptr, file);
    const char *const contents = file->GetContents();
    EXPECT_STREQ("one\ntwo\n", contents);
    EXPECT_EQ(contents, file->GetContents());
}

TEST_F(FileProviderTest, ContentsOfAnEmptyFileAreAnEmptyText)
{
    const FilePointer file = Open(mTree.Write("empty", ""));
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(0u, file->GetSize());
    EXPECT_STREQ("", file->GetContents());
}

TEST_F(FileProviderTest, ContentsAfterAPartialReadAreTheRestAndZeros)
{
    const FilePointer file = Open(mTree.Write("a.txt", "0123456789"));
    ASSERT_NE(nullptr, file);
    char head[4] = {};
    EXPECT_EQ(4u, file->Read(head, 1, 4));
    const char *const contents = file->GetContents();
    ASSERT_NE(nullptr, contents);
    EXPECT_EQ(std::string("456789\0\0\0\0\0", 11), std::string(contents, 11));
}

TEST_F(FileProviderTest, TheSizeIsCutTo32Bits)
{
    const std::string path = mTree.Write("huge", "abcdef");
    std::filesystem::resize_file(path, 0x100000003u);
    const FilePointer file = Open(path);
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(3u, file->GetSize());
    EXPECT_STREQ("abc", file->GetContents());
}

TEST_F(FileProviderTest, ReadsLinesAndSeeks)
{
    const FilePointer file = Open(mTree.Write("a.txt", "one\ntwo\n"));
    ASSERT_NE(nullptr, file);
    char line[16] = {};
    EXPECT_EQ(line, file->GetLine(line, sizeof line));
    EXPECT_STREQ("one\n", line);
    EXPECT_EQ(4, file->Tell());
    EXPECT_EQ(0, file->Seek(-2, SEEK_END));
    EXPECT_EQ(line, file->GetLine(line, sizeof line));
    EXPECT_STREQ("o\n", line);
    EXPECT_EQ(nullptr, file->GetLine(line, sizeof line));
    EXPECT_NE(0, file->IsEof());
    EXPECT_EQ(0, file->Seek(0, SEEK_SET));
    EXPECT_EQ(0, file->IsEof());
    char items[8] = {};
    EXPECT_EQ(2u, file->Read(items, 3, 3)); // whole items
}

TEST_F(FileProviderTest, WritesWhatIsReadBack)
{
    const std::string path = mTree.Path("new.txt");
    {
        const FilePointer file = Open(path, "w");
        ASSERT_NE(nullptr, file);
        EXPECT_EQ(0u, file->GetSize());
        EXPECT_EQ(3u, file->Write("abc", 1, 3));
    }
    EXPECT_EQ("abc", mTree.Read("new.txt"));
}

TEST_F(FileProviderTest, AppendingStartsWithTheSizeThatIsThere)
{
    const FilePointer file = Open(mTree.Write("a.txt", "abc"), "a");
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(3u, file->GetSize());
}

TEST_F(FileProviderTest, AStreamThatCannotSeekHasNoSize)
{
    const std::string path = mTree.Path("pipe");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    const FilePointer file = Open(path, "r+"); // both ends, so that the open does not wait
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(0u, file->GetSize());
    EXPECT_STREQ("", file->GetContents());
}

TEST_F(FileProviderTest, ADeletedFileObjectClosesItsStream)
{
    const std::string path = mTree.Write("a.txt", "abc");
    const int before = dup(0);
    close(before);
    Open(path);
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST_F(FileProviderTest, AccessIsZeroOrMinusOne)
{
    const std::string path = mTree.Write("a.txt", "abc");
    for (const int mode : {0, 2, 4, 6})
    {
        EXPECT_EQ(0, mProvider.Access(path.c_str(), mode)) << mode;
        EXPECT_EQ(-1, mProvider.Access(mTree.Path("missing").c_str(), mode)) << mode;
    }
    EXPECT_EQ(0, mProvider.Access(mTree.Path("\\a.txt").c_str(), 0));
}

TEST_F(FileProviderTest, AnUnknownAccessModeAsksForExistenceAlone)
{
    const std::string path = mTree.Write("a.txt", "abc");
    ASSERT_EQ(0, chmod(path.c_str(), 0600));
    for (const int mode : {1, 3, 5, 7, 8, -1}) // bit 0 would ask for the right to execute
    {
        EXPECT_EQ(0, mProvider.Access(path.c_str(), mode)) << mode;
    }
}

TEST_F(FileProviderTest, MakesIteratorsAndAnswersZeroElsewhere)
{
    mTree.Write("a.txt", "abc");
    const std::unique_ptr<FileIterator> iterator(mProvider.CreateIterator(mTree.Path("*").c_str(), 0));
    ASSERT_NE(nullptr, iterator);
    ASSERT_TRUE(iterator->IsValid());
    EXPECT_STREQ("a.txt", iterator->GetName());
    EXPECT_EQ(0, mProvider.Reserved1());
    EXPECT_EQ(0, mProvider.Reserved2());
}
} // namespace
} // namespace Keld::File
