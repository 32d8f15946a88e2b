// What the engine and the replay program call to change inputs that are trees: a part of each fuzzer that takes them.

#include "Trees/TreeMutation.h"

#include <algorithm>

namespace
{
using namespace Keld;

Fuzz::TreeInput Parse(const uint8 *data, std::size_t size)
{
    return Fuzz::TreeInput::Parse({reinterpret_cast<const char *>(data), size});
}

/// \returns 0 where the tree is too large
std::size_t Put(Fuzz::TreeInput &input, Fuzz::Random &random, uint8 *out, std::size_t room)
{
    if (Fuzz::MendTree != nullptr && !random.OneIn(8))
    {
        Fuzz::MendTree(input);
    }
    const std::string bytes = input.Bytes();
    if (bytes.size() > room)
    {
        return 0;
    }
    std::copy(bytes.begin(), bytes.end(), out);
    return bytes.size();
}
} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(uint8 *data, std::size_t size, std::size_t room, unsigned seed)
{
    Fuzz::Random random(seed);
    Fuzz::TreeInput input = Parse(data, size);
    Fuzz::MutateTree(input, random);
    const std::size_t changed = Put(input, random, data, room);
    return changed != 0 ? changed : size;
}

extern "C" std::size_t LLVMFuzzerCustomCrossOver(const uint8 *first, std::size_t firstSize, const uint8 *second,
                                                 std::size_t secondSize, uint8 *out, std::size_t room, unsigned seed)
{
    Fuzz::Random random(seed);
    Fuzz::TreeInput input = Parse(first, firstSize);
    Fuzz::CrossTrees(input, Parse(second, secondSize), random);
    return Put(input, random, out, room);
}
