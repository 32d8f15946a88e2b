#pragma once

#include "Tools/morv/CommandSet.h"

#include "Tools/Common/GlobSelection.h"
#include "Tools/TreeReader/TreeSet.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
/// Adds --release to a command. `reference` must live until it has run.
void AddReleaseOption(CLI::App &command, std::string &reference);

/// A release that is open, and which one it is.
struct OpenedView
{
    TreeReader::Reference reference;
    TreeReader::View view;
};

/// The release that --release names, or the one around the working directory where `reference` is empty. Throws
/// UsageError or TreeError.
TreeReader::Reference ResolveRelease(const std::string &reference, const CommonOptions &common);

/// Opens what a command looks into, and prints what is worth knowing about it as notes. Throws TreeError when there is
/// nothing that the library would serve. The view must not outlive `trees`.
OpenedView OpenView(TreeReader::TreeSet &trees, const std::string &reference, const CommonOptions &common);

/// The paths that the operands GLOB... choose. Throws UsageError.
Common::GlobSelection MakeSelection(const std::vector<std::string> &globs);
} // namespace Keld::Morv
