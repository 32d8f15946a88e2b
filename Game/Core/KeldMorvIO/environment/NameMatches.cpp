#include "KeldMorvIO/environment/NameMatches.h"

#include "KeldFoundation/CStd/CStd.h"

namespace Keld::MORV::Reader
{
namespace
{
// From this length on. A shorter name is matched about as fast as it is remembered.
constexpr uint_size LongNameLength = 1024;
} // namespace

bool NameMatches::Matches(const char *name, const std::string &pattern)
{
    if (std_strnlen(name, LongNameLength) < LongNameLength)
    {
        return std_wildcard_match(name, pattern.c_str());
    }
    const auto [place, isNew] = mLongNames.try_emplace(name, false);
    if (isNew)
    {
        place->second = std_wildcard_match(name, pattern.c_str());
    }
    return place->second;
}
} // namespace Keld::MORV::Reader
