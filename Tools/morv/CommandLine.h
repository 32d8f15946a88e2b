#pragma once

#include "Tools/morv/Console.h"

namespace Keld::Morv
{
/// Understands the command line and runs its command. Throws what ends the command early.
ExitCode RunCommandLine(int argumentCount, char **arguments);
} // namespace Keld::Morv
