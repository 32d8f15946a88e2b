#pragma once

#include "Tools/CheckedTree.h"

#include "Support/ArchiveImage.h"

#include "Tools/Delivery/Repair/Repair.h"

#include <set>
#include <string>
#include <vector>

namespace Keld::Test
{
/// A server and a client with the same tree, of which the client's is damaged and mended. Besides what CheckedTree has
/// there is the project "odd", whose manifest and index are made by hand.
class RepairFixture : public CheckedTree
{
protected:
    RepairFixture();

    static ManifestImage OddManifest(const std::string &project = "odd");
    static ArchiveImage OddIndex(const std::string &first = "Aa", std::uint32_t second = 3);

    /// Writes lists of all releases, which the server and the client have from then on.
    void Publish() const;

    /// The client's tree is whole again, and the server's is there.
    void Split() const;

    /// Kinds of what a check of the client reports.
    std::set<TreeReader::FaultKind> FaultsOfClient(const std::vector<TreeReader::ReleaseName> &releases) const;
    std::set<TreeReader::FaultKind> FaultsOfClient() const { return FaultsOfClient(mReleases); }

    Delivery::RepairReport Repair(const std::string &source,
                                  const std::vector<TreeReader::ReleaseName> &releases) const;
    Delivery::RepairReport Repair(const std::string &source) const { return Repair(source, mReleases); }

    /// Every file of the server is here, with the same bytes, and nothing is on its way.
    void ExpectSameFiles() const;

    std::string Place(const std::string &path) const { return "client/MORV/projects/" + path; }

    void WriteManifest(const ManifestImage &manifest) const;
    void WriteIndex(const ByteImage &index) const;

    static inline const std::string Odd = "projects/odd/";
    const std::string mFirst = Place("game/releases/1.0.0.0/");
    const std::string mArchives = Place("game/filearchives/1.0.0.0/");
    const std::vector<TreeReader::ReleaseName> mReleases{{false, "game", First},
                                                         {false, "game", Second},
                                                         {false, "extra", First},
                                                         {false, "odd", First},
                                                         {true, "suite", 0x00000100}};
};
} // namespace Keld::Test
