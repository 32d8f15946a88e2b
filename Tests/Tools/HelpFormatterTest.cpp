#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Manual/Completer.h"
#include "Tools/morv/Manual/ManualPage.h"

#include <CLI/CLI.hpp>

#include <gtest/gtest.h>

#include <algorithm>

namespace Keld::Test
{
namespace
{
class HelpFormatterTest : public testing::Test
{
protected:
    HelpFormatterTest() : mApp("Description", "morv"), mCommands(mApp)
    {
        mCommands.AddGlobalOptions();
        Morv::AddAllCommands(mCommands);
        mFacts = Morv::ReadToolFacts(mApp);
    }

    std::string HelpOf(const std::string &command) const { return RunMorv(mTree.Root(), {command, "--help"}).out; }

    const Morv::CommandFacts &FactsOf(const std::string &name) const
    {
        return *std::find_if(mFacts.commands.begin(), mFacts.commands.end(),
                             [&name](const Morv::CommandFacts &command)
                             {
                                 return command.name == name;
                             });
    }

    TempTree mTree;
    CLI::App mApp;
    Morv::CommandSet mCommands;
    Morv::ToolFacts mFacts;
};

TEST_F(HelpFormatterTest, OperandsStandInTheHelpByTheirNamesAlone)
{
    for (const Morv::CommandFacts &command : mFacts.commands)
    {
        const std::string help = HelpOf(command.name);
        EXPECT_EQ(help.find("(1x)"), std::string::npos) << help;
        std::string usage = "Usage: morv " + command.name + " [OPTIONS]";
        for (const Morv::OptionFacts &operand : command.operands)
        {
            const std::string word = operand.value + (operand.repeats ? "..." : "");
            usage += " " + (operand.required ? word : "[" + word + "]");
            EXPECT_EQ(help.find("\n  " + operand.value + " TEXT"), std::string::npos) << help;
        }
        EXPECT_NE(help.find(usage + "\n"), std::string::npos) << usage << "\n" << help;
    }
    EXPECT_NE(HelpOf("cat").find("\n  PATH ... REQUIRED "), std::string::npos) << HelpOf("cat");
}

TEST_F(HelpFormatterTest, AnOperandThatMayBeLeftOutStandsBeforeOneThatMayNot)
{
    EXPECT_NE(HelpOf("bundle").find("Usage: morv bundle [OPTIONS] [BASE] TARGET\n"), std::string::npos);
    const std::string page = Morv::WriteCommandPage(mFacts, FactsOf("bundle"));
    EXPECT_NE(page.find("[\\fIOPTION\\fR]... [\\fIBASE\\fR] \\fITARGET\\fR\n"), std::string::npos) << page;
    const ToolResult none = RunMorv(mTree.Root(), {"bundle", "-o", "file"});
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_EQ(none.error, "morv: TARGET is required\nmorv: try \"morv bundle --help\"\n");
    EXPECT_EQ(RunMorv(mTree.Root(), {"bundle", "a", "b", "c", "-o", "file"}).exitCode, 2);
    EXPECT_FALSE(mTree.Exists("file"));
}

TEST_F(HelpFormatterTest, TheReleasesOfABundleAreCompletedAndNothingBehindThem)
{
    mTree.Write("source/file", "content");
    RunMorv(mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.0"});
    const std::vector<Morv::Candidate> release{{"game/1.0.0.0", ""}};
    const std::string root = mTree.Path("MORV");
    EXPECT_EQ(Morv::Complete(mFacts, {"bundle", "--root", root, ""}).candidates, release);
    EXPECT_EQ(Morv::Complete(mFacts, {"bundle", "--root", root, "game/1.0.0.0", "g"}).candidates, release);
    EXPECT_TRUE(Morv::Complete(mFacts, {"bundle", "--root", root, "a", "b", ""}).candidates.empty());
}
} // namespace
} // namespace Keld::Test
