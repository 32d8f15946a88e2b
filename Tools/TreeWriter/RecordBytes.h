#pragma once

#include <string>
#include <type_traits>

namespace Keld::TreeWriter
{
/// Adds an on-disk record to the bytes of a file, as it is laid out.
template <class Record>
void AppendRecord(std::string &bytes, const Record &record)
{
    static_assert(alignof(Record) == 1 && std::is_trivially_copyable_v<Record>);
    bytes.append(reinterpret_cast<const char *>(&record), sizeof record);
}
} // namespace Keld::TreeWriter
