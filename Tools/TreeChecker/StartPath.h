#pragma once

#include "Tools/TreeReader/Fault.h"
#include "Tools/TreeReader/View.h"

#include <string>

namespace Keld::TreeChecker
{
/// Why a start comes to nothing, and what helps.
struct StartCause
{
    TreeReader::Fault fault;
    std::string remedy;
    std::string log;       ///< the line that the library logs first; empty where it logs none, or one for each file
    bool isThrown = false; ///< the library throws it through the start, and logs nothing
};

/// What the library makes of the path of a working directory, before it looks at the disk.
struct StartPath
{
    std::string canonical;
    std::string root; ///< need not end in "MORV"
    TreeReader::ReleaseName name;
};

/// Reads a path by the library's own rules.
/// \param cause set where the path says no release.
/// \returns whether it says one.
bool ReadStartPath(const std::string &directory, StartPath &path, StartCause &cause);

/// Why the library finds no manifest where the path makes it look.
/// \param expected the directory of the release as the library puts it together.
StartCause ExplainAbsence(const StartPath &path, const std::string &expected, const TreeReader::Fault &fault);
} // namespace Keld::TreeChecker
