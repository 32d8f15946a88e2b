#pragma once

#include "Tools/TreeReader/Tree.h"
#include "Tools/TreeReader/View.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace Keld::TreeReader
{
/// What a text or a directory names: a release, and the tree that it lies in.
struct Reference
{
    std::string root;
    ReleaseName name;
};

/// The release around a directory, by the library's own rules for a working directory. Names what is wrong: no release
/// around it, or no directory named MORV above it.
Result<Reference> ResolveDirectory(const std::string &directory);

/// What a person types for a release: "client/1.0.0.0", "solution:suite/0.0.1.0", or the path of a directory in one;
/// nothing stands for the working directory. A path wins where it exists and has "./" or "/" in front; else a text of
/// the first two forms names a release of the tree.
/// \param workingDirectory absolute; the tree around it is meant unless `root` is given.
/// \param root             a directory named MORV, or empty.
Result<Reference> ResolveReference(const std::string &text, const std::string &workingDirectory,
                                   const std::string &root = "");

/// The trees and views that a command has open. Trees that are asked for twice are opened once.
class TreeSet
{
public:
    Tree &GetTree(const std::string &root);

    /// Opens the view of a reference.
    Result<View> Open(const Reference &reference);

    /// Both at once.
    Result<View> Open(const std::string &text, const std::string &workingDirectory, const std::string &root = "");

private:
    std::mutex mMutex; ///< guards mTrees
    std::map<std::string, std::unique_ptr<Tree>> mTrees;
};
} // namespace Keld::TreeReader
