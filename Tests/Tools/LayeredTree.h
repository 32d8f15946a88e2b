#pragma once

#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include <sys/wait.h>

namespace Keld::Test
{
/// A solution of two projects that share paths in every way: "top" is searched before "low".
class LayeredTree : public testing::Test
{
protected:
    LayeredTree()
    {
        mTree.Write("top/a.txt", "top a");
        mTree.Write("top/same.txt", "same");
        mTree.Write("top/thing", "a file over a directory");
        mTree.Write("top/dir/x.txt", "x");
        mTree.Write("top/Cased/One.txt", "1");
        mTree.Write("low/A.TXT", "low a");
        mTree.Write("low/same.txt", "same");
        mTree.Write("low/thing/inner.txt", "inner");
        mTree.Write("low/dir", "a file under a directory");
        mTree.Write("low/cased/two.txt", "2");
        mTree.Write("low/only.txt", std::string(3000, 'o'));
        Pack("top", "naked", "none");
        Pack("low", "archive", "zlib");
        ExpectGood({"solution", "--root", "MORV", "--name", "suite", "--release", "0.0.1.0", "--project",
                    "top=1.0.0.0:20", "--project", "low=1.0.0.0:10"});
    }

    void Pack(const std::string &project, const std::string &storage, const std::string &compression)
    {
        ExpectGood({"pack", project, "--root", "MORV", "--project", project, "--release", "1.0.0.0", "--storage",
                    storage, "--compression", compression, "--no-sync"});
    }

    void ExpectGood(const std::vector<std::string> &arguments)
    {
        const ToolResult result = RunMorv(mTree.Root(), arguments);
        EXPECT_EQ(result.exitCode, 0) << result.error;
    }

    ToolResult Morv(const std::vector<std::string> &arguments) const
    {
        return RunMorv(mTree.Path("MORV/solutions/suite/releases/0.0.1.0"), arguments);
    }

    /// Runs a line of shell in the solution's directory, with $MORV for the tool. Gives its status; "out" and "error"
    /// of the tree hold what it printed.
    int Shell(const std::string &line) const
    {
        const std::string script = "cd '" + mTree.Path("MORV/solutions/suite/releases/0.0.1.0") +
                                   "' && MORV='" KELD_MORV_PROGRAM "' && { " + line + " ; } >'" + mTree.Path("out") +
                                   "' 2>'" + mTree.Path("error") + "'";
        const int status = std::system(script.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::string TopPlace(const std::string &path) const
    {
        return mTree.Path("MORV/projects/top/releases/1.0.0.0/deploy/" + path);
    }

    const std::string mLowArchives = "MORV/projects/low/filearchives/1.0.0.0";
    TempTree mTree;
};
} // namespace Keld::Test
