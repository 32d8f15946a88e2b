#pragma once

#include "Tools/TreeReader/ContentList.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeWriter/SourceTree.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Json.h"

#include <optional>
#include <string>

namespace Keld::Morv
{
/// One side of a comparison: a release, or a plain folder.
class DiffSide
{
public:
    /// Throws TreeError for what is neither, and for a release that cannot be read.
    DiffSide(TreeReader::TreeSet &trees, const std::string &text, const CommonOptions &common, const std::string &root);

    bool IsFolder() const { return !mView.has_value(); }

    // Of a release.
    const TreeReader::View &GetView() const { return *mView; }
    const std::string &GetRoot() const { return mReference.root; }

    /// Lists what is there: of a release by its manifests alone, of a folder by its names.
    void List();

    /// Gives each file of a folder a digest whose size the other side has, too: no other can be equal. Nothing to do
    /// for a release.
    void DigestLike(const DiffSide &other, const CommonOptions &common);

    const TreeReader::ContentList &GetList() const { return mList; }

    /// "client 1.0.0.0", "solution suite 0.0.1.0", or the folder's path.
    std::string GetText() const;
    Json GetDocument() const;

private:
    std::optional<TreeReader::View> mView; ///< nothing for a folder
    TreeReader::Reference mReference;
    std::string mFolder; ///< absolute
    TreeWriter::SourceTree mSource;
    TreeReader::ContentList mList;
};
} // namespace Keld::Morv
