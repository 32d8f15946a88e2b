#include "Tools/morv/Quantity.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Keld::Morv
{
namespace
{
// Three digits, as long as one stands behind the point.
std::string ThreeDigits(double value)
{
    return fmt::format("{:.{}f}", value, value < 9.995 ? 2 : value < 99.95 ? 1 : 0);
}
} // namespace

std::string CountText(uint64 count, const std::string &noun)
{
    if (count == 1)
    {
        return "1 " + noun;
    }
    const bool endsInY =
        noun.size() > 1 && noun.back() == 'y' && std::string("aeiou").find(noun[noun.size() - 2]) == std::string::npos;
    const std::string plural = endsInY ? noun.substr(0, noun.size() - 1) + "ies" : noun + "s";
    return fmt::format("{} {}", count, plural);
}

std::string ByteText(uint64 bytes)
{
    if (bytes < 1024)
    {
        return CountText(bytes, "byte");
    }
    const char *const units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    double value = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; value >= 1023.5; ++unit)
    {
        value /= 1024;
    }
    return ThreeDigits(value) + " " + units[unit];
}

std::string DurationText(double seconds)
{
    if (seconds < 59.5)
    {
        return ThreeDigits(std::max(seconds, 0.0)) + " s";
    }
    const auto whole = static_cast<uint64>(std::llround(seconds));
    return whole < 3600 ? fmt::format("{} min {} s", whole / 60, whole % 60)
                        : fmt::format("{} h {} min", whole / 3600, whole / 60 % 60);
}

std::string RateText(uint64 bytes, double seconds)
{
    constexpr double shortest = 0.001;
    return ByteText(static_cast<uint64>(static_cast<double>(bytes) / std::max(seconds, shortest))) + "/s";
}
} // namespace Keld::Morv
