#include "Mutation/ByteMutation.h"

#include <algorithm>
#include <iterator>

// Of the engine; null in the programs that replay.
extern "C" __attribute__((weak)) std::size_t LLVMFuzzerMutate(Keld::uint8 *data, std::size_t size, std::size_t room);

namespace Keld::Fuzz
{
namespace
{
constexpr std::size_t LongestRun = 64;

void MutateByEngine(std::string &bytes, std::size_t room)
{
    const std::size_t size = bytes.size();
    bytes.resize(std::max(room, size));
    bytes.resize(LLVMFuzzerMutate(reinterpret_cast<uint8 *>(bytes.data()), size, bytes.size()));
}

void WriteNumber(std::string &bytes, std::size_t offset, uint32 value)
{
    for (std::size_t index = 0; index < 4 && offset + index < bytes.size(); ++index)
    {
        bytes[offset + index] = static_cast<char>(value >> 8 * index);
    }
}

void MutateOnce(std::string &bytes, Random &random)
{
    const std::size_t place = random.Below(bytes.size());
    const std::size_t run = 1 + random.Below(random.OneIn(4) ? LongestRun : 4);
    switch (bytes.empty() ? 0 : random.Below(7))
    {
    case 0:
        bytes.insert(place, std::string(run, static_cast<char>(random.Below(256))));
        break;
    case 1:
        bytes.erase(place, run);
        break;
    case 2:
        bytes[place] = static_cast<char>(bytes[place] ^ 1 << random.Below(8));
        break;
    case 3:
        bytes[place] = static_cast<char>(random.Below(256));
        break;
    case 4:
        WriteNumber(bytes, place, OddNumber(static_cast<uint32>(bytes.size()), random));
        break;
    case 5:
        bytes.insert(random.Below(bytes.size()), bytes.substr(place, run));
        break;
    default:
        bytes.resize(random.OneIn(8) ? place : bytes.size() - 1);
        break;
    }
}
} // namespace

void MutateBytes(std::string &bytes, Random &random, std::size_t room)
{
    if (LLVMFuzzerMutate != nullptr && room > 0 && !random.OneIn(4))
    {
        MutateByEngine(bytes, room);
    }
    else
    {
        for (std::size_t left = 1 + random.Below(4); left > 0; --left)
        {
            MutateOnce(bytes, random);
        }
    }
    bytes.resize(std::min(bytes.size(), room));
}

uint32 OddNumber(uint32 old, Random &random)
{
    static constexpr uint32 odd[] = {0,          1,          2,          3,          4,          0x7F,       0x80,
                                     0xFF,       0x100,      0x3FF,      0x400,      0xFFFF,     0x10000,    0x3FFFF,
                                     0x40000,    0x40001,    0x3FFFFFFF, 0x40000000, 0x7FFFFFFF, 0x80000000, 0x80000001,
                                     0xAAAAAAAB, 0xFFFFFFEF, 0xFFFFFFFE, 0xFFFFFFFF};
    switch (random.Below(6))
    {
    case 0:
        return old + 1;
    case 1:
        return old - 1;
    case 2:
        return old ^ uint32 { 1 } << random.Below(32);
    case 3:
        return static_cast<uint32>(random.Below(16));
    case 4:
        return old * 2;
    default:
        return odd[random.Below(std::size(odd))];
    }
}

std::vector<std::string> SplitLines(std::string_view text)
{
    std::vector<std::string> lines;
    while (!text.empty())
    {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::string JoinLines(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines)
    {
        text += line + "\n";
    }
    return text;
}

void MutateLines(std::string &text, Random &random, const std::vector<std::string> &words)
{
    std::vector<std::string> lines = SplitLines(text);
    if (lines.empty())
    {
        lines.emplace_back();
    }
    const std::size_t place = random.Below(lines.size());
    const auto at = lines.begin() + static_cast<std::ptrdiff_t>(place);
    switch (random.Below(8))
    {
    case 0:
        lines.erase(at);
        break;
    case 1:
        lines.insert(at, random.Pick(lines));
        break;
    case 2:
        std::swap(*at, random.Pick(lines));
        break;
    case 3:
        *at = std::to_string(OddNumber(static_cast<uint32>(place), random));
        break;
    case 4:
        at->insert(random.Below(at->size() + 1), std::string(random.OneIn(4) ? 1000 + random.Below(60) : 1, ' '));
        break;
    case 5:
        MutateBytes(*at, random, at->size() + LongestRun);
        break;
    case 6:
        *at += words.empty() ? "\r" : random.Pick(words);
        break;
    default:
        *at = words.empty() ? "" : random.Pick(words);
        break;
    }
    const bool endsWithin = random.OneIn(32);
    text = JoinLines(lines);
    if (endsWithin && !text.empty())
    {
        text.pop_back();
    }
}
} // namespace Keld::Fuzz
