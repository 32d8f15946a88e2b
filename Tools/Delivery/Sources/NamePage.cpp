#include "Tools/Delivery/Sources/NamePage.h"

#include "Tools/Delivery/Sources/UrlText.h"

#include <algorithm>

namespace Keld::Delivery
{
namespace
{
bool IsPlainLink(const std::string &name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

/// The few characters that stand as words in a page.
std::string Unescape(std::string_view text)
{
    constexpr std::pair<std::string_view, char> words[] = {{"&amp;", '&'}, {"&quot;", '"'}, {"&#39;", '\''}};
    std::string plain;
    while (!text.empty())
    {
        std::size_t taken = 1;
        char letter = text.front();
        for (const auto &[word, meaning] : words)
        {
            if (text.starts_with(word))
            {
                taken = word.size();
                letter = meaning;
            }
        }
        plain += letter;
        text.remove_prefix(taken);
    }
    return plain;
}
} // namespace

std::vector<std::string> ReadNamePage(std::string_view page)
{
    constexpr std::string_view lead = "href=\"";
    std::vector<std::string> names;
    for (std::size_t place = page.find(lead); place != std::string_view::npos; place = page.find(lead, place))
    {
        place += lead.size();
        const std::size_t end = page.find('"', place);
        if (end == std::string_view::npos)
        {
            break;
        }
        std::string_view link = page.substr(place, end - place);
        if (link.starts_with("./"))
        {
            link.remove_prefix(2);
        }
        if (link.ends_with('/'))
        {
            link.remove_suffix(1);
        }
        const bool isElsewhere = link.find_first_of("?#:/") != std::string_view::npos;
        std::string name = isElsewhere ? "" : DecodeUrlText(Unescape(link));
        if (IsPlainLink(name))
        {
            names.push_back(std::move(name));
        }
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end()); // a picture and a text may lead to one name
    return names;
}
} // namespace Keld::Delivery
