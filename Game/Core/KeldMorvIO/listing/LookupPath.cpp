#include "KeldMorvIO/listing/LookupPath.h"

#include "KeldFoundation/CStd/Hash.h"

#include <array>

namespace Keld::MORV::Reader
{
namespace
{
/// What becomes of each byte of a path: lower case, and '/' for either separator where both are meant.
constexpr std::array<char, 256> MakeFolding(bool hasBackslashes)
{
    std::array<char, 256> folding{};
    for (uint_size byte = 0; byte < folding.size(); ++byte)
    {
        folding[byte] = FoldCase(static_cast<char>(byte));
    }
    if (hasBackslashes)
    {
        folding['\\'] = '/';
    }
    return folding;
}

constexpr std::array<char, 256> ConsumerFolding = MakeFolding(true);
constexpr std::array<char, 256> CanonicalFolding = MakeFolding(false);
} // namespace

LookupPath::LookupPath(const char *path, Form form)
{
    const std::array<char, 256> &folding = form == Form::Consumer ? ConsumerFolding : CanonicalFolding;
    // Two separators side by side become one, except for those that a path begins with.
    const uint32 firstCollapsed = form == Form::Consumer ? 2 : PathBufferSize;
    uint32 length = 0;
    uint32 separators = 0;
    uint32 hash = HashPathStart;
    uint32 hashBefore = hash; // its last character
    char last = '\0';
    mNameStarts[0] = 0;
    for (; *path != '\0'; ++path)
    {
        const char character = folding[static_cast<unsigned char>(*path)];
        if (character == '/' && last == '/' && length >= firstCollapsed)
        {
            continue;
        }
        if (length == PathBufferSize)
        {
            mFits = false;
            return;
        }
        hashBefore = hash;
        hash = HashPathFoldedStep(hash, character);
        mText[length] = character;
        last = character;
        ++length;
        // Written for each character and kept at a separator, since that is the faster way to find them.
        mNameStarts[separators + 1] = static_cast<uint16>(length);
        separators += character == '/' ? 1 : 0;
    }
    if (form == Form::Consumer && last == '/')
    {
        --length;
        --separators;
        hash = hashBefore;
    }
    mText[length] = '\0';
    mNameStarts[separators + 1] = static_cast<uint16>(length + 1);
    mNameCount = separators + 1;
    mLength = length;
    mHash = hash;
    mFits = length < PathBufferSize;
}
} // namespace Keld::MORV::Reader
