#pragma once

#include <string>
#include <string_view>

namespace Keld::Test
{
/// The bytes of the first block of a documentation page that is fenced as "hexdump". Its lines read
/// `0010: 01 02 ... # what it means`, and each says at which offset it stands. Throws when the page has no such block
/// or a line says something else.
/// \param page a path relative to the project's own root, as in "Docs/Formats/ReleaseManifest.md".
std::string ReadHexDump(std::string_view page);

/// The lines of the first block of a documentation page that is fenced as "text" and begins with `firstLine`, each with
/// its line end. Throws when the page has none.
std::string ReadTextBlock(std::string_view page, std::string_view firstLine);
} // namespace Keld::Test
