#pragma once

#include <cstdint>
#include <iterator>
#include <random>

namespace Keld::Test
{
/// Chance that is the same for the same seed, on every machine and with every standard library.
class Dice
{
public:
    explicit Dice(std::uint64_t seed) : mGenerator(seed) {}

    std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(mGenerator() % limit); }
    std::uint32_t Word() { return static_cast<std::uint32_t>(mGenerator() >> 7); }
    bool OneIn(std::uint32_t times) { return Below(times) == 0; }
    template <class Items>
    const auto &Of(const Items &items)
    {
        return items[Below(static_cast<std::uint32_t>(std::size(items)))];
    }

private:
    std::mt19937_64 mGenerator;
};
} // namespace Keld::Test
