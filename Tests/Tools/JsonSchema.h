#pragma once

#include <string>

namespace Keld::Test
{
/// Holds the document that a command wrote against its schema, Docs/Schemas/<command>.json.
void ExpectMatchesSchema(const std::string &command, const std::string &document);
} // namespace Keld::Test
