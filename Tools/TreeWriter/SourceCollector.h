#pragma once

#include "Tools/TreeWriter/SourceTree.h"

#include "KeldFoundation/CStd/PathLimit.h"

#include <string>
#include <vector>

namespace Keld::TreeWriter
{
inline constexpr std::size_t LongestPath = PathBufferSize - 1; ///< of virtual paths, in bytes

/// Gathers the entries of a source from wherever they come, and holds each against what a release can hold.
class SourceCollector
{
public:
    /// \param root stands before virtual paths in messages, and is the root of the tree
    SourceCollector(std::filesystem::path root, const SourceOptions &options);

    /// Whether patterns leave an entry out. Counts it when they do.
    bool IsExcluded(const std::string &path, bool isDirectory);

    void AddDirectory(std::string path);
    void AddFile(SourceFile file);
    void CountSkippedLink() { ++mTree.skippedLinks; }

    /// Whether nothing of the path itself stands against it. Tells the problem otherwise.
    bool CanHold(const std::string &path);

    /// The same of a file's size, in bytes.
    bool CanHoldSize(const std::string &path, uint64 size);

    /// Takes note of a problem with an entry. Nothing is made then in the end.
    void Refuse(const std::string &path, const std::string &problem);

    /// The tree, sorted. Throws TreeError with the first problems, or when there are no files.
    SourceTree Finish();

private:
    struct Entry
    {
        std::string key; ///< sorts as the path does, name by name and without case
        std::string path;
        bool isDirectory;
        std::size_t file; ///< index in the files, as they were added
    };

    std::vector<Entry> ListEntries() const;
    void RefuseTwins(const std::vector<Entry> &entries);
    void NoteIdlePatterns();
    std::string Label(const std::string &path) const;

    SourceTree mTree;
    const SourceOptions &mOptions;
    std::vector<uint64> mExcludedBy;
    std::string mProblems;
    std::size_t mProblemCount = 0;
};
} // namespace Keld::TreeWriter
