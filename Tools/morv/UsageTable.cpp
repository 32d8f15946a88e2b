#include "Tools/morv/UsageTable.h"

#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include <unistd.h>

namespace Keld::Morv
{
using TreeReader::UsageTotal;

namespace
{
std::string SizeText(uint64 bytes, bool human)
{
    return human ? ByteText(bytes) : std::to_string(bytes);
}

uint64 KeyOf(const UsageTotal &total, UsageOrder order)
{
    switch (order)
    {
    case UsageOrder::Bytes:
        return total.bytes;
    case UsageOrder::Stored:
        return total.storedBytes;
    case UsageOrder::Files:
        return total.files;
    case UsageOrder::Name:
        break;
    }
    return 0;
}
} // namespace

UsageOrder ParseUsageOrder(const std::string &word)
{
    return word == "stored"  ? UsageOrder::Stored
           : word == "files" ? UsageOrder::Files
           : word == "name"  ? UsageOrder::Name
                             : UsageOrder::Bytes;
}

void SortRows(std::vector<UsageRow> &rows, UsageOrder order)
{
    std::stable_sort(rows.begin(), rows.end(),
                     [order](const UsageRow &left, const UsageRow &right)
                     {
                         const uint64 leftKey = KeyOf(left.total, order);
                         const uint64 rightKey = KeyOf(right.total, order);
                         return leftKey != rightKey ? leftKey > rightKey
                                                    : TreeReader::ComparePaths(left.name, right.name) < 0;
                     });
}

std::string UsageTableText(const std::string &nameColumn, const std::vector<UsageRow> &rows, const UsageStyle &style)
{
    std::string text;
    const auto out = std::back_inserter(text);
    if (style.heading)
    {
        const std::string heading =
            fmt::format("{:>13} {:>13} {:>8} {:>9}  {}", "content", "on disk", "ratio", "files", nameColumn);
        text += Paint(STDOUT_FILENO, Ink::Faint, heading) + "\n";
    }
    for (const UsageRow &row : rows)
    {
        fmt::format_to(out, "{:>13} {:>13} {:>8} {:>9}  {}\n", SizeText(row.total.bytes, style.human),
                       SizeText(row.total.storedBytes, style.human), RatioText(row.total.storedBytes, row.total.bytes),
                       row.total.files, EscapeForTerminal(row.name));
    }
    return text;
}

Json UsageDocument(const UsageTotal &total)
{
    return {{"files", total.files}, {"bytes", total.bytes}, {"storedBytes", total.storedBytes}};
}

std::string RatioText(uint64 part, uint64 whole)
{
    return whole == 0 ? "-" : fmt::format("{:.1f} %", 100 * static_cast<double>(part) / static_cast<double>(whole));
}
} // namespace Keld::Morv
