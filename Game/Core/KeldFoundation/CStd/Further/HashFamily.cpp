#include "KeldFoundation/CStd/Further/HashFamily.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"

namespace Keld
{
namespace
{
constexpr uint32 TextFactor = 0x1003F;

uint32 MultiplyThenAdd(uint32 hash, const char *text)
{
    for (; *text != '\0'; ++text)
    {
        hash = SignExtended(FoldCase(*text)) + hash * TextFactor;
    }
    return hash;
}
} // namespace

uint32 HashFnv1a(uint32 hash, const void *data, uint_size size)
{
    const auto *bytes = static_cast<const uint8 *>(data);
    for (uint_size index = 0; index < size; ++index)
    {
        hash = (hash ^ bytes[index]) * FnvPrime;
    }
    return hash;
}

uint32 HashFnv1a(uint32 hash, const char *text)
{
    return HashFnv1a(hash, text, std_strlen(text));
}

uint32 HashFnv1(uint32 hash, const void *data, uint_size size)
{
    const auto *bytes = static_cast<const char *>(data);
    for (uint_size index = 0; index < size; ++index)
    {
        hash = (hash * FnvPrime) ^ SignExtended(bytes[index]);
    }
    return hash;
}

uint32 HashNameExact(uint32 hash, const void *data, uint_size size)
{
    const auto *bytes = static_cast<const char *>(data);
    for (uint_size index = 0; index < size; ++index)
    {
        hash = HashNameStep(hash, bytes[index]);
    }
    return hash;
}

uint32 HashTextLower(const char *text)
{
    return MultiplyThenAdd(0, text);
}

uint32 HashTextLower(const char *first, const char *second)
{
    return MultiplyThenAdd(MultiplyThenAdd(0, first), second);
}

uint32 HashTextLowerSeparated(const char *first, char separator, const char *second)
{
    return MultiplyThenAdd(HashTextLowerWithLast(first, separator), second);
}

uint32 HashTextLowerWithLast(const char *text, char last)
{
    uint32 hash = 0;
    for (; *text != '\0'; ++text)
    {
        hash = (SignExtended(FoldCase(*text)) + hash) * TextFactor;
    }
    return hash + SignExtended(last);
}
} // namespace Keld
