#include "Tools/morv/Commands.h"

namespace Keld::Morv
{
void AddAllCommands(CommandSet &commands)
{
    // What makes releases, and removes them.
    AddPackCommand(commands);
    AddSolutionCommand(commands);
    AddPruneCommand(commands);
    // What brings them to other trees.
    AddPublishCommand(commands);
    AddBundleCommand(commands);
    AddApplyCommand(commands);
    AddRepairCommand(commands);
    // What looks into them.
    AddReleasesCommand(commands);
    AddInfoCommand(commands);
    AddListCommand(commands);
    AddTreeCommand(commands);
    AddFindCommand(commands);
    AddCatCommand(commands);
    AddStatCommand(commands);
    // What tells who answers.
    AddWhichCommand(commands);
    AddConflictsCommand(commands);
    // What proves them.
    AddVerifyCommand(commands);
    AddDoctorCommand(commands);
    // What compares and measures them.
    AddDiffCommand(commands);
    AddDuCommand(commands);
    AddStatsCommand(commands);
    // What brings them out.
    AddExtractCommand(commands);
    // What brings them in.
    AddFetchCommand(commands);
#ifdef KELD_HAS_MOUNT
    AddMountCommand(commands);
#else
    AddMissingMountCommand(commands);
#endif
    // What shells and the build ask.
    AddManualCommands(commands);
}
} // namespace Keld::Morv
