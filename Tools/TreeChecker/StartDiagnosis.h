#pragma once

#include "Tools/TreeChecker/DoomedIndexes.h"
#include "Tools/TreeChecker/StartPath.h"

#include <optional>
#include <string>
#include <vector>

namespace Keld::TreeChecker
{
/// What becomes of a start in a working directory.
enum class StartOutcome
{
    Whole,      ///< it starts, and every file that is listed can be had
    Incomplete, ///< it starts, and leaves files out
    Empty,      ///< it starts, and finds nothing: so with a project that cannot be loaded
    Refused     ///< it does not start
};

/// A short word, as "whole", which does not change between versions of the tool.
const char *NameOf(StartOutcome outcome);

struct StartDiagnosis
{
    StartOutcome outcome = StartOutcome::Refused;
    std::optional<StartPath> path;   ///< nothing where the path says no release
    std::optional<StartCause> cause; ///< nothing for a start that is whole
    ArchivePlaces archives;          ///< of what the start would look into
    std::vector<std::string> warnings;
    uint64 files = 0; ///< that the releases list, as far as the start would come
    uint64 missing = 0;

    /// Whether a program can be started there: all is found, and nothing is deleted.
    bool IsHealthy() const { return outcome == StartOutcome::Whole && archives.doomed.empty(); }
};

/// Tells what the library would do in a working directory, without starting it: nothing on disk changes.
/// \param directory absolute, without symbolic links, as a process is told its own.
StartDiagnosis DiagnoseStart(const std::string &directory, unsigned threadCount);
} // namespace Keld::TreeChecker
