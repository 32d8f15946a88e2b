#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

namespace Keld::Morv
{
using Json = nlohmann::ordered_json; ///< members stay in the order in which they were added

/// The document of a command: an object whose first member tells its form, "morv.COMMAND/1". Each form has a schema
/// under Docs/Schemas.
Json NewDocument(const std::string &command);

/// Bytes of a path or name. UTF-8 becomes a string. Anything else becomes {"escaped": "..."}, in which \xff stands for
/// a byte that is no UTF-8 and \\ for a backslash.
Json TextValue(std::string_view bytes);

/// Writes the one document of a run to standard output.
void PrintDocument(const Json &document);
} // namespace Keld::Morv
