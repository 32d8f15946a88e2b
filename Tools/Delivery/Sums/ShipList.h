#pragma once

#include "Tools/Delivery/Sums/ContentSum.h"
#include "Tools/TreeReader/Fault.h"
#include "Tools/TreeReader/TreeSet.h"

#include <string>
#include <string_view>
#include <vector>

namespace Keld::Delivery
{
/// A file that a release needs.
struct ShippedFile
{
    std::string path; ///< below the tree's root, one that ReadTreePath takes
    uint64 size = 0;  ///< bytes on disk
    ContentSum sum = {};
};

/// All files that a release needs, with their sizes and sums, as a text that `morv publish` writes beside its manifest.
/// The form is told in Docs/Formats/ShipList.md. Equal lists have equal texts, so that a signature over the text is one
/// over the list.
class ShipList
{
public:
    /// A longer text is refused before it is looked at.
    static constexpr uint64 SizeLimit = 256 << 20; // bytes

    /// \param files in any order; no two of one path, and no shiplists among them
    ShipList(TreeReader::ReleaseName release, std::vector<ShippedFile> files);

    /// Refuses, with the number of the line, whatever GetText would not have written.
    /// \param where what to call the text in a fault
    static TreeReader::Result<ShipList> Parse(std::string_view text, const std::string &where);

    std::string GetText() const;

    const TreeReader::ReleaseName &GetRelease() const { return mRelease; }

    /// Ascending by path, in the order of bytes.
    const std::vector<ShippedFile> &GetFiles() const { return mFiles; }

    /// Bytes of all files together.
    uint64 GetSize() const;

    /// Null when it is not listed.
    const ShippedFile *Find(std::string_view path) const;

private:
    TreeReader::ReleaseName mRelease;
    std::vector<ShippedFile> mFiles;
};

/// Below the tree's root: where a release's shiplist, and the signature over it, belong.
std::string PathOfShipList(const TreeReader::ReleaseName &release);
std::string PathOfShipListSignature(const TreeReader::ReleaseName &release);
} // namespace Keld::Delivery
