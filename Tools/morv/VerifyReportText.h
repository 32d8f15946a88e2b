#pragma once

#include "Tools/morv/Json.h"

#include "Tools/TreeChecker/CheckReport.h"

#include <string>

namespace Keld::Morv
{
/// What a run of "morv verify" has to tell beside its findings.
struct VerifyRun
{
    std::string root;
    bool quick = false;
    bool tellAll = false;
    bool quiet = false;
    double seconds = 0;
};

/// For a person: faults, notes, then a summary. Many of a sort are cut short unless all are wanted.
std::string VerifyReportText(const TreeChecker::CheckReport &report, const VerifyRun &run);

/// The document of --json, with everything.
Json VerifyReportDocument(const TreeChecker::CheckReport &report, const VerifyRun &run);
} // namespace Keld::Morv
