#pragma once

namespace Keld::Morv
{
/// UsagePage.html, as CMake has made it a text of the program.
extern const char *const UsagePageText;
} // namespace Keld::Morv
