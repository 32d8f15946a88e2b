#pragma once

#include "Tools/morv/PackOptions.h"

namespace Keld::Morv
{
/// Makes a release and tells about it.
ExitCode Pack(const PackOptions &options, const CommonOptions &common);
} // namespace Keld::Morv
