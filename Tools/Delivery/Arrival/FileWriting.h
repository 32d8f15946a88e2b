#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>
#include <string_view>

namespace Keld::Delivery
{
/// Writes all bytes at a place of an open file, or throws std::system_error.
/// \param what tells what is written, behind "cannot write "
void WriteAllAt(int descriptor, uint64 offset, std::string_view bytes, const std::string &what);
} // namespace Keld::Delivery
