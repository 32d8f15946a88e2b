#include "Tools/morv/MountOptions.h"

#include "Tools/morv/CommandSet.h"

#include <charconv>
#include <string_view>
#include <system_error>

#include <unistd.h>

namespace Keld::Morv
{
namespace
{
constexpr mode_t AllPermissions = 0777;
constexpr uint32 LargestId = 0xFFFFFFFE; // the one above it stands for none

std::vector<std::string> SplitWords(const std::string &text)
{
    std::vector<std::string> words(1);
    for (std::size_t index = 0; index < text.size(); ++index)
    {
        if (text[index] == ',')
        {
            words.emplace_back();
            continue;
        }
        const bool isEscaped = text[index] == '\\' && index + 1 < text.size();
        index += isEscaped ? 1 : 0;
        words.back().push_back(text[index]);
    }
    return words;
}

uint32 ParseNumber(const std::string &word, const std::string &value, int base, uint32 largest)
{
    uint32 number = 0;
    const char *end = value.data() + value.size();
    const auto [behind, error] = std::from_chars(value.data(), end, number, base);
    if (error != std::errc() || behind != end || number > largest)
    {
        throw UsageError("-o " + word + "=" + value + ": " +
                         (base == 8 ? "an octal number up to 0777 is needed, as 022" : "a number is needed"));
    }
    return number;
}

void ApplyWord(const std::string &text, MountOptions &options)
{
    const std::size_t equals = text.find('=');
    const std::string word = text.substr(0, equals);
    const std::string value = equals != std::string::npos ? text.substr(equals + 1) : "";
    if (word == "uid")
    {
        options.ownership.user = ParseNumber(word, value, 10, LargestId);
    }
    else if (word == "gid")
    {
        options.ownership.group = ParseNumber(word, value, 10, LargestId);
    }
    else if (word == "umask")
    {
        options.ownership.umask = ParseNumber(word, value, 8, AllPermissions);
    }
    else if (word == "subdir" && equals != std::string::npos)
    {
        options.subdirectory = value;
    }
    else if (text == "allow_other")
    {
        options.allowOther = true;
    }
    else if (text == "nonempty")
    {
        options.allowNonEmpty = true;
    }
    else if (text == "rw")
    {
        throw UsageError("-o rw: a release can only be read; a mount is always read-only");
    }
    else if (text != "ro" && !text.empty())
    {
        throw UsageError("-o " + text +
                         ": not known; there are allow_other, uid=, gid=, umask=, subdir=, nonempty and ro");
    }
}
} // namespace

MountOptions ParseMountOptions(const std::vector<std::string> &texts)
{
    MountOptions options;
    options.ownership.user = geteuid();
    options.ownership.group = getegid();
    for (const std::string &text : texts)
    {
        for (const std::string &word : SplitWords(text))
        {
            ApplyWord(word, options);
        }
    }
    return options;
}

uint64 ParseCacheSize(const std::string &text)
{
    constexpr uint64 largest = uint64{1} << 50;
    constexpr std::string_view units = "KMGT";
    uint64 size = 0;
    const char *end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(text.data(), end, size);
    const std::string_view unit(behind, static_cast<std::size_t>(end - behind));
    const std::size_t place = unit.size() == 1 ? units.find(unit) : std::string_view::npos;
    const unsigned shift = unit.empty() ? 0 : 10 * (static_cast<unsigned>(place) + 1);
    if (error != std::errc() || (!unit.empty() && place == std::string_view::npos) || size > largest >> shift)
    {
        throw UsageError("--cache-size " + text + ": a number of bytes is needed, as 1000000, 64M or 2G");
    }
    return size << shift;
}
} // namespace Keld::Morv
