#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

const fs::path ManualSource = KELD_SOURCE;

std::string ManualTextOf(const fs::path &file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::vector<fs::path> ManualPages()
{
    std::vector<fs::path> pages;
    for (const fs::directory_entry &entry : fs::directory_iterator(ManualSource / "Docs/Manual"))
    {
        pages.push_back(entry.path());
    }
    return pages;
}

// The lines of a call in a page: its result, its name, and each parameter in quotes.
std::string SynopsisOf(const std::string &result, const std::string &name, const std::string &parameters)
{
    std::string lines = ".Ft " + result + "\n.Fn " + name;
    if (parameters == "void")
    {
        return lines + " void\n";
    }
    const std::string flat = std::regex_replace(parameters, std::regex("\\s+"), " ");
    const std::regex comma(", ");
    for (std::sregex_token_iterator part(flat.begin(), flat.end(), comma, -1), end; part != end; ++part)
    {
        lines += " \"" + part->str() + "\"";
    }
    return lines + "\n";
}

TEST(ManualPagesTest, TellEveryCallAsTheHeaderDeclaresIt)
{
    std::string pages;
    for (const fs::path &page : ManualPages())
    {
        pages += ManualTextOf(page);
    }
    const std::string header = ManualTextOf(ManualSource / "Game/Core/KeldMorvIO/Public/KeldMorvIO.h");
    const std::regex declaration("MORV_EXPORT ([A-Za-z0-9_]+(?: \\*)?) ?(Morv[A-Za-z]+)\\(([^)]*)\\);");
    int calls = 0;
    for (std::sregex_iterator call(header.begin(), header.end(), declaration), end; call != end; ++call)
    {
        const std::string synopsis = SynopsisOf((*call)[1], (*call)[2], (*call)[3]);
        EXPECT_NE(pages.find(synopsis), std::string::npos) << synopsis;
        ++calls;
    }
    EXPECT_EQ(calls, 11);
}

TEST(ManualPagesTest, AreWholeAndReferToPagesThatAreThere)
{
    const std::regex reference("\\.Xr ([A-Za-z-]+) ([1-8])");
    for (const fs::path &page : ManualPages())
    {
        const std::string text = ManualTextOf(page);
        EXPECT_TRUE(text.starts_with(".Dd ")) << page;
        for (std::sregex_iterator match(text.begin(), text.end(), reference), end; match != end; ++match)
        {
            const std::string name = (*match)[1].str() + "." + (*match)[2].str();
            const bool isPage = fs::exists(ManualSource / "Docs/Manual" / name) || name == "morv.1" ||
                                ManualTextOf(ManualSource / "CMake/KeldInstall.cmake").find(name) != std::string::npos;
            EXPECT_TRUE(isPage) << page << " refers to " << name;
        }
    }
}
} // namespace
} // namespace Keld::Test
