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
} // namespace

std::string ReadHexDump(std::string_view page)
{
    const std::string path = std::string(KELD_SOURCE_DIRECTORY "/") + std::string(page);
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
} // namespace Keld::Test
