#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace Keld::Test
{
namespace
{
/// All blocks of a page that are fenced as "sh", each with a line before it that tells where it stands.
std::string CommandsOf(const std::string &page)
{
    std::ifstream lines(page);
    EXPECT_TRUE(lines) << page;
    std::string commands;
    bool isInside = false;
    int number = 0;
    for (std::string line; std::getline(lines, line);)
    {
        ++number;
        if (line == "```sh")
        {
            isInside = true;
            commands += "echo 'the block at line " + std::to_string(number) + "'\n";
        }
        else if (line == "```")
        {
            isInside = false;
        }
        else if (isInside)
        {
            commands += line + "\n";
        }
    }
    return commands;
}

TEST(DeployingPageTest, EveryCommandOfThePageDoesWhatThePageSays)
{
    const TempTree tree;
    const std::string commands = CommandsOf(KELD_DEPLOYING_PAGE);
    ASSERT_NE(commands.find("morv repair"), std::string::npos);
    tree.Write("commands", "set -euo pipefail\n" + commands);
    tree.MakeDirectory("work");
    const std::string programs = std::filesystem::path(KELD_MORV_PROGRAM).parent_path();
    const std::string command =
        "cd '" + tree.Root() + "/work' && PATH='" + programs + "':\"$PATH\" bash ../commands >../log 2>&1 </dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << tree.Read("log");
}
} // namespace
} // namespace Keld::Test
