#pragma once

#include "Tools/RandomTree.h"

#include "Support/TempTree.h"

#include "Tools/TreeWriter/PackRequest.h"

#include "KeldFoundation/version/MorvVersion.h"

#include <optional>
#include <string>
#include <vector>

namespace Keld::Test
{
/// Packs random folders into a tree "MORV" below a directory, each path in any storage.
class RandomReleases
{
public:
    static constexpr MorvVersion First = 0x01000000;

    /// \param directory borrowed; its "source" is written over.
    RandomReleases(const TempTree &directory, RandomTree &random) : mDirectory(directory), mRandom(random) {}

    void Pack(const std::string &project, const FileContents &files, MorvVersion version,
              std::optional<MorvVersion> base = {});

    /// The solution "suite" 0.0.1.0 of these projects at version 1.0.0.1, with priorities 0 and 1.
    void WriteSolution(const std::vector<std::string> &projects);

private:
    TreeWriter::StorageChoice RandomChoice();

    const TempTree &mDirectory;
    RandomTree &mRandom;
};
} // namespace Keld::Test
