#include "Faults/ToolScenario.h"

#include "Tools/Delivery/Keys/PublicKey.h"
#include "Tools/ReleaseReader.h"

#include "Support/ArgumentPointers.h"

#include <openssl/evp.h>

#include <csignal>
#include <filesystem>

/// The tool's main function, under this name in this program.
int MorvMain(int argumentCount, char **arguments);

namespace Keld::Test
{
namespace fs = std::filesystem;

namespace
{
constexpr const char *Root = "work/MORV";
constexpr const char *BadSignature = "a signature over another text";

/// Runs the tool's main function under a plan, and nothing else.
int RunTool(const std::vector<std::string> &arguments, FaultPlan &plan)
{
    std::vector<std::string> words{"morv"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> pointers = ArgumentPointers(words);
    plan.armed = 1;
    const int result = MorvMain(static_cast<int>(words.size()), pointers.data());
    plan.armed = 0;
    return result;
}

/// OpenSSL 3.0 follows null pointers where memory runs out while it gets ready, so it is made ready before.
void PrepareOpenSsl()
{
    EVP_MD *const digest = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    EXPECT_NE(digest, nullptr);
    EVP_MD_free(digest);
}

/// Whether a command that did not succeed said so. libarchive ends the program by itself when memory runs out.
bool HasToldOfFailure(const FaultOutcome &outcome)
{
    return outcome.error.find("morv: ") != std::string::npos || (outcome.exitCode == 1 && !outcome.output.empty()) ||
           outcome.error.find("Fatal Internal Error in libarchive: No memory") != std::string::npos;
}

bool MentionsSanitizer(const std::string &text)
{
    return text.find("Sanitizer") != std::string::npos || text.find("runtime error:") != std::string::npos;
}

/// Where downloads lie until they are whole, something may be left that the next run removes.
bool IsArriving(const std::string &path)
{
    return path.find("MORV/arriving") == 0;
}

std::map<std::string, std::string> WithoutArriving(std::map<std::string, std::string> names)
{
    std::erase_if(names,
                  [](const auto &name)
                  {
                      return IsArriving(name.first);
                  });
    return names;
}

bool Holds(const std::map<std::string, std::string> &names, const std::string &path, const std::string &bytes)
{
    const auto found = names.find(path);
    return found != names.end() && found->second == bytes;
}

/// The first path at which two lists differ, for a message.
std::string FirstDifference(const std::map<std::string, std::string> &left,
                            const std::map<std::string, std::string> &right)
{
    for (const auto &[path, bytes] : left)
    {
        const auto found = right.find(path);
        if (found == right.end())
        {
            return path + " is too much";
        }
        if (found->second != bytes)
        {
            return path + " differs";
        }
    }
    for (const auto &[path, bytes] : right)
    {
        if (left.count(path) == 0)
        {
            return path + " is missing";
        }
    }
    return "";
}
} // namespace

ToolScenarioTest::ToolScenarioTest()
{
    mTree.MakeDirectory("before");
    PrepareOpenSsl();
}

void ToolScenarioTest::CopyTree(const std::string &from, const std::string &to) const
{
    fs::remove_all(mTree.Path(to));
    fs::copy(mTree.Path(from), mTree.Path(to), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

FaultOutcome ToolScenarioTest::Run(const FaultPlan &plan, const std::vector<std::string> &arguments) const
{
    return RunUnder(plan,
                    [&](FaultPlan &shared)
                    {
                        return RunTool(arguments, shared);
                    });
}

void ToolScenarioTest::MustRun(const std::vector<std::string> &arguments) const
{
    const FaultOutcome outcome = Run(CountingPlan(), arguments);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.Text();
}

ToolScenarioTest::Names ToolScenarioTest::ListNames(const std::string &place) const
{
    Names names;
    for (const auto &entry : fs::recursive_directory_iterator(mTree.Path(place)))
    {
        const std::string path = entry.path().lexically_relative(mTree.Path(place)).string();
        names[path] = entry.is_symlink()        ? "-> " + fs::read_symlink(entry.path()).string()
                      : entry.is_regular_file() ? ReadFile(place + "/" + path)
                                                : "/";
    }
    return names;
}

std::string ToolScenarioTest::ReadFile(const std::string &path) const
{
    constexpr std::string_view ending = ".minisig";
    std::string bytes = mTree.Read(path);
    if (!path.ends_with(ending))
    {
        return bytes;
    }
    const std::string list = path.substr(0, path.size() - ending.size());
    const std::string text = mTree.Read(list);
    const auto key = Delivery::PublicKey::Load("key.pub", mTree.Root());
    return key && key->Check(text, bytes, path) ? "signs " + text : BadSignature;
}

ToolScenarioTest::Releases ToolScenarioTest::ReadReleases() const
{
    Releases releases;
    for (const char *release :
         {"projects/game/releases/1.0.0.0", "projects/game/releases/1.0.0.1", "projects/game/releases/1.0.0.2",
          "projects/extra/releases/1.0.0.0", "solutions/suite/releases/0.0.1.0"})
    {
        const std::string place = std::string(Root) + "/" + release;
        Names &content = releases[release];
        if (!mTree.Exists(place + "/releasemanifest") && !mTree.Exists(place + "/solutionmanifest"))
        {
            continue;
        }
        const ReleaseReader reader(mTree.Path(place));
        content["started"] = reader.IsStarted() ? "yes" : "no";
        for (const auto &[path, size] : reader.FindAll())
        {
            content["file " + path] = reader.Read(path);
        }
    }
    return releases;
}

/// Runs the command where nothing fails, and keeps what was before and what is then. Gives what it called.
FaultPlan ToolScenarioTest::Prepare(const ToolScenario &scenario)
{
    CopyTree("before", "work");
    mBefore = ListNames("work");
    mReleasesBefore = ReadReleases();
    CopyTree("before", "work"); // the library deletes the indexes that a scenario damaged
    const FaultOutcome outcome = Run(CountingPlan(), scenario.arguments);
    EXPECT_EQ(outcome.exitCode, 0) << scenario.name << ": " << outcome.Text();
    mAfter = ListNames("work");
    mReleasesAfter = ReadReleases();
    EXPECT_EQ(mBefore == mAfter, scenario.onlyReads) << scenario.name;
    return outcome.plan;
}

std::string ToolScenarioTest::JudgeFault(const ToolScenario &scenario, const FaultOutcome &outcome)
{
    if (outcome.signal != 0 || outcome.exitCode > 2 || MentionsSanitizer(outcome.error))
    {
        return "crash";
    }
    if (outcome.plan.injected == 1)
    {
        const bool isToldOf = outcome.exitCode == 0 || HasToldOfFailure(outcome);
        return isToldOf ? JudgeRun(scenario, outcome) : "fails without a word";
    }
    const bool isDone = outcome.exitCode == 0 && ListNames("work") == mAfter;
    return isDone ? "" : "does not do all though nothing failed";
}

std::string ToolScenarioTest::JudgeInterrupt(const ToolScenario &scenario, const FaultOutcome &outcome)
{
    const bool isDone = outcome.signal == 0 && outcome.exitCode == 0;
    if (outcome.signal != SIGINT && !isDone)
    {
        return "ends otherwise";
    }
    for (const auto &[path, bytes] : ListNames("work"))
    {
        if (mBefore.count(path) == 0 && mAfter.count(path) == 0 && !(scenario.goesOn && IsArriving(path)))
        {
            return path + " is left over";
        }
    }
    return JudgeRun(scenario, outcome);
}

std::string ToolScenarioTest::JudgeRun(const ToolScenario &scenario, const FaultOutcome &outcome)
{
    const Names names = ListNames("work");
    const State &state = LookAt(scenario, names);
    if (!state.wrong.empty())
    {
        return state.wrong;
    }
    const bool isWhole = names == mAfter;
    const bool isNew = scenario.isDamaged ? WithoutArriving(names) == mAfter : state.releases == mReleasesAfter;
    if (outcome.exitCode == 0 && !isNew)
    {
        return "says that all is done";
    }
    return isWhole && outcome.exitCode == 0 ? "" : JudgeNextRun(scenario, isNew);
}

/// Where the very same files were seen before, nobody reads them again.
const ToolScenarioTest::State &ToolScenarioTest::LookAt(const ToolScenario &scenario, const Names &names)
{
    const auto [seen, isFirst] = mSeen.try_emplace(names);
    if (isFirst)
    {
        seen->second = JudgeState(scenario, names);
    }
    return seen->second;
}

/// No file is gone or changed that both have, and no signature is over another text.
std::string ToolScenarioTest::JudgeNames(const ToolScenario &scenario, const Names &names) const
{
    for (const auto &[path, bytes] : mBefore)
    {
        if (bytes == "/" || !Holds(mAfter, path, bytes) || Holds(names, path, bytes))
        {
            continue;
        }
        // While a release is replaced, its folders may be links to where they wait.
        const std::string place = "work/" + path;
        if (!mTree.Exists(place) || ReadFile(place) != bytes)
        {
            return path + (mTree.Exists(place) ? " has other bytes" : " is lost");
        }
    }
    for (const auto &[path, bytes] : names)
    {
        if (bytes == BadSignature)
        {
            return path + " is " + bytes;
        }
        if (scenario.isDamaged && !IsArriving(path) && !Holds(mBefore, path, bytes) && !Holds(mAfter, path, bytes))
        {
            return path + " is neither what it was nor what it is to be";
        }
    }
    return "";
}

/// The old release or the new one is seen whole.
ToolScenarioTest::State ToolScenarioTest::JudgeState(const ToolScenario &scenario, const Names &names) const
{
    State state{JudgeNames(scenario, names), {}};
    // To look at what is damaged through the library would delete it.
    if (!state.wrong.empty() || scenario.isDamaged)
    {
        return state;
    }
    if (mTree.Exists(Root))
    {
        TreeReader::Tree tree(mTree.Path(Root));
        const TreeChecker::CheckReport report = TreeChecker::CheckWholeTree(tree, {});
        if (!report.IsWhole())
        {
            const TreeReader::Fault &fault = report.faults.front().fault;
            state.wrong = "verify finds: " + fault.path + ": " + fault.text;
            return state;
        }
    }
    state.releases = ReadReleases();
    for (const auto &[release, content] : state.releases)
    {
        if (content != mReleasesBefore.at(release) && content != mReleasesAfter.at(release))
        {
            state.wrong = release + " is neither the old one nor the new one";
        }
    }
    return state;
}

/// The next run brings what the first was to bring, and leaves nothing else.
std::string ToolScenarioTest::JudgeNextRun(const ToolScenario &scenario, bool wasDone) const
{
    const bool same = !wasDone || scenario.again.empty();
    const FaultOutcome next = Run(CountingPlan(), same ? scenario.arguments : scenario.again);
    if (next.exitCode != 0)
    {
        return "the next run fails: " + next.Text();
    }
    const std::string difference = FirstDifference(ListNames("work"), mAfter);
    return difference.empty() ? "" : "after the next run " + difference;
}
} // namespace Keld::Test
