#include "Tools/DamagedTwins.h"
#include "Tools/ReleaseReader.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/morv/Json.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

namespace Keld::Test
{
namespace
{
using Morv::Json;

constexpr const char *CannotBeOpened = "<cannot be opened>";
constexpr std::string_view ProjectPlaces = "MORV/projects/";

std::string ProjectOf(const std::string &place)
{
    return place.substr(ProjectPlaces.size(), place.find('/', ProjectPlaces.size()) - ProjectPlaces.size());
}

/// What the library says of a path, by its exported calls alone.
struct LibraryAnswer
{
    bool exists = false;
    bool hasDirectory = false; ///< in any project
    std::string content;       ///< in angle brackets where it cannot be had
};

/// The bytes of a text that stands in a document.
std::string BytesOf(const Json &value)
{
    if (value.is_string())
    {
        return value.get<std::string>();
    }
    const auto escaped = value["escaped"].get<std::string>();
    std::string bytes;
    for (std::size_t at = 0; at < escaped.size(); ++at)
    {
        const bool isByte = escaped.compare(at, 2, "\\x") == 0;
        bytes += isByte ? static_cast<char>(std::stoi(escaped.substr(at + 2, 2), nullptr, 16))
                        : escaped[escaped[at] == '\\' ? ++at : at];
        at += isByte ? 3 : 0;
    }
    return bytes;
}

using LibraryAnswers = std::map<std::string, LibraryAnswer>;

LibraryAnswers AskLibrary(const std::string &workingDirectory, const std::set<std::string> &paths)
{
    const ReleaseReader library(workingDirectory);
    LibraryAnswers answers;
    for (const std::string &path : paths)
    {
        LibraryAnswer &answer = answers[path];
        answer.exists = library.Exists(path);
        answer.content = answer.exists ? library.Read(path) : CannotBeOpened;
        FindHandle *const search = MorvFindFirstFile((path + "/*").c_str());
        answer.hasDirectory = search != nullptr;
        MorvFindClose(search);
    }
    return answers;
}

/// Holds "morv which" to the library on a random tree with damaged and missing parts.
class WhichAnswersTest : public DamagedTwins
{
protected:
    std::set<std::string> PathsOfAllReleases() const
    {
        std::set<std::string> paths{"a", "data", "b/b", "no such path", "a/b/c"};
        for (const std::string &place : Places())
        {
            const std::string manifest = mTree.Path(place + "/releasemanifest");
            if (!place.starts_with(ProjectPlaces))
            {
                continue;
            }
            const auto tree = TreeReader::ManifestTree::Load(manifest);
            if (!tree)
            {
                continue; // a release that cannot be read lists nothing
            }
            const TreeReader::ReleaseContents contents = TreeReader::MakeContents(**tree);
            for (const TreeReader::ReleaseFile &file : contents.files)
            {
                paths.insert({file.path, TreeReader::FoldPath(file.path), file.path + "x", file.path + "/x"});
            }
            paths.insert(contents.directories.begin(), contents.directories.end());
        }
        return paths;
    }

    Json AskTool(const std::string &place, const std::set<std::string> &paths, bool &answered)
    {
        std::string list;
        for (const std::string &path : paths)
        {
            list += path + '\0';
        }
        mTree.Write("asked", list);
        const std::string directory = mTree.Path(place.substr(0, place.rfind("/deploy")));
        const std::string line = "cd '" + directory + "' && '" KELD_MORV_PROGRAM "' which --json -0 - <'" +
                                 mTree.Path("asked") + "' >'" + mTree.Path("answers") + "' 2>/dev/null";
        const int status = std::system(line.c_str());
        answered = WEXITSTATUS(status) != 2;
        return answered ? Json::parse(mTree.Read("answers"))["paths"] : Json::array();
    }

    void ComparePath(const Json &told, const LibraryAnswer &library)
    {
        ASSERT_EQ(told["found"], library.exists);
        if (!library.exists)
        {
            return;
        }
        const Json &winner = told["winner"];
        if (winner["type"] == "directory")
        {
            EXPECT_TRUE(library.hasDirectory);
            EXPECT_EQ(library.content, CannotBeOpened);
            return;
        }
        if (library.content.starts_with("<"))
        {
            return; // damaged, or compressed with LZMA and behind another such file of its archive
        }
        ASSERT_EQ(winner["size"], library.content.size());
        if (winner.value("compression", "none") == "none")
        {
            // Behind the end of a file that was cut there is nothing to compare.
            const auto place = TreeReader::DiskFile::Open(BytesOf(winner["place"]));
            ASSERT_TRUE(place);
            std::string bytes(library.content.size(), '\0');
            const auto count = place->ReadAt(winner["offset"].get<std::size_t>(), bytes.data(), bytes.size());
            EXPECT_TRUE(*count < bytes.size() || bytes == library.content) << winner;
        }
    }

    /// The projects of the solution in the order in which the library searches them.
    std::vector<std::string> SearchOrder() const
    {
        std::istringstream lines(mTree.Read("MORV/solutions/suite/releases/0.0.1.0/solutionmanifest"));
        std::string line;
        for (int skipped = 0; skipped < 5; ++skipped)
        {
            std::getline(lines, line);
        }
        std::vector<std::pair<int, std::string>> projects;
        std::string version;
        std::string priority;
        std::string flags;
        for (auto count = std::stoi(line); count > 0; --count)
        {
            std::getline(lines, line);
            std::getline(lines, version);
            std::getline(lines, priority);
            std::getline(lines, flags);
            projects.emplace_back(-std::stoi(priority), line);
        }
        std::sort(projects.begin(), projects.end());
        std::vector<std::string> names;
        names.reserve(projects.size());
        for (const auto &project : projects)
        {
            names.push_back(project.second);
        }
        return names;
    }

    /// What each project answers alone decides what wins, merges and is hidden in the solution.
    static std::string ExpectedLayers(const std::vector<std::string> &order,
                                      const std::map<std::string, LibraryAnswers> &byProject, const std::string &path)
    {
        std::string winner;
        std::string merged;
        std::string hidden;
        bool winnerIsDirectory = false;
        for (const std::string &project : order)
        {
            const LibraryAnswer &answer = byProject.at(project).at(path);
            if (!answer.exists)
            {
                continue;
            }
            const std::string word = project + (answer.hasDirectory ? " directory;" : " file;");
            const bool merges = winnerIsDirectory && answer.hasDirectory;
            std::string &kind = winner.empty() ? winner : merges ? merged : hidden;
            winnerIsDirectory = winner.empty() ? answer.hasDirectory : winnerIsDirectory;
            kind += word;
        }
        return winner + " merged " + merged + " hidden " + hidden;
    }

    static std::string LayersOf(const Json &told)
    {
        const auto words = [](const Json &entry)
        {
            return entry["project"].get<std::string>() + " " + entry["type"].get<std::string>() + ";";
        };
        std::string text = told["winner"].is_null() ? "" : words(told["winner"]);
        for (const char *kind : {"merged", "hidden"})
        {
            text += std::string(" ") + kind + " ";
            for (const Json &entry : told[kind])
            {
                text += words(entry);
            }
        }
        return text;
    }

    void Compare(const std::set<std::string> &paths)
    {
        CopyTwin();
        std::map<std::string, LibraryAnswers> byProject;
        Json solution = Json::array();
        for (const std::string &place : Places())
        {
            SCOPED_TRACE(place);
            bool answered = false;
            const Json told = AskTool(place, paths, answered);
            const LibraryAnswers answers = AskLibrary(mTwin.Path(place), paths);
            std::size_t index = 0;
            for (const std::string &path : paths)
            {
                SCOPED_TRACE(path);
                if (answered)
                {
                    ComparePath(told[index++], answers.at(path));
                }
                else
                {
                    EXPECT_FALSE(answers.at(path).exists);
                }
            }
            const bool isProject = place.starts_with(ProjectPlaces);
            solution = isProject ? solution : told;
            byProject[isProject ? ProjectOf(place) : ""] = answers;
        }
        CompareLayers(solution, paths, byProject);
    }

    void CompareLayers(const Json &told, const std::set<std::string> &paths,
                       const std::map<std::string, LibraryAnswers> &byProject)
    {
        const std::vector<std::string> order = SearchOrder();
        auto path = paths.begin();
        for (const Json &answer : told)
        {
            EXPECT_EQ(LayersOf(answer), ExpectedLayers(order, byProject, *path)) << *path;
            ++path;
        }
    }
};

TEST_P(WhichAnswersTest, AreThoseOfTheLibraryOnTreesWithDamage)
{
    const std::set<std::string> paths = PathsOfAllReleases();
    for (const uint32 damage : {0u, 2u, 5u})
    {
        SCOPED_TRACE(damage);
        Damage(damage);
        const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
        Compare(paths);
        EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, WhichAnswersTest, testing::Range(101u, 105u));
} // namespace
} // namespace Keld::Test
