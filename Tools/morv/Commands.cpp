#include "Tools/morv/Commands.h"

namespace Keld::Morv
{
void AddAllCommands(CommandSet &commands)
{
    // What makes releases.
    AddPackCommand(commands);
    AddSolutionCommand(commands);
    // What looks into them.
    AddInfoCommand(commands);
    AddListCommand(commands);
    AddTreeCommand(commands);
    AddFindCommand(commands);
    AddCatCommand(commands);
    AddStatCommand(commands);
    // What shells and the build ask.
    AddManualCommands(commands);
    AddVerifyCommand(commands);
    // What compares them.
    AddDiffCommand(commands);
}
} // namespace Keld::Morv
