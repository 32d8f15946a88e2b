#pragma once

#include "Tools/TreeWriter/PackReport.h"
#include "Tools/morv/Json.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
/// What "morv pack" tells at its end, several lines.
std::string PackReportText(const TreeWriter::PackRequest &request, const TreeWriter::PackReport &report,
                           double seconds);

/// The same as a document, with sizes in bytes.
Json PackReportDocument(const TreeWriter::PackRequest &request, const TreeWriter::PackReport &report, double seconds,
                        const std::vector<std::string> &notes);
} // namespace Keld::Morv
