#include "Support/HexDump.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Keld::Test
{
namespace
{
void AddLine(const std::string &line, std::string &bytes)
{
    std::istringstream words(line.substr(0, line.find('#')));
    std::string word;
    words >> word;
    if (word.empty() || word.back() != ':' || std::stoul(word, nullptr, 16) != bytes.size())
    {
        throw std::runtime_error("a line of the dump stands at another offset: " + line);
    }
    while (words >> word)
    {
        std::size_t length = 0;
        const unsigned long value = std::stoul(word, &length, 16);
        if (length != 2 || word.size() != 2)
        {
            throw std::runtime_error("no byte of two digits: " + line);
        }
        bytes += static_cast<char>(value);
    }
}

std::string PathOf(std::string_view page)
{
    return std::string(KELD_SOURCE_DIRECTORY "/") + std::string(page);
}
} // namespace

std::string ReadHexDump(std::string_view page)
{
    const std::string path = PathOf(page);
    std::ifstream stream(path);
    std::string line;
    while (std::getline(stream, line) && line != "```hexdump")
    {
    }
    std::string bytes;
    while (std::getline(stream, line) && line != "```")
    {
        AddLine(line, bytes);
    }
    if (!stream || bytes.empty())
    {
        throw std::runtime_error("no dump in " + path);
    }
    return bytes;
}

std::string ReadTextBlock(std::string_view page, std::string_view firstLine)
{
    std::ifstream stream(PathOf(page));
    std::string line;
    std::string text;
    while (std::getline(stream, line))
    {
        if (line != "```text")
        {
            continue;
        }
        for (text.clear(); std::getline(stream, line) && line != "```";)
        {
            text += line + "\n";
        }
        if (text.starts_with(std::string(firstLine) + "\n"))
        {
            return text;
        }
    }
    throw std::runtime_error("no such block in " + PathOf(page));
}
} // namespace Keld::Test
