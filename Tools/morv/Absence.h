#pragma once

#include "Tools/TreeReader/View.h"

#include <string>

namespace Keld::Morv
{
/// What a path that nobody has is told as, where nobody can say why.
inline constexpr const char *NotFoundText = "not found; \"morv ls\" and \"morv find\" show what is there";

/// Why there is nothing at a path, as a person needs it, to stand behind the path: what a release lists but lacks on
/// disk, or how far the path leads.
/// \param path canonical, and not found in the view.
std::string ExplainAbsence(const TreeReader::View &view, const std::string &path);

/// "typed: cause", where what was typed can hold whatever bytes.
std::string AbsenceText(const std::string &typed, const std::string &cause);
} // namespace Keld::Morv
