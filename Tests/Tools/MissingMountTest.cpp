#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Manual/CommandFacts.h"

#include <CLI/CLI.hpp>

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
TEST(MissingMountTest, ABuildWithoutLibfuseSaysThatItHasNoMountWhateverIsTypedBehindIt)
{
    for (const char *typed : {"mount", "mount game/1.0.0.0 /mnt -o subdir=data --foreground -q"})
    {
        CLI::App app("Description", "morv");
        app.fallthrough(); // as the tool itself
        Morv::CommandSet commands(app);
        commands.AddGlobalOptions();
        Morv::AddMissingMountCommand(commands);
        EXPECT_TRUE(Morv::ReadToolFacts(app).commands.empty()) << "no page of the manual tells of it";
        EXPECT_EQ(app.help().find("mount"), std::string::npos);
        app.parse(std::string(typed));
        try
        {
            commands.RunChosen();
            ADD_FAILURE() << typed;
        }
        catch (const TreeReader::TreeError &error)
        {
            EXPECT_EQ(std::string(error.what()).rfind("this build has no mount, as it was made without libfuse3", 0),
                      0U)
                << error.what();
        }
    }
}
} // namespace
} // namespace Keld::Test
