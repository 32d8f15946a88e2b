#include "KeldFoundation/path/Path.h"

#include "KeldFoundation/CStd/CStd.h"

namespace Keld
{
namespace
{
constexpr uint_size Overflow = static_cast<uint_size>(-1);

// Stores the canonical text of `source` in at most `capacity` bytes, without a NUL, and gives its length or Overflow.
// The output never runs ahead of the input, so both may be one buffer.
uint_size Collapse(const char *source, char *dest, uint_size capacity)
{
    uint_size length = 0;
    for (; *source != '\0'; ++source)
    {
        const char character = *source == '\\' ? '/' : *source;
        // The second character is not compared with the first: a leading pair is kept.
        const bool repeated = length >= 2 && character == '/' && dest[length - 1] == '/';
        if (repeated)
        {
            continue;
        }
        if (length == capacity)
        {
            return Overflow;
        }
        dest[length] = character;
        ++length;
    }
    return length;
}

uint_size DropTrailingSeparator(const char *text, uint_size length, uint8 dropTrailingSeparator)
{
    const bool drops = dropTrailingSeparator == 1 && length > 0 && text[length - 1] == '/';
    return drops ? length - 1 : length;
}

// Puts pieces one behind the other into a buffer that always holds a terminated text.
class PathJoiner
{
public:
    PathJoiner(char *buffer, uint32 size) : mBegin(buffer), mEnd(buffer + size), mPosition(buffer) { *buffer = '\0'; }

    bool Add(const char *piece);

private:
    char *const mBegin;
    char *const mEnd;
    char *mPosition;
};

bool PathJoiner::Add(const char *piece)
{
    if (piece == nullptr || *piece == '\0')
    {
        return true;
    }
    char *target = *piece == '/' ? mBegin : mPosition;
    auto room = static_cast<uint_size>(mEnd - target);
    const bool needsSeparator = target != mBegin && target[-1] != '/' && room >= 2;
    if (needsSeparator)
    {
        target[0] = '/';
        target[1] = '\0'; // over the NUL, which must not be missing when the piece is refused
        --room;
        ++target;
    }
    const uint_size length = std_strlen(piece);
    if (length >= room)
    {
        return false;
    }
    std_memcpy(target, room, piece, length + 1);
    mPosition = target + length;
    return true;
}
} // namespace

uint32 CanonicalizePath(const char *source, char *dest, uint8 dropTrailingSeparator)
{
    if (source == nullptr || dest == nullptr)
    {
        return 0;
    }
    const uint_size length = DropTrailingSeparator(dest, Collapse(source, dest, Overflow - 1), dropTrailingSeparator);
    dest[length] = '\0';
    return static_cast<uint32>(length);
}

bool CanonicalizePathBounded(const char *source, char *dest, uint32 size, uint8 dropTrailingSeparator)
{
    if (dest == nullptr || size == 0)
    {
        return false;
    }
    // A separator that is dropped afterwards may stand where the NUL will be.
    const uint_size collapsed = source != nullptr ? Collapse(source, dest, size) : Overflow;
    const uint_size length =
        collapsed != Overflow ? DropTrailingSeparator(dest, collapsed, dropTrailingSeparator) : Overflow;
    const bool fits = length < size;
    dest[fits ? length : 0] = '\0';
    return fits;
}

void NormalizeSeparators(std::string &path)
{
    path.resize(CanonicalizePath(path.c_str(), path.data(), 0));
}

bool JoinPath(char *buffer, uint32 size, std::initializer_list<const char *> pieces)
{
    if (buffer == nullptr || size == 0)
    {
        return false;
    }
    PathJoiner joiner(buffer, size);
    for (const char *piece : pieces)
    {
        if (!joiner.Add(piece))
        {
            return false;
        }
    }
    return true;
}

bool JoinPath(char *buffer, uint32 size, uint32 count, ...)
{
    va_list pieces;
    va_start(pieces, count);
    const bool joined = JoinPathV(buffer, size, count, pieces);
    va_end(pieces);
    return joined;
}

bool JoinPathV(char *buffer, uint32 size, uint32 count, va_list pieces)
{
    if (buffer == nullptr || size == 0)
    {
        return false;
    }
    PathJoiner joiner(buffer, size);
    for (uint32 index = 0; index < count; ++index)
    {
        if (!joiner.Add(va_arg(pieces, const char *)))
        {
            return false;
        }
    }
    return true;
}
} // namespace Keld
