#include "Support/PageBlocks.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

constexpr const char *Fence = "```";
constexpr const char *Indent = "    ";

// Lines of a table or a list may be indented as well: a block of its own has an empty line before it.
class BlockReader
{
public:
    explicit BlockReader(const std::string &page) : mPage(page) {}

    void Take(const std::string &line)
    {
        ++mLine;
        if (mIsInFence)
        {
            TakeFenced(line);
        }
        else if (line.starts_with(Fence))
        {
            mIsInFence = true;
            mBlocks.push_back({mPage, mLine + 1, line.substr(3), true, ""});
        }
        else if (line.starts_with(Indent) && (mIsIndented || mIsAfterEmpty))
        {
            TakeIndented(line.substr(4));
        }
        else
        {
            mIsIndented = mIsIndented && line.empty();
        }
        mIsAfterEmpty = line.empty();
    }

    std::vector<PageBlock> Blocks()
    {
        if (mIsInFence)
        {
            throw std::runtime_error("a fence stays open: " + mPage);
        }
        return std::move(mBlocks);
    }

private:
    void TakeFenced(const std::string &line)
    {
        mIsInFence = line != Fence;
        if (mIsInFence)
        {
            mBlocks.back().text += line + "\n";
        }
    }

    void TakeIndented(const std::string &text)
    {
        if (!mIsIndented)
        {
            mBlocks.push_back({mPage, mLine, "", false, ""});
            mIsIndented = true;
        }
        mBlocks.back().text += text + "\n";
    }

    std::string mPage;
    int mLine = 0;
    bool mIsInFence = false;
    bool mIsIndented = false;
    bool mIsAfterEmpty = true;
    std::vector<PageBlock> mBlocks;
};
} // namespace

fs::path SourceDirectory()
{
    return KELD_SOURCE_DIRECTORY;
}

std::vector<std::string> DocumentationPages()
{
    std::vector<std::string> pages;
    const auto add = [&pages](const fs::directory_entry &entry)
    {
        if (entry.path().extension() == ".md")
        {
            pages.push_back(entry.path().lexically_relative(SourceDirectory()).string());
        }
    };
    for (const fs::directory_entry &top : fs::directory_iterator(SourceDirectory()))
    {
        const std::string name = top.path().filename().string();
        if (!top.is_directory())
        {
            add(top);
        }
        else if (name != "build" && !name.starts_with("."))
        {
            std::for_each(fs::recursive_directory_iterator(top), fs::recursive_directory_iterator(), add);
        }
    }
    std::sort(pages.begin(), pages.end());
    return pages;
}

std::vector<PageBlock> BlocksOfPage(const std::string &page)
{
    std::ifstream stream(SourceDirectory() / page);
    if (!stream)
    {
        throw std::runtime_error("no such page: " + page);
    }
    BlockReader reader(page);
    for (std::string line; std::getline(stream, line);)
    {
        reader.Take(line);
    }
    return reader.Blocks();
}
} // namespace Keld::Test
