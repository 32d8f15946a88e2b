#pragma once

#include "Tools/Delivery/Repair/RepairRequest.h"
#include "Tools/Delivery/Sums/ShipList.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// What a check of releases finds, by files on disk.
struct DamageSurvey
{
    std::map<std::string, RepairNeed> needs; ///< by path below the root
    std::vector<TreeReader::Fault> faults;
};

DamageSurvey SurveyDamage(const std::string &root, const std::vector<TreeReader::ReleaseName> &releases,
                          unsigned threadCount, const WorkCalls &calls);

/// The shiplist that lies beside a release's manifest, where there is one that can be read.
std::optional<ShipList> ReadOwnList(const std::string &root, const TreeReader::ReleaseName &release);

/// The files that are missing in a tree or have other bytes than they should.
/// \param survey tells the damaged ranges of archives
std::vector<RepairNeed> CompareWithList(const std::string &root, const std::vector<ShippedFile> &files,
                                        const DamageSurvey &survey, unsigned threadCount, const WorkCalls &calls);

/// Adds to a survey the files that are not those of the tree's own shiplists.
/// \returns the releases that have no list here
std::vector<TreeReader::ReleaseName> AddOtherThanListed(const std::string &root,
                                                        const std::vector<TreeReader::ReleaseName> &releases,
                                                        DamageSurvey &survey, unsigned threadCount,
                                                        const WorkCalls &calls);
} // namespace Keld::Delivery
