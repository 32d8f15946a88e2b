#pragma once

#include "Tools/PackFixture.h"

#include "Support/ManifestImage.h"

#include "Tools/TreeChecker/TreeCheck.h"
#include "Tools/TreeReader/TreeSet.h"

#include <string>
#include <vector>

namespace Keld::Test
{
/// A small tree with a file in every storage: two releases of the project "game", the second on the first, one of
/// "extra", and a solution of both.
class CheckedTree : public PackFixture
{
protected:
    static inline const std::string GameArchives = "MORV/projects/game/filearchives/1.0.0.0/";
    static inline const std::string GameReleases = "MORV/projects/game/releases/";
    static inline const std::string Suite = "MORV/solutions/suite/releases/0.0.1.0/";

    CheckedTree();

    TreeChecker::CheckReport Check(bool decode = true) const;
    TreeChecker::CheckReport CheckOnly(const std::vector<TreeReader::ReleaseName> &names) const;

    /// "kind path|files|users" of each, with paths from the root on.
    std::vector<std::string> Describe(const TreeChecker::CheckReport &report,
                                      const std::vector<TreeChecker::Finding> &findings) const;

    /// Expects these faults and no others.
    void ExpectFaults(const std::vector<std::string> &faults, bool decode = true) const;

    /// What a manifest says of an archived file that is not compressed.
    static ManifestFile Archived(const std::string &content);

    /// Changes one byte of a file of the tree.
    void Flip(const std::string &path, std::size_t offset, unsigned char bits = 0x10) const;

    /// Where a text stands in a file of the tree.
    std::size_t PlaceOf(const std::string &path, const std::string &text) const;

private:
    void PackGame(MorvVersion release);
    void PackExtra();
    void WriteSolution();
};
} // namespace Keld::Test
