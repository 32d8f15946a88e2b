#include "Tools/CheckedTree.h"
#include "Tools/ToolRun.h"

#include <cstdlib>
#include <filesystem>

#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

/// Files that people name to commands: keys, bundles and pages.
class NamedFilesTest : public CheckedTree
{
protected:
    void Shell(const std::string &command) const
    {
        ASSERT_EQ(std::system(("cd '" + mTree.Root() + "' && { " + command + "; } >/dev/null 2>&1 </dev/null").c_str()),
                  0)
            << command;
    }

    /// A signed bundle, and the keys "right.pub" and "wrong.pub".
    void MakeSignedBundle() const
    {
        for (const std::string name : {"right", "wrong"})
        {
            Shell(std::string(KELD_MINISIGN) + " -G -W -p " + name + ".pub -s " + name + ".secret");
        }
        Expect({"publish", "--root", "MORV", "game/1.0.0.0", "--sign", "right.secret", "--no-sync", "-q"}, 0);
        Expect({"bundle", "--root", "MORV", "game/1.0.0.0", "-o", "bundle", "--no-sync", "-q"}, 0);
    }

    void Expect(const std::vector<std::string> &arguments, int exitCode, const std::string &error = "") const
    {
        const ToolResult result = RunMorv(mTree.Root(), arguments);
        EXPECT_EQ(result.exitCode, exitCode) << result.error;
        EXPECT_NE(result.error.find(error), std::string::npos) << result.error;
    }
};

TEST_F(NamedFilesTest, AnEmptyTextNamesNoKey)
{
    MakeSignedBundle();
    mTree.MakeDirectory("client/MORV");
    const std::string reason = ": has an empty value";
    Expect({"apply", "bundle", "--root", "client/MORV", "--signed", ""}, 2, "--signed" + reason);
    Expect({"fetch", "MORV", "--root", "client/MORV", "--project", "game", "--release", "1.0.0.0", "--signed", ""}, 2,
           "--signed" + reason);
    Expect({"fetch", "https://127.0.0.1:1/MORV", "--root", "client/MORV", "--project", "game", "--release", "1.0.0.0",
            "--authorities", ""},
           2, "--authorities" + reason);
    Expect({"repair", "--root", "MORV", "--from", "MORV", "--signed", ""}, 2, "--signed" + reason);
    Expect({"publish", "--root", "MORV", "--sign", ""}, 2, "--sign" + reason);
    EXPECT_TRUE(fs::is_empty(mTree.Path("client/MORV")));
}

TEST_F(NamedFilesTest, AKeyIsTheFileThatIsNamedAndNoOther)
{
    MakeSignedBundle();
    mTree.MakeDirectory("sub");
    fs::copy(mTree.Path("bundle"), mTree.Path("sub/bundle"));
    const std::string root = mTree.Path("client/MORV");
    // Not the one of the directory that the command was started in.
    Expect({"-C", "sub", "apply", "bundle", "--root", root, "--signed", "right.pub"}, 2, "right.pub: ");
    // Not the one that stands where the link does.
    mTree.MakeDirectory("elsewhere/deep");
    fs::create_directory_symlink("elsewhere/deep", mTree.Path("link"));
    fs::copy(mTree.Path("wrong.pub"), mTree.Path("elsewhere/right.pub"));
    Expect({"apply", "bundle", "--root", root, "--signed", "link/../right.pub"}, 2, "was made with key ");
    EXPECT_FALSE(mTree.Exists("client/MORV/projects"));
    fs::rename(mTree.Path("right.pub"), mTree.Path("elsewhere/right.pub"));
    Expect({"apply", "bundle", "--root", root, "--signed", "link/../right.pub", "--no-sync"}, 0);
    const std::string text = mTree.Read("elsewhere/right.pub");
    Expect({"apply", "bundle", "--root", root, "--signed", text.substr(text.find('\n') + 1, 56), "--no-sync"}, 0);
}

TEST_F(NamedFilesTest, ABundleIsWrittenAndReadWhereTheSystemFindsIt)
{
    mTree.MakeDirectory("elsewhere/deep");
    fs::create_directory_symlink("elsewhere/deep", mTree.Path("link"));
    Expect({"bundle", "--root", "MORV", "game/1.0.0.0", "-o", "link/../made", "--no-sync"}, 0);
    EXPECT_FALSE(mTree.Exists("made"));
    ASSERT_TRUE(mTree.Exists("elsewhere/made"));
    mTree.Write("made", "another file");
    Expect({"apply", "link/../made", "--root", "client/MORV", "--no-sync"}, 0);
    for (const char *directory : {"link/", "link", ".", "link/..", "new/"})
    {
        Expect({"bundle", "--root", "MORV", "game/1.0.0.0", "-o", directory, "--no-sync"}, 2, " names a directory");
    }
    EXPECT_FALSE(mTree.Exists("new"));
}

TEST_F(NamedFilesTest, WhatIsNoFileIsNotReplacedByOne)
{
    const std::string pipe = mTree.Path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    fs::create_symlink("pipe", mTree.Path("link"));
    for (const char *name : {"pipe", "link"})
    {
        Expect({"bundle", "--root", "MORV", "game/1.0.0.0", "-o", name, "--no-sync"}, 2,
               " is no regular file, and is not replaced by one; -o - writes to standard output");
        const ToolResult page = RunMorv(mTree.Path(GameReleases + "1.0.0.0"), {"du", "--html", mTree.Path(name)});
        EXPECT_EQ(page.exitCode, 2);
        EXPECT_NE(page.error.find(" is no regular file, and is not replaced by one\n"), std::string::npos)
            << page.error;
    }
    EXPECT_TRUE(fs::is_fifo(pipe));
    EXPECT_TRUE(fs::is_symlink(mTree.Path("link")));
}
} // namespace
} // namespace Keld::Test
