#include "KeldFoundation/CStd/Hash.h"

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
    for (; *text != '\0'; ++text)
    {
        hash = HashNameStep(hash, FoldCase(*text));
    }
    return hash;
}
} // namespace Keld
