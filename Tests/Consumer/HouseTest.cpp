#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

const fs::path SourceRoot = KELD_SOURCE;

// The floors of the house, from the ground up. A file includes from its own folder and from the floors below, never
// from above and never from a neighbour on its floor.
const std::vector<std::vector<std::string>> Floors = {
    {"Game/Core/KeldFoundation/CStd"},
    {"Game/Core/KeldFoundation/CStd/Further", "Game/Core/KeldFoundation/sync", "Game/Core/KeldFoundation/version",
     "Game/Core/KeldFoundation/path"},
    {"Game/Core/KeldFoundation/counters", "Game/Core/KeldFoundation/file"},
    {"Game/Core/KeldFoundation/logger"},      // counts its warnings
    {"Game/Core/KeldMorvIO", "Tools/Common"}, // the latter knows nothing of the reader
    {"Game/Core/KeldMorvIO/blocks"},
    {"Game/Core/KeldMorvIO/archive"},
    {"Game/Core/KeldMorvIO/listing"},
    {"Game/Core/KeldMorvIO/environment"},
    {"Game/Core/KeldMorvIO/Public"},
    {"Tools/TreeReader"},
    // What look at the releases that are there through the reading core: the mount shows one as a file system.
    {"Tools/TreeWriter", "Tools/TreeChecker", "Tools/TreeMount"},
    // What brings releases from tree to tree: reads, proves, writes.
    {"Tools/Delivery/Text", "Tools/Delivery/Keys"},
    {"Tools/Delivery/Sums", "Tools/Delivery/Arrival"},
    {"Tools/Delivery/Bundles", "Tools/Delivery/Sources"},
    {"Tools/Delivery/Fetch"},
    {"Tools/Delivery/Repair"},
    {"Tools/morv"},
    {"Tools/morv/Manual"}, // reads what the commands say of themselves
};

std::string FolderOf(const std::string &path)
{
    return fs::path(path).parent_path().string();
}

// The floor of the folder that a file lies in.
std::optional<std::size_t> FloorOf(const std::string &path)
{
    for (std::size_t floor = 0; floor < Floors.size(); ++floor)
    {
        const std::vector<std::string> &folders = Floors[floor];
        if (std::find(folders.begin(), folders.end(), FolderOf(path)) != folders.end())
        {
            return floor;
        }
    }
    return std::nullopt;
}

// The sources of library and tools, as paths from the root of the tree.
std::vector<std::string> SourceFiles()
{
    std::vector<std::string> files;
    for (const char *const part : {"Game/Core", "Tools"})
    {
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(SourceRoot / part))
        {
            const std::string extension = entry.path().extension().string();
            if (extension == ".h" || extension == ".cpp" || extension == ".c")
            {
                files.push_back(fs::relative(entry.path(), SourceRoot).string());
            }
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

// The library's includes are written from Game/Core, the tools' from the root.
std::string FileOfInclude(const std::string &include)
{
    return include.starts_with("Tools/") ? include : "Game/Core/" + include;
}

std::string ContentOf(const fs::path &file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// The files below `folder` and outside of the standard-call layer in which a pattern stands.
std::vector<std::string> FilesAboveTheLayerWith(const std::string &pattern, const std::string &folder)
{
    const std::regex wanted(pattern);
    std::vector<std::string> files;
    for (const std::string &file : SourceFiles())
    {
        const bool above = file.starts_with(folder) && !file.starts_with("Game/Core/KeldFoundation/CStd/");
        if (above && std::regex_search(ContentOf(SourceRoot / file), wanted))
        {
            files.push_back(file);
        }
    }
    return files;
}

TEST(HouseTest, IncludesPointDown)
{
    int looked = 0;
    for (const std::string &file : SourceFiles())
    {
        const std::optional<std::size_t> floor = FloorOf(file);
        ASSERT_TRUE(floor.has_value()) << file << " lies in a folder that has no place in the house";
        for (const std::string &include : IncludesOf(SourceRoot / file))
        {
            const std::string included = FileOfInclude(include);
            ASSERT_TRUE(FloorOf(included).has_value()) << file << " includes " << include;
            EXPECT_TRUE(*FloorOf(included) < *floor || FolderOf(included) == FolderOf(file))
                << file << " includes " << include << ", which does not lie below it";
            EXPECT_FALSE(file.starts_with("Game/") && included.starts_with("Tools/"))
                << file << " includes " << include;
            EXPECT_TRUE(fs::exists(SourceRoot / included)) << file << " includes " << include;
            ++looked;
        }
    }
    EXPECT_GT(looked, 400);
}

// The library reaches what it calls of the layer through CStd itself; Further is for whoever wants the whole layer.
TEST(HouseTest, NothingButTheFurtherCallsThemselvesIncludesThem)
{
    EXPECT_EQ(FilesAboveTheLayerWith("#include \"KeldFoundation/CStd/Further/", ""), std::vector<std::string>{});
}

// A room: a header and the source of its name.
std::string RoomOf(const std::string &file)
{
    return fs::path(file).replace_extension().string();
}

// The rooms of the house, each with those that it includes.
std::map<std::string, std::set<std::string>> Rooms()
{
    std::map<std::string, std::set<std::string>> rooms;
    for (const std::string &file : SourceFiles())
    {
        std::set<std::string> &included = rooms[RoomOf(file)];
        for (const std::string &include : IncludesOf(SourceRoot / file))
        {
            included.insert(RoomOf(FileOfInclude(include)));
        }
        included.erase(RoomOf(file));
    }
    return rooms;
}

// All that a room includes, directly or through others.
std::set<std::string> ReachOf(const std::string &room, const std::map<std::string, std::set<std::string>> &rooms)
{
    std::set<std::string> reach;
    std::vector<std::string> pending = {room};
    while (!pending.empty())
    {
        const auto found = rooms.find(pending.back());
        pending.pop_back();
        if (found == rooms.end())
        {
            continue;
        }
        for (const std::string &included : found->second)
        {
            if (reach.insert(included).second)
            {
                pending.push_back(included);
            }
        }
    }
    return reach;
}

TEST(HouseTest, NoRoomIncludesItselfThroughOthers)
{
    const std::map<std::string, std::set<std::string>> rooms = Rooms();
    EXPECT_GT(rooms.size(), 100U);
    for (const auto &[room, included] : rooms)
    {
        EXPECT_FALSE(ReachOf(room, rooms).contains(room)) << room;
    }
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
            const bool isInstalled =
                fs::exists(fs::path(KELD_PUBLIC_INCLUDE) / include) || fs::exists(entry.path().parent_path() / include);
            EXPECT_TRUE(isInstalled) << entry.path() << " includes " << include;
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
    for (const std::string &name : SourceFiles())
    {
        const fs::path file = SourceRoot / name;
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
    EXPECT_EQ(FilesAboveTheLayerWith("std_access\\(", ""),
              std::vector<std::string>{"Game/Core/KeldFoundation/file/SparseFileProvider.cpp"});
}

// The standard's own assertion vanishes where NDEBUG is defined.
TEST(HouseTest, TheStandardCallLayerAloneAssertsAndNobodyByTheStandardsMacro)
{
    EXPECT_EQ(FilesAboveTheLayerWith("KELD_ASSERT\\(", ""), std::vector<std::string>{});
    for (const std::string &file : SourceFiles())
    {
        const std::string content = ContentOf(SourceRoot / file);
        EXPECT_FALSE(std::regex_search(content, std::regex("(^|[^\\w])assert\\("))) << file;
        EXPECT_EQ(content.find("<cassert>"), std::string::npos) << file;
        EXPECT_EQ(content.find("<assert.h>"), std::string::npos) << file;
    }
}

TEST(HouseTest, TheLibraryReachesTheCLibraryThroughTheStandardCallLayer)
{
    const std::string calls =
        "(std::|[^\\w:.>])"
        "(mem(chr|cmp|cpy|move|set)|str(n?len|r?chr|str|n?cmp|n?casecmp|n?cpy|n?cat|l(cpy|cat)|tok(_r)?|c?spn|pbrk|"
        "tou?ll?|to[dfk]|error)|v?s?n?printf|v?s?scanf|f(open|close|read|write|gets|puts|seek|tell|flush|eof|printf)|"
        "ferror|setvbuf|[mc]alloc|realloc|free|ato[ifl]+|remove|rename|access|getcwd)\\(";
    EXPECT_EQ(FilesAboveTheLayerWith(calls, "Game/Core/"), std::vector<std::string>{});
}
} // namespace
} // namespace Keld::Test
