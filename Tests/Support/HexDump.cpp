#include "Support/HexDump.h"

#include "Support/PageBlocks.h"

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
    std::string bytes;
    for (const PageBlock &block : BlocksOfPage(std::string(page)))
    {
        if (block.language == "hexdump" && bytes.empty())
        {
            std::istringstream lines(block.text);
            for (std::string line; std::getline(lines, line);)
            {
                AddLine(line, bytes);
            }
        }
    }
    if (bytes.empty())
    {
        throw std::runtime_error("no dump in " + std::string(page));
    }
    return bytes;
}

std::string ReadTextBlock(std::string_view page, std::string_view firstLine)
{
    for (const PageBlock &block : BlocksOfPage(std::string(page)))
    {
        if (block.language == "text" && block.text.starts_with(std::string(firstLine) + "\n"))
        {
            return block.text;
        }
    }
    throw std::runtime_error("no such block in " + std::string(page));
}
} // namespace Keld::Test
