#pragma once

#include "KeldMorvIO/blocks/AsyncFile.h"

namespace Keld::MORV::Reader
{
/// Opens for positional reads. A file that cannot be opened gives the null handle and two lines under the caller's
/// `signature`: the path, then the text of the system's error.
AsyncFile OpenOrReport(const char *signature, const char *path);
} // namespace Keld::MORV::Reader
