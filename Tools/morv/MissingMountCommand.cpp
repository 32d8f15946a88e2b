#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"

#include "Tools/TreeReader/TreeError.h"

#include <CLI/CLI.hpp>

namespace Keld::Morv
{
/// Takes whatever "mount" takes elsewhere, and says why that is of no use here. No help lists it.
void AddMissingMountCommand(CommandSet &commands)
{
    const CommandWords words{
        .name = "mount", .description = "Not in this build, which was made without libfuse3", .footer = ""};
    CLI::App &command = commands.Add(
        words,
        []() -> ExitCode
        {
            throw TreeReader::TreeError("this build has no mount, as it was made without libfuse3 (3.12 or newer); "
                                        "\"morv cat\" and \"morv extract\" bring files out, or build it where "
                                        "libfuse3-dev is installed");
        });
    command.group("");
    command.allow_extras();
    command.fallthrough(false); // else the words would be the tool's own, which knows none of them
}
} // namespace Keld::Morv
