#include "KeldFoundation/CStd/Further/PathText.h"

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>

namespace Keld
{
namespace
{
bool IsSeparator(char character)
{
    return character == '/' || character == '\\';
}

bool EndsInSeparator(const char *text)
{
    const uint_size length = std_strlen(text);
    return length != 0 && IsSeparator(text[length - 1]);
}
} // namespace

void std_path_to_backslashes(char *dest, const char *src)
{
    std::replace_copy(src, src + std_strlen(src) + 1, dest, '/', '\\');
}

bool std_path_join(char *dest, uint_size size, const char *first, const char *second)
{
    if (size == 0)
    {
        return false;
    }
    dest[0] = '\0';
    if (std_strlen(first) + 1 + std_strlen(second) >= size)
    {
        return false;
    }
    const bool ends = EndsInSeparator(first);
    const bool begins = IsSeparator(second[0]);
    const bool needsSeparator = first[0] != '\0' && !ends && !begins;
    std_strncat(dest, size, first, TRUNCATE);
    std_strncat(dest, size, needsSeparator ? "/" : "", TRUNCATE);
    std_strncat(dest, size, ends && begins ? second + 1 : second, TRUNCATE);
    return true;
}

bool std_makepath(char *dest, uint_size size, const char *dir, const char *fname, const char *ext)
{
    if (size == 0)
    {
        return false;
    }
    const char *const directory = TextOrEmpty(dir);
    const bool needsSeparator = directory[0] != '\0' && !EndsInSeparator(directory);
    const bool fits = std_snprintf(dest, size, "%s%s%s%s", directory, needsSeparator ? "/" : "", TextOrEmpty(fname),
                                   TextOrEmpty(ext)) != static_cast<uint_size>(-1);
    if (!fits)
    {
        dest[0] = '\0';
    }
    return fits;
}
} // namespace Keld
