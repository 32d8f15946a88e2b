#pragma once

#include <CLI/CLI.hpp>

// What the parser checks of values before anybody sees them.
namespace Keld::Morv
{
/// Refuses an empty value, as "$unset" gives in a shell: taken for no value, it would choose everything.
CLI::Validator NotEmpty();

/// To be given to `transform`: takes decimal digits alone, up to 64 bits. The parser alone would take "010" for eight.
CLI::Validator WholeNumber();
} // namespace Keld::Morv
