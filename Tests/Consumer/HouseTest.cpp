#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

const fs::path Core = fs::path(KELD_SOURCE) / "Game/Core";

// How high a folder stands. Includes point down or sideways, never up.
std::optional<int> HeightOf(const std::string &path)
{
    static const std::map<std::string, int> reader = {
        {"blocks", 2}, {"archive", 3}, {"listing", 4}, {"environment", 5}, {"Public", 6}};
    if (path.starts_with("KeldFoundation/"))
    {
        return 0;
    }
    if (!path.starts_with("KeldMorvIO/"))
    {
        return std::nullopt;
    }
    const std::string rest = path.substr(std::string("KeldMorvIO/").size());
    const std::size_t separator = rest.find('/');
    if (separator == std::string::npos)
    {
        return 1;
    }
    const auto folder = reader.find(rest.substr(0, separator));
    return folder != reader.end() ? std::optional<int>(folder->second) : std::nullopt;
}

std::vector<fs::path> SourceFiles()
{
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(Core))
    {
        const std::string extension = entry.path().extension().string();
        if (extension == ".h" || extension == ".cpp" || extension == ".c")
        {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The paths in quotes of a file's include lines.
std::vector<std::string> IncludesOf(const fs::path &file)
{
    std::vector<std::string> includes;
    std::ifstream stream(file);
    const std::string start = "#include \"";
    for (std::string line; std::getline(stream, line);)
    {
        if (line.starts_with(start))
        {
            includes.push_back(line.substr(start.size(), line.rfind('"') - start.size()));
        }
    }
    return includes;
}

std::string ContentOf(const fs::path &file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// The units outside the standard-call layer that hold a text.
std::vector<std::string> UnitsAboveTheLayerWith(const std::string &text)
{
    std::vector<std::string> units;
    for (const fs::path &file : SourceFiles())
    {
        const std::string name = fs::relative(file, Core).string();
        const bool above = file.extension() == ".cpp" && !name.starts_with("KeldFoundation/CStd/");
        if (above && ContentOf(file).find(text) != std::string::npos)
        {
            units.push_back(name);
        }
    }
    return units;
}

TEST(HouseTest, IncludesPointDown)
{
    int looked = 0;
    for (const fs::path &file : SourceFiles())
    {
        const std::string name = fs::relative(file, Core).string();
        const std::optional<int> height = HeightOf(name);
        ASSERT_TRUE(height.has_value()) << name << " lies in a folder that has no place in the house";
        for (const std::string &include : IncludesOf(file))
        {
            const std::optional<int> included = HeightOf(include);
            ASSERT_TRUE(included.has_value()) << name << " includes " << include;
            EXPECT_LE(*included, *height) << name << " includes " << include << " from above";
            EXPECT_TRUE(fs::exists(Core / include)) << name << " includes " << include;
            ++looked;
        }
    }
    EXPECT_GT(looked, 100);
}

TEST(HouseTest, PublicHeadersLeanOnNothingThatIsNotInstalled)
{
    const std::vector<std::string> installed = {"KeldFoundation/logger/IKeldLogger.h",
                                                "KeldFoundation/logger/IKeldLogTarget.h"};
    int headers = 0;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(KELD_PUBLIC_INCLUDE))
    {
        if (!entry.is_regular_file())
        {
            continue;
        }
        ++headers;
        std::ifstream stream(entry.path());
        for (std::string line; std::getline(stream, line);)
        {
            EXPECT_EQ(line.find("boost"), std::string::npos) << entry.path() << ": " << line;
        }
        for (const std::string &include : IncludesOf(entry.path()))
        {
            EXPECT_TRUE(fs::exists(fs::path(KELD_PUBLIC_INCLUDE) / include)) << entry.path() << " includes " << include;
        }
    }
    for (const std::string &header : installed)
    {
        EXPECT_TRUE(fs::exists(fs::path(KELD_PUBLIC_INCLUDE) / header)) << header;
    }
    EXPECT_GE(headers, 3);
}

TEST(HouseTest, EverySourceFileIsNamedInTheBuildOfItsFolder)
{
    for (const fs::path &file : SourceFiles())
    {
        if (file.extension() != ".cpp")
        {
            continue;
        }
        const std::string build = ContentOf(file.parent_path() / "CMakeLists.txt");
        EXPECT_NE(build.find(file.filename().string()), std::string::npos) << file;
    }
}

// The call keeps its path in one buffer of the process, without a lock.
TEST(HouseTest, TheFileProviderAloneAsksForAccess)
{
    EXPECT_EQ(UnitsAboveTheLayerWith("std_access("),
              std::vector<std::string>{"KeldFoundation/file/SparseFileProvider.cpp"});
    EXPECT_EQ(UnitsAboveTheLayerWith("std_fopen_shared("), std::vector<std::string>{});
}

TEST(HouseTest, TheStandardCallLayerAloneAsserts)
{
    EXPECT_EQ(UnitsAboveTheLayerWith("KELD_ASSERT("), std::vector<std::string>{});
}
} // namespace
} // namespace Keld::Test
