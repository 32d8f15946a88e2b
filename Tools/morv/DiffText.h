#pragma once

#include "Tools/TreeReader/ContentComparison.h"
#include "Tools/TreeReader/ShippingList.h"
#include "Tools/morv/DiffSide.h"

#include <string>

// How "morv diff" tells what it found.
namespace Keld::Morv
{
/// A line for each difference. Version-only ones are told where `all` says so.
std::string ChangeLines(const TreeReader::ContentComparison &comparison, const DiffSide &from, const DiffSide &to,
                        bool all);
std::string ComparisonSummary(const TreeReader::ContentComparison &comparison, const DiffSide &from,
                              const DiffSide &to);
Json ComparisonDocument(const TreeReader::ContentComparison &comparison, const DiffSide &from, const DiffSide &to);

std::string ShippingLines(const TreeReader::ShippingList &shipping);
std::string ShippingSummary(const TreeReader::ShippingList &shipping, const DiffSide &from, const DiffSide &to);
Json ShippingDocument(const TreeReader::ShippingList &shipping);
} // namespace Keld::Morv
