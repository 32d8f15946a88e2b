#include "KeldMorvIO/environment/NameComparisons.h"

#include "KeldFoundation/CStd/CStd.h"

namespace Keld::MORV::Reader
{
namespace
{
// Names that are alike in so many bytes are remembered. Others are told apart about as fast.
constexpr uint_size RememberedLength = 1024;
} // namespace

int NameComparisons::Compare(const char *name, const char *other)
{
    const int order = std_strnicmp(name, other, RememberedLength);
    if (order != 0 || std_strnlen(name, RememberedLength) < RememberedLength)
    {
        return order;
    }
    const auto [place, isNew] = mLongNames.try_emplace({name, other}, 0);
    if (isNew)
    {
        place->second = std_stricmp(name + RememberedLength, other + RememberedLength);
    }
    return place->second;
}
} // namespace Keld::MORV::Reader
