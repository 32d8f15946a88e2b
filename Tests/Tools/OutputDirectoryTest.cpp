#include "Tools/Common/OutputDirectory.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Common::Descriptor;
using Common::NewFile;
using Common::OutputDirectory;

/// By the kernel's own means and without them: both must give the same.
class OutputDirectoryTest : public testing::TestWithParam<OutputDirectory::Way>
{
protected:
    OutputDirectory Open() const { return OutputDirectory(mTree.Path("target"), GetParam()); }

    void Write(const OutputDirectory &target, const std::string &directory, const std::string &name) const
    {
        const Descriptor place = target.OpenBelow(directory);
        NewFile file(place.Get(), name);
        file.Write("content");
        file.Publish();
    }

    std::string RefusalOf(const OutputDirectory &target, const std::string &directory) const
    {
        try
        {
            target.OpenBelow(directory);
        }
        catch (const std::system_error &error)
        {
            return error.what();
        }
        return "";
    }

    TempTree mTree;
};

TEST_P(OutputDirectoryTest, MakesWhatIsMissingAndWritesWholeFiles)
{
    const OutputDirectory target = Open();
    Write(target, "", "a");
    Write(target, "one/two/three", "b");
    Write(target, "one/two", "c");
    Write(target, "one/two", "c");
    EXPECT_EQ(mTree.Read("target/a"), "content");
    EXPECT_EQ(mTree.Read("target/one/two/three/b"), "content");
    EXPECT_EQ(mTree.Read("target/one/two/c"), "content");
}

TEST_P(OutputDirectoryTest, FollowsNoSymbolicLinkWhereverItLeads)
{
    mTree.MakeDirectory("outside");
    mTree.MakeDirectory("target/inside");
    fs::create_symlink(mTree.Path("outside"), mTree.Path("target/away"));
    fs::create_symlink("inside", mTree.Path("target/near"));
    fs::create_symlink("nowhere", mTree.Path("target/dangling"));
    const OutputDirectory target = Open();
    for (const std::string name : {"away", "near", "dangling"})
    {
        for (const std::string &path : {name, name + "/below", name + "/below/more"})
        {
            EXPECT_EQ(
                RefusalOf(target, path).rfind("\"" + name + "\" is a symbolic link there, and none is followed", 0), 0u)
                << path << ": " << RefusalOf(target, path);
        }
    }
    EXPECT_TRUE(fs::is_empty(mTree.Path("outside")));
    EXPECT_TRUE(fs::is_empty(mTree.Path("target/inside")));
}

TEST_P(OutputDirectoryTest, LeadsNowhereAboveItself)
{
    const OutputDirectory target = Open();
    mTree.Write("target/file", "");
    EXPECT_EQ(RefusalOf(target, "file/below").rfind("\"file\" is no directory there", 0), 0u);
    EXPECT_EQ(RefusalOf(target, "file").rfind("\"file\" is no directory there", 0), 0u);
}

TEST_P(OutputDirectoryTest, OnlyOneThatCanBeOpenedIsADirectoryToWriteTo)
{
    mTree.Write("target", "a file");
    EXPECT_THROW(Open(), std::system_error);
}

INSTANTIATE_TEST_SUITE_P(Ways, OutputDirectoryTest,
                         testing::Values(OutputDirectory::Way::KernelElseWalk, OutputDirectory::Way::Walk));

class NewFileTest : public testing::Test
{
protected:
    NewFileTest() : mTarget(mTree.MakeDirectory("target")), mPlace(mTarget.OpenBelow("")) {}

    TempTree mTree;
    const OutputDirectory mTarget;
    const Descriptor mPlace;
};

TEST_F(NewFileTest, AppearsWhenItIsWholeAndLeavesNothingOtherwise)
{
    {
        NewFile file(mPlace.Get(), "name");
        file.Write("half");
        EXPECT_FALSE(mTree.Exists("target/name"));
        EXPECT_FALSE(fs::is_empty(mTree.Path("target")));
    }
    EXPECT_TRUE(fs::is_empty(mTree.Path("target")));
}

TEST_F(NewFileTest, TakesOverWhatAKilledProcessLeftUnderAKnownName)
{
    mTree.Write("target/.morv-name", "left behind, and longer than what comes");
    NewFile file(mPlace.Get(), "name", NewFile::Temporary::Known);
    file.Write("content");
    EXPECT_THROW(NewFile(mPlace.Get(), "name", NewFile::Temporary::Known), std::system_error);
    file.Publish();
    EXPECT_EQ(mTree.Read("target/name"), "content");
    EXPECT_FALSE(mTree.Exists("target/.morv-name"));
}

TEST_F(NewFileTest, WritesIntoNoFileThatHasAnotherName)
{
    mTree.Write("outside", "untouched");
    fs::create_hard_link(mTree.Path("outside"), mTree.Path("target/.morv-name"));
    EXPECT_THROW(NewFile(mPlace.Get(), "name", NewFile::Temporary::Known), std::system_error);
    EXPECT_EQ(mTree.Read("outside"), "untouched");
}

TEST_F(NewFileTest, ReplacesFilesAndLinksButNoDirectory)
{
    mTree.Write("target/old", "old");
    mTree.Write("outside", "untouched");
    fs::create_symlink(mTree.Path("outside"), mTree.Path("target/link"));
    mTree.MakeDirectory("target/directory");
    for (const std::string name : {"old", "link"})
    {
        NewFile file(mPlace.Get(), name);
        file.Write("new");
        file.Publish();
        EXPECT_EQ(mTree.Read("target/" + name), "new");
    }
    EXPECT_EQ(mTree.Read("outside"), "untouched");
    EXPECT_FALSE(fs::is_symlink(mTree.Path("target/link")));
    NewFile file(mPlace.Get(), "directory");
    EXPECT_THROW(file.Publish(), std::system_error);
    EXPECT_TRUE(fs::is_directory(mTree.Path("target/directory")));
}

TEST_F(NewFileTest, ANameThatTheDiskCannotHoldIsRefused)
{
    NewFile file(mPlace.Get(), std::string(256, 'n'));
    try
    {
        file.Publish();
        ADD_FAILURE() << "it has been published";
    }
    catch (const std::system_error &error)
    {
        EXPECT_EQ(error.code().value(), ENAMETOOLONG);
    }
}
} // namespace
} // namespace Keld::Test
