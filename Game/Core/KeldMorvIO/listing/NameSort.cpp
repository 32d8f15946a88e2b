#include "KeldMorvIO/listing/NameSort.h"

#include "KeldFoundation/CStd/Hash.h"

namespace Keld::MORV::Reader
{
namespace
{
// So many bytes of a name go into a number that stands for them in comparisons.
constexpr uint32 KeySize = sizeof(uint64);

struct NameKey
{
    uint64 start; // the first bytes in which the names of a directory may differ, folded, the first on top
    uint32 nameIndex;
    uint32 position;
};

// The length of what both texts begin with, ignoring case.
uint32 GetCommonLength(const char *text, const char *other, uint32 limit)
{
    uint32 length = 0;
    while (length < limit && FoldCase(text[length]) == FoldCase(other[length]) && text[length] != '\0')
    {
        ++length;
    }
    return length;
}

// Names of one directory often begin alike; what all of them begin with tells none of them apart.
uint32 GetCommonLength(const NameOrder &names, const std::vector<uint32> &nameIndices)
{
    const char *const first = names.GetName(nameIndices.front());
    uint32 length = NameOrder::ComparedSize;
    for (const uint32 nameIndex : nameIndices)
    {
        length = GetCommonLength(first, names.GetName(nameIndex), length);
    }
    return length;
}

uint64 MakeStart(const char *text)
{
    uint64 start = 0;
    for (uint32 index = 0; index < KeySize; ++index)
    {
        start = start << 8 | static_cast<unsigned char>(FoldCase(*text));
        text += *text != '\0' ? 1 : 0;
    }
    return start;
}

std::vector<NameKey> MakeKeys(const NameOrder &names, const std::vector<uint32> &nameIndices)
{
    const uint32 commonLength = GetCommonLength(names, nameIndices);
    std::vector<NameKey> keys;
    keys.reserve(nameIndices.size());
    for (const uint32 nameIndex : nameIndices)
    {
        const auto position = static_cast<uint32>(keys.size());
        keys.push_back({MakeStart(names.GetName(nameIndex) + commonLength), nameIndex, position});
    }
    return keys;
}
} // namespace

std::vector<uint32> SortNames(const NameOrder &names, const std::vector<uint32> &nameIndices, NameSort sort)
{
    if (nameIndices.empty())
    {
        return {};
    }
    const auto comesBefore = [&names](const NameKey &lhs, const NameKey &rhs)
    {
        return lhs.start != rhs.start ? lhs.start < rhs.start : names.ComesBefore(lhs.nameIndex, rhs.nameIndex);
    };
    std::vector<NameKey> keys = MakeKeys(names, nameIndices);
    if (sort == NameSort::Ascending)
    {
        std::sort(keys.begin(), keys.end(), comesBefore);
    }
    else
    {
        std::sort(keys.begin(), keys.end(),
                  [&comesBefore](const NameKey &lhs, const NameKey &rhs)
                  {
                      return comesBefore(rhs, lhs);
                  });
        std::reverse(keys.begin(), keys.end());
    }
    std::vector<uint32> positions;
    positions.reserve(keys.size());
    for (const NameKey &key : keys)
    {
        positions.push_back(key.position);
    }
    return positions;
}
} // namespace Keld::MORV::Reader
