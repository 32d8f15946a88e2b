#pragma once

#include "Tools/TreeReader/ContentUsage.h"
#include "Tools/morv/Json.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
/// One line of a table of usage.
struct UsageRow
{
    std::string name; ///< bytes, as they stand in the tree
    TreeReader::UsageTotal total;
};

enum class UsageOrder
{
    Bytes,
    Stored,
    Files,
    Name
};

/// "size", "stored", "files", "name".
UsageOrder ParseUsageOrder(const std::string &word);

/// The largest first; equal ones, and all by name, in the order of the names.
void SortRows(std::vector<UsageRow> &rows, UsageOrder order);

/// How a table is told.
struct UsageStyle
{
    bool human = false;  ///< "1.2 MiB" in place of bytes
    bool heading = true; ///< with a line that names the columns
};

std::string UsageTableText(const std::string &nameColumn, const std::vector<UsageRow> &rows, const UsageStyle &style);

/// {"files": ..., "bytes": ..., "storedBytes": ...}
Json UsageDocument(const TreeReader::UsageTotal &total);

/// "12.3 %", or "-" of nothing.
std::string RatioText(uint64 part, uint64 whole);
} // namespace Keld::Morv
