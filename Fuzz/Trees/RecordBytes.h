#pragma once

#include <string>
#include <type_traits>

namespace Keld::Fuzz
{
/// Adds a record of a format to an image, byte by byte as it is.
template <class Record>
void AppendRecord(std::string &bytes, const Record &record)
{
    static_assert(alignof(Record) == 1 && std::is_trivially_copyable_v<Record>);
    bytes.append(reinterpret_cast<const char *>(&record), sizeof record);
}
} // namespace Keld::Fuzz
