#include "KeldFoundation/CStd/Hash.h"

#include <limits>

namespace Keld
{
uint32 HashPathLower(uint32 hash, const char *text)
{
    for (; *text != '\0'; ++text)
    {
        hash = HashPathLowerStep(hash, *text);
    }
    return hash;
}

uint32 HashPathLower(const char *text)
{
    return HashPathLower(HashPathStart, text);
}

uint32 HashName(const char *text)
{
    return HashName(0, text);
}

uint32 HashName(uint32 hash, const char *text)
{
    return HashName(hash, text, std::numeric_limits<uint_size>::max()).hash;
}

BoundedHash HashName(uint32 hash, const char *text, uint_size size)
{
    uint_size length = 0;
    for (; length < size && text[length] != '\0'; ++length)
    {
        hash = HashNameStep(hash, FoldCase(text[length]));
    }
    return {hash, length};
}
} // namespace Keld
