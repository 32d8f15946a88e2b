#pragma once

#include "Tools/TreeReader/Fault.h"
#include "Tools/TreeReader/TreeSet.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Delivery
{
/// What a bundle leads to, from where, and which files it carries. The form is told in Docs/Formats/Bundle.md.
struct BundleHead
{
    /// What its entries are called, besides those that are files of the tree.
    static constexpr const char *HeadEntry = "bundle";
    static constexpr const char *ListEntry = "shiplist"; ///< of the target
    static constexpr const char *SignatureEntry = "shiplist.minisig";

    /// A longer text is refused before it is looked at.
    static constexpr uint64 SizeLimit = 256 << 20; // bytes

    TreeReader::ReleaseName target;
    std::optional<TreeReader::ReleaseName> base; ///< nothing where the bundle carries everything
    uint64 bytes = 0;                            ///< of all files
    std::vector<std::string> files;              ///< below the tree's root, in the order in which they follow

    std::string GetText() const;

    /// Refuses, with the number of the line, whatever GetText would not have written.
    static TreeReader::Result<BundleHead> Parse(std::string_view text, const std::string &where);
};
} // namespace Keld::Delivery
