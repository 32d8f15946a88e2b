#pragma once

#include "Tools/TreeReader/Fault.h"
#include "Tools/TreeReader/LayerIterator.h"
#include "Tools/TreeReader/Release.h"
#include "Tools/TreeReader/Tree.h"

#include "KeldMorvIO/environment/MergedIterator.h"

#include <memory>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// What one release of a project or of a solution is called.
struct ReleaseName
{
    bool isSolution = false;
    std::string name;
    MorvVersion version = 0;

    /// "client 1.0.0.0" or "solution suite 0.0.1.0".
    std::string GetText() const;

    bool operator==(const ReleaseName &) const = default;
};

/// One of the project releases that make up a file system.
struct Layer
{
    std::shared_ptr<const Release> release;
    std::string project;     ///< the directory under "projects" that it was opened by
    MorvVersion version = 0; ///< of that directory
    uint32 priority = 0;     ///< as the solution says; 0 for a project by itself
};

/// An entry of one layer.
struct Hit
{
    uint32 layer = 0;
    EntryIndex entry = NoEntry; ///< NoEntry where nothing is found

    explicit operator bool() const { return entry != NoEntry; }
};

/// A path as it was typed, as the library takes it, and what is to be said about the difference.
struct TypedPath
{
    std::string path;
    std::string note; ///< empty when a program can ask for what was typed
};

using ViewIterator = MORV::Reader::MergedIterator<LayerIterator>;

/// The file system that a program sees in one release of a project or solution: layers of project releases, searched
/// in order. It does not change, and any thread may ask; iterators belong to one thread each. It must not outlive its
/// tree.
class View
{
public:
    /// Loads what a release consists of, by the library's own rules.
    static Result<View> Open(Tree &tree, const ReleaseName &name);

    const ReleaseName &GetName() const { return mName; }
    const std::string &GetConfiguration() const { return mConfiguration; } ///< in use; empty for a project

    /// In the order of the search.
    const std::vector<Layer> &GetLayers() const { return mLayers; }
    const Release &GetRelease(uint32 layer) const { return *mLayers[layer].release; }

    /// What is worth knowing about how the layers came about: equal priorities with who wins, a manifest that names
    /// another project or version than its directory.
    const std::vector<std::string> &GetNotes() const { return mNotes; }

    /// Nothing when the library would start and serve something here, else what keeps it from that.
    Failure CheckServable() const;

    /// The entry that a program gets for a canonical path: of the first layer that has the path. The empty path is the
    /// root.
    Hit Find(const std::string &path) const;

    /// The same entry and all that it hides in later layers, in the order of the search. A directory does not hide
    /// directories of later layers, whose content is merged, but files it does, and a file hides everything.
    std::vector<Hit> FindAll(const std::string &path) const;

    /// The files that a release lists under a path, but that are missing on disk, in the order of the search.
    std::vector<Hit> FindMissing(const std::string &path) const;

    /// Walks a directory as the find calls of the library do: all layers merged, in its order. Null when no layer has
    /// the directory.
    std::unique_ptr<ViewIterator> Enumerate(const std::string &directory) const;

    /// Takes a path as people type it in a shell. One that begins with "/" or "./" means what it means behind that.
    TypedPath ResolveTyped(const std::string &typed) const;

    // Of an entry that was found.
    bool IsDirectory(const Hit &hit) const { return GetRelease(hit.layer).GetTree().IsDirectory(hit.entry); }
    std::string GetPath(const Hit &hit) const { return GetRelease(hit.layer).GetTree().GetPath(hit.entry); }
    void AppendPath(const Hit &hit, std::string &text) const
    {
        GetRelease(hit.layer).GetTree().AppendPath(hit.entry, text);
    }
    Result<StoredFile> Locate(const Hit &hit) const { return GetRelease(hit.layer).Locate(hit.entry); }
    Fault ExplainMissing(const Hit &hit) const { return GetRelease(hit.layer).ExplainMissing(hit.entry); }

private:
    View() = default;

    Failure AddLayer(Tree &tree, const std::string &project, MorvVersion version, uint32 priority);
    Failure AddSolution(Tree &tree);
    void NoteEqualPriorities();

    ReleaseName mName;
    std::string mConfiguration;
    std::vector<Layer> mLayers;
    std::vector<std::string> mNotes;
};
} // namespace Keld::TreeReader
