#pragma once

namespace Keld::Morv
{
class CommandSet;

/// Adds every command, in the order of the help.
void AddAllCommands(CommandSet &commands);

// One line for each command, by name. Its source tells its options, its help and its work.
void AddApplyCommand(CommandSet &commands);
void AddBundleCommand(CommandSet &commands);
void AddCatCommand(CommandSet &commands);
void AddDiffCommand(CommandSet &commands);
void AddConflictsCommand(CommandSet &commands);
void AddExtractCommand(CommandSet &commands);
void AddFetchCommand(CommandSet &commands);
void AddDuCommand(CommandSet &commands);
void AddFindCommand(CommandSet &commands);
void AddInfoCommand(CommandSet &commands);
void AddListCommand(CommandSet &commands);
void AddManualCommands(CommandSet &commands); // completion, and what only programs call
void AddMountCommand(CommandSet &commands);   // only where libfuse3 is there
void AddMissingMountCommand(CommandSet &commands);
void AddPackCommand(CommandSet &commands);
void AddReleasesCommand(CommandSet &commands);
void AddPublishCommand(CommandSet &commands);
void AddPruneCommand(CommandSet &commands);
void AddRepairCommand(CommandSet &commands);
void AddSolutionCommand(CommandSet &commands);
void AddStatCommand(CommandSet &commands);
void AddVerifyCommand(CommandSet &commands);
void AddDoctorCommand(CommandSet &commands);
void AddStatsCommand(CommandSet &commands);
void AddTreeCommand(CommandSet &commands);
void AddWhichCommand(CommandSet &commands);
} // namespace Keld::Morv
