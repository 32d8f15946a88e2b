#include "Tools/morv/Commands.h"

namespace Keld::Morv
{
void AddAllCommands(CommandSet &commands)
{
    // What makes releases.
    AddPackCommand(commands);
    AddSolutionCommand(commands);
    AddPruneCommand(commands);
    // What looks into them.
    AddReleasesCommand(commands);
    AddInfoCommand(commands);
    AddListCommand(commands);
    AddTreeCommand(commands);
    AddFindCommand(commands);
    AddCatCommand(commands);
    AddStatCommand(commands);
    // What proves them.
    AddVerifyCommand(commands);
    // What compares them.
    AddDiffCommand(commands);
    // What measures them.
    AddDuCommand(commands);
    AddStatsCommand(commands);
    // What shells and the build ask.
    AddManualCommands(commands);
    AddDoctorCommand(commands);
#ifdef KELD_HAS_MOUNT
    AddMountCommand(commands);
#endif
    AddWhichCommand(commands);
    AddConflictsCommand(commands);
    AddExtractCommand(commands);
}
} // namespace Keld::Morv
