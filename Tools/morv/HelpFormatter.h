#pragma once

#include <memory>

namespace CLI
{
class FormatterBase;
class Option;
} // namespace CLI

namespace Keld::Morv
{
/// Writes the help of the tool and of its commands. Operands stand in it by their names alone: in brackets where they
/// may be left out, with dots where they may be several.
std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter();

/// Shows an operand as one that must be there, though the parser does not ask for it: one that may be left out stands
/// before it, and it is the command that sorts the words and asks.
void ShowAsRequired(CLI::Option &operand);

/// Whether an option or operand must be there, for whoever shows it.
bool IsShownAsRequired(const CLI::Option &option);
} // namespace Keld::Morv
