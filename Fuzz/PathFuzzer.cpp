// Paths as a consumer gives them: canonical form, joining, wildcards. Input: 8 bits of buffer size, the path, and on
// further lines pieces to join and a pattern.

#include "FuzzSupport.h"
#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/path/Path.h"

#include <cstring>
#include <vector>

namespace
{
using namespace Keld;

void CheckCanonicalForm(const std::string &path, uint32 room)
{
    for (const uint8 drop : {uint8{0}, uint8{1}})
    {
        std::vector<char> whole(path.size() + 1);
        const uint32 length = CanonicalizePath(path.c_str(), whole.data(), drop);
        Fuzz::Require(length == std::strlen(whole.data()), "the length is that of the text");
        std::vector<char> bounded(room);
        const bool fits = CanonicalizePathBounded(path.c_str(), bounded.data(), room, drop);
        Fuzz::Require(fits == (length < room), "a canonical form fits when it is shorter than the buffer");
        Fuzz::Require(std::strcmp(bounded.data(), fits ? whole.data() : "") == 0, "both forms give one text");
    }
}

void CheckJoin(const std::string &first, const std::string &second, const std::string &third, uint32 room)
{
    std::vector<char> buffer(room);
    const bool fits = JoinPath(buffer.data(), room, {first.c_str(), second.c_str(), third.c_str()});
    Fuzz::Require(std::memchr(buffer.data(), '\0', room) != nullptr, "the buffer holds a text");
    std::vector<char> variadic(room);
    const bool same = JoinPath(variadic.data(), room, 3, first.c_str(), second.c_str(), third.c_str());
    Fuzz::Require(same == fits && std::strcmp(buffer.data(), variadic.data()) == 0, "both forms join alike");
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    Fuzz::InputReader input(data, size);
    const uint32 room = uint32{input.Byte()} + 1;
    const std::string path = input.Line();
    const std::string second = input.Line();
    const std::string third = input.Line();
    const std::string pattern = input.Line();
    CheckCanonicalForm(path, room);
    CheckJoin(path, second, third, room);
    std::string normalized = path;
    NormalizeSeparators(normalized);
    std_wildcard_match(path.c_str(), pattern.c_str());
    Fuzz::Require(std_wildcard_match(path.c_str(), "*"), "a star matches everything");
    return 0;
}
