#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Keld::Test
{
/// A block of a documentation page: what is shown as it would be typed, compiled or found in a file.
struct PageBlock
{
    std::string page;      // relative to the project's own root
    int line;              // that its text begins in, from 1
    std::string language;  // what its fence says; empty where it says nothing, and where there is no fence
    bool isFenced = false; // else it is indented by four blanks
    std::string text;      // without fence and indent, each line with its end
};

/// The project's own root.
std::filesystem::path SourceDirectory();

/// All pages of the project, relative to its root: what it keeps as *.md, nothing that was built.
std::vector<std::string> DocumentationPages();

/// All blocks of a page, from top to bottom. Throws where a fence stays open.
std::vector<PageBlock> BlocksOfPage(const std::string &page);
} // namespace Keld::Test
