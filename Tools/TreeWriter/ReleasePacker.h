#pragma once

#include "Tools/TreeWriter/PackReport.h"
#include "Tools/TreeWriter/PackRequest.h"

namespace Keld::TreeWriter
{
/// Makes a release. Nothing of it is visible before all of it is on disk and was read back. Throws TreeError for what
/// it refuses and std::system_error when the disk fails it; no release is then changed, unless the words say so. Holds
/// the project's lock while it works, and waits for whoever else does.
PackReport PackRelease(const PackRequest &request);
} // namespace Keld::TreeWriter
