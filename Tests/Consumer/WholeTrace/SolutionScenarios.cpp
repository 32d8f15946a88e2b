// Solutions: several projects as one tree, and text manifests that are cut or odd.

#include "Consumer/WholeTrace/Scenario.h"

#include <algorithm>
#include <cerrno>

namespace Keld::Test::WholeTrace
{
namespace
{
using Texts = std::vector<std::string>;

struct Project
{
    std::string name;
    std::string priority;
    std::vector<TraceFile> files;
    std::vector<std::string> emptyDirectories = {};
};

Texts SolutionLines(const std::vector<Project> &projects)
{
    Texts lines = {"MORV Solution Manifest", "1.0.0.0", "suite", "0.0.1.7", std::to_string(projects.size())};
    for (const Project &project : projects)
    {
        lines.insert(lines.end(), {project.name, "1.0.0.0", project.priority, "0"});
    }
    lines.push_back("0");
    return lines;
}

Texts ConfigurationLines(const Texts &names)
{
    Texts lines = {"MORV Configuration Manifest", "1.0.0.0", "default", std::to_string(names.size())};
    lines.insert(lines.end(), names.begin(), names.end());
    return lines;
}

std::string MakeSolution(TraceTree &tree, const std::vector<Project> &projects)
{
    Texts names;
    for (const Project &project : projects)
    {
        tree.Release({.project = project.name, .files = project.files, .emptyDirectories = project.emptyDirectories});
        names.push_back(project.name);
    }
    return tree.Solution(Lines(SolutionLines(projects)), Lines(ConfigurationLines(names)));
}

void Priorities(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    library.Start(
        MakeSolution(tree, {{"client", "10", {{"both", "client"}, {"only client", "1"}, {"data/x", "client x"}}},
                            {"data", "0x20", {{"both", "data's"}, {"data/x", "x of data"}, {"data/y", "y"}}},
                            {"patch", "010", {{"BOTH", "patched"}, {"data/z", "z", Storage::Zlib}}},
                            {"void", "4294967295", {{"deep/only/void", "void", Storage::Stored}}}}));
    library.ShowDescriptors();
    library.Walk();
    for (const char *const path :
         {"both", "data/x", "data/Y", "data/z", "deep", "deep/only/void/", "nothing", "/", "x"})
    {
        library.Exists(path);
        library.Close(library.Open(path));
    }
    library.Stop();
    library.ShowDescriptors();
}

// A file hides a directory of a project behind it, a file that cannot be opened the one behind it, and a missing
// file does not.
void Hiding(TraceTree &tree, TracedLibrary &library)
{
    TraceFile mismatch{"mismatch", "front", Storage::Stored};
    mismatch.size = 4;
    TraceFile missing{"missing", "", Storage::Naked};
    missing.missing = true;
    library.SetLogger();
    library.Start(MakeSolution(
        tree, {{"front", "9", {{"thing", "a file"}, {"other/inside", "inside"}, mismatch, missing}},
               {"back",
                "1",
                {{"thing/inside", "hidden?"}, {"other", "a file"}, {"mismatch", "back"}, {"missing", "back"}}}}));
    library.Walk();
    for (const char *const path : {"thing", "thing/inside", "other", "other/inside", "mismatch", "missing"})
    {
        library.Exists(path);
        library.Visit(path);
        library.List(std::string(path) + "/*");
    }
}

void Merged(TraceTree &tree, TracedLibrary &library, const std::vector<Texts> &listings)
{
    // A name that ends in '/' is a directory.
    std::vector<Project> projects;
    for (std::size_t index = 0; index < listings.size(); ++index)
    {
        Project project{"project" + std::to_string(index), std::to_string(100 - index), {{"~anchor", "anchor"}}};
        for (const std::string &name : listings[index])
        {
            if (name.ends_with('/'))
            {
                project.emptyDirectories.push_back("d/" + name.substr(0, name.size() - 1));
            }
            else
            {
                project.files.push_back({"d/" + name, std::string(index + 1, 'x')});
            }
        }
        projects.push_back(project);
    }
    library.Start(MakeSolution(tree, projects));
    library.List("d/*");
    library.List("*");
    library.List("d/?");
    library.List("d/*a*");
    library.Stop();
    tree.Remove("MORV");
}

void Enumerations(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    Merged(tree, library, {{"a/", "y"}, {"b/", "x"}});
    Merged(tree, library, {{"x/", "b", "c"}, {"z/"}});
    Merged(tree, library, {{"m"}, {"m/", "p/"}});
    Merged(tree, library, {{"a/"}, {"a"}});
    Merged(tree, library, {{"a"}, {"a/"}});
    Merged(tree, library, {{"a", "b", "c"}, {"A", "B", "d"}, {"a", "bb", "D"}});
    Merged(tree, library, {{"a", "c/"}, {"a/", "b/", "c"}, {"b", "c", "d/"}});
    Merged(tree, library, {{}, {"a/", "b"}, {}});
    Merged(tree, library, {{"zz"}, {"a/", "b/", "zz/"}, {"zy", "zz", "zzz/"}, {"A/", "z/"}});
}

void Equal(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    library.Start(MakeSolution(tree, {{"one", "5", {{"both", "1"}}}, {"two", "5", {{"both", "22"}}}}));
    library.Visit("both");
    library.List("*");
    library.Stop();
    tree.Solution(Lines(SolutionLines({{"one", "5", {}}, {"two", "6", {}}})),
                  Lines(ConfigurationLines({"one", "ONE", "two"})));
    library.Start(tree.Path("MORV/solutions/suite/releases/0.0.1.7/anything/below"));
    library.Visit("both");
    library.List("*");
}

// One project that cannot be loaded refuses the whole solution.
void AllOrNothing(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    const std::string solution =
        MakeSolution(tree, {{"first", "3", {{"a", "a"}}}, {"second", "2", {{"b", "b"}}}, {"third", "1", {{"c", "c"}}}});
    tree.Remove("MORV/projects/second/releases/1.0.0.0/deploy/b");
    library.Start(solution);
    library.Exists("a");
    tree.Remove("MORV/projects/second");
    library.Start(solution);
    tree.Solution(Lines(SolutionLines({{"first", "3", {}}})), Lines(ConfigurationLines({"first", "stranger"})));
    library.Start(solution);
    tree.Solution(Lines(SolutionLines({{"first", "3", {}}})), Lines(ConfigurationLines({})));
    library.Start(solution);
    library.Exists("/");
    library.List("*");
    library.Stop();
    tree.Remove("MORV/solutions/suite/releases/0.0.1.7/configurationmanifest");
    library.Start(solution);
    tree.MakeDirectory("MORV/solutions/suite/releases/0.0.1.7/configurationmanifest");
    library.Start(solution);
    tree.Remove("MORV/solutions/suite/releases/0.0.1.7/solutionmanifest");
    library.Start(solution);
    tree.MakeDirectory("MORV/solutions/suite/releases/0.0.1.7/solutionmanifest");
    library.Start(solution);
}

Texts SampleTexts()
{
    return {"MORV Solution Manifest",
            "1.0.0.0",
            "suite",
            "0.0.1.7",
            "2",
            "client",
            "1.0.0.0",
            "10",
            "0",
            "data",
            "1.0.0.0",
            "0x20",
            "7",
            "1",
            "default",
            "0",
            "2",
            "client",
            "data"};
}

class TextTrials
{
public:
    TextTrials(TraceTree &tree, TracedLibrary &library)
        : mTree(tree), mLibrary(library),
          mDirectory(MakeSolution(tree, {{"client", "10", {{"a", "a"}}}, {"data", "32", {{"a", "from data"}}}}))
    {
    }

    void Solution(const std::string &text) { Try(text, Lines(mConfiguration)); }
    void Configuration(const std::string &text) { Try(Lines(SampleTexts()), text); }

    void Try(const std::string &solution, const std::string &configuration)
    {
        mTree.Solution(solution, configuration);
        if (mLibrary.Start(mDirectory, mLeftOver))
        {
            mLibrary.Visit("a");
        }
        mLibrary.Stop();
    }

    void LeaveOver(int error) { mLeftOver = error; }

private:
    TraceTree &mTree;
    TracedLibrary &mLibrary;
    std::string mDirectory;
    Texts mConfiguration = ConfigurationLines({"client", "data"});
    int mLeftOver = 0;
};

// A text that ends too early is judged by the error number that the thread has left over, which a logger may change.
void CutTexts(TraceTree &tree, TracedLibrary &library, bool keepsErrno, int leftOver)
{
    TextTrials trials(tree, library);
    library.SetLogger(keepsErrno);
    trials.LeaveOver(leftOver);
    const Texts lines = SampleTexts();
    for (std::size_t count = 0; count <= lines.size(); ++count)
    {
        library.Note("solution of " + std::to_string(count) + " lines");
        const std::string whole = Lines(Texts(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(count)));
        trials.Solution(whole);
        if (!whole.empty())
        {
            library.Note("without its last byte");
            trials.Solution(whole.substr(0, whole.size() - 1));
        }
    }
    const Texts chosen = ConfigurationLines({"client", "data"});
    for (std::size_t count = 0; count <= chosen.size(); ++count)
    {
        library.Note("configuration of " + std::to_string(count) + " lines");
        const std::string whole = Lines(Texts(chosen.begin(), chosen.begin() + static_cast<std::ptrdiff_t>(count)));
        trials.Configuration(whole);
        if (!whole.empty())
        {
            library.Note("without its last byte");
            trials.Configuration(whole.substr(0, whole.size() - 1));
        }
    }
}

void OddLines(TraceTree &tree, TracedLibrary &library)
{
    TextTrials trials(tree, library);
    library.SetLogger();
    const auto changed = [](Texts lines, std::size_t line, const std::string &text)
    {
        lines.at(line) = text;
        return lines;
    };
    const std::pair<std::size_t, Texts> changes[] = {
        {0, {"morv solution manifest", "MORV Solution Manifest ", "MORV", ""}},
        {1, {"1.0.0.1", "1.0.0", "one", "1.0.0.0 ", "01.00.0.0", "1.0.0.256"}},
        {2, {"", std::string(1022, 's'), std::string(1023, 's'), std::string(1024, 's'), std::string(3000, 's')}},
        {3, {"", "0.0.1", "x", "255.255.255.255", "256.0.0.0"}},
        {4, {"0", "-1", "3abc", "02", "0x2", "", "1", "3", "99999999999", "2147483647"}},
        {5, {"CLIENT", "data", "", "other", "client "}},
        {6, {"", "1.0.0", "1.0.0.0 ", "2.0.0.0", std::string(300, '1')}},
        {7,
         {"", "0x", "08", "-1", "99999999999", "-99999999999", "10x", " 33", "x", "0xFFFFFFFF", std::string(300, '0')}},
        {8, {"", "flag", "0x10"}},
        {13, {"0", "", "2", "-3", "x"}},
        {14, {"", "DEFAULT", "client"}},
        {16, {"0", "1", "3", "x", "", "0x2", "4000000000"}},
        {17, {"data", "stranger", "CLIENT", ""}}};
    for (const auto &[line, texts] : changes)
    {
        for (const std::string &text : texts)
        {
            library.Note("line " + std::to_string(line) + " of the solution: " + text.substr(0, 20));
            trials.Solution(Lines(changed(SampleTexts(), line, text)));
        }
    }
    const std::pair<std::size_t, Texts> choices[] = {
        {0, {"morv configuration manifest", "MORV Solution Manifest", "", "MORV Configuration Manifest "}},
        {1, {"1.0.0.1", "", "x", "1.0.0.0 "}},
        {2, {"", std::string(1024, 'c')}},
        {3, {"0", "1", "3", "010", "0x2", "x", "", "-1", "60000", "70000", "4294967295", "99999999999"}},
        {4, {"CLIENT", "", "stranger", "data", std::string(2000, 'p')}}};
    for (const auto &[line, texts] : choices)
    {
        for (const std::string &text : texts)
        {
            library.Note("line " + std::to_string(line) + " of the configuration: " + text.substr(0, 20));
            trials.Configuration(Lines(changed(ConfigurationLines({"client", "data"}), line, text)));
        }
    }
    library.Note("other line ends");
    trials.Try(Lines(SampleTexts(), "\r\n"), Lines(ConfigurationLines({"client", "data"}), "\r\n"));
    trials.Try(Lines(SampleTexts(), "\r"), Lines(ConfigurationLines({"client", "data"})));
    trials.Try(Lines(SampleTexts(), "\n\n"), Lines(ConfigurationLines({"client", "data"})));
    trials.Try(Lines(SampleTexts()) + "more\n", Lines(ConfigurationLines({"client", "data"})) + "more\n");
    trials.Try(std::string("MORV Solution Manifest\0\n1.0.0.0\n", 32), Lines(ConfigurationLines({})));
}
} // namespace

std::vector<Scenario> SolutionScenarios()
{
    const auto cut = [](bool keepsErrno, int leftOver)
    {
        return [keepsErrno, leftOver](TraceTree &tree, TracedLibrary &library)
        {
            CutTexts(tree, library, keepsErrno, leftOver);
        };
    };
    return {{"priorities", Priorities},
            {"hiding", Hiding},
            {"enumerations", Enumerations},
            {"equal-priorities", Equal},
            {"all-or-nothing", AllOrNothing},
            {"cut-texts", cut(true, 0)},
            {"cut-texts-with-an-error-left-over", cut(true, EAGAIN)},
            {"cut-texts-with-a-spoiling-logger", cut(false, 0)},
            {"odd-lines", OddLines}};
}
} // namespace Keld::Test::WholeTrace
