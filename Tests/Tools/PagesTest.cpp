#include "Support/PageBlocks.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

// What the pages tell to type is typed here, and what they tell to compile is compiled. A block that cannot be run in a
// test stands in `LeftBlocks` with its whole text and a reason, so that none is left out unseen.
namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

// What a block needs that its page takes for granted. It is found by its page and first line.
struct Surroundings
{
    const char *page;
    const char *firstLine;
    const char *commands; // run before it
    const char *head;     // text before that of a program
    const char *tail;     // and behind it
};

const std::array<Surroundings, 4> KnownSurroundings = {{
    {"README.md", "Scripts/install-packages demo",
     // Nothing is installed outside of this directory, and the build of which this test is a part is installed.
     "mkdir Scripts && printf '#!/bin/sh\\n' >Scripts/install-packages && chmod +x Scripts/install-packages\n"
     "sudo() { \"$@\"; }\n"
     "ldconfig() { :; }\n"
     "cmake() {\n"
     "    case $1 in\n"
     "    -S) command cmake -S \"$SOURCE\" \"${@:3}\" >/dev/null ;;\n"
     "    --build) test -f \"$2/build.ninja\" ;;\n"
     "    *) for part in Library Development; do\n"
     "           command cmake --install \"$BUILD\" --prefix \"$PWD/local\" --component $part >/dev/null\n"
     "       done ;;\n"
     "    esac\n"
     "}\n"
     "export PKG_CONFIG_PATH=$PWD/local/$LIBRARIES/pkgconfig\n",
     "", ""},
    {"README.md",
     "morv pack art --root /srv/MORV --project client --release 1.0.0.0 --storage archive --compression zlib \\",
     "mkdir -p art/config data\n"
     "seq 1 3000 >art/table.txt\n"
     "echo 'width = 1' >art/config/video.ini\n"
     "echo ringing >art/bell.ogg\n"
     "echo old >art/table.bak\n"
     "echo more >data/more.txt\n"
     "morv pack data --root /srv/MORV --project data --release 1.2.0.3\n",
     "", ""},
    {"Bindings/Python/README.md", "import keldmorv",
     "morv pack \"$SOURCE/Examples/sample\" --root /srv/MORV --project client --release 1.0.0.0\n", "", ""},
    {"Docs/Tool.md", "TreeReader::TreeSet trees;", "",
     "#include \"Tools/TreeReader/TreeError.h\"\n"
     "#include \"Tools/TreeReader/TreeSet.h\"\n"
     "namespace Keld\n{\n"
     "bool IsThere(const std::string &reference, const std::string &directory)\n{\n",
     "return static_cast<bool>(hit);\n}\n}\n"},
}};

struct LeftBlock
{
    const char *page;
    const char *text;
    const char *reason;
};

const std::array<LeftBlock, 9> LeftBlocks = {{
    {"README.md",
     "./demo           packs Examples/sample in every storage and reads it back, a delta release and a solution "
     "included\n"
     "./test           builds and passes the tests with g++, and with clang++ and the sanitizers, and runs "
     "clang-tidy\n"
     "./test ci-gcc    one of them: ci-gcc, asan, tsan, tidy; or another: ci-clang, debug, or arm64 in an emulator\n",
     "the demonstration has a test of its own below, and ./test is what runs this one"},
    {"CONTRIBUTING.md",
     "./test ci-gcc                            # installs what is missing, builds with g++, runs every test\n"
     "./test                                   # then clang++ with the sanitizers, and clang-tidy, as CI does\n"
     "cmake --preset debug && cmake --build --preset debug && ctest --preset debug -R ArchiveFile\n",
     "this is what runs this test"},
    {"Docs/Reliability.md", "build/ci-gcc/Tests/Oracle/KeldOracle --calls 10000000 --seed 7\n",
     "a quarter of an hour; every build makes a hundred thousand calls"},
    {"Docs/Reliability.md", "Fuzz/run 600\n", "hours of fuzzing; every build replays the corpora"},
    {"Docs/Reliability.md",
     "build/ci-gcc/Tests/Load/KeldLoad --seconds 300\n"
     "valgrind --error-exitcode=9 build/ci-gcc/Tests/Load/KeldLoad --seconds 10\n",
     "many minutes; every build runs it for seconds"},
    {"Docs/Reliability.md",
     "env KELD_WHOLE_MATRIX=1 build/ci-gcc/Tests/Faults/KeldFaultTests --gtest_filter='*FaultTest*'\n",
     "many minutes; every build runs its short form"},
    {"Docs/Reliability.md",
     "env KELD_WHOLE_MATRIX=1 build/ci-gcc/Tests/Faults/KeldFaultTests --gtest_filter='ToolKillTest.*'\n",
     "minutes; every build runs its short form"},
    {"Fuzz/README.md",
     "Fuzz/run 600                # each of them for ten minutes\n"
     "Fuzz/run 1800 TreeFuzzer    # one alone\n"
     "Fuzz/run --plain 600        # without sanitizers, up to twice as fast; what it learns counts for both\n"
     "Fuzz/run --table            # what all runs so far have done\n",
     "a build of its own, and minutes of fuzzing; every build replays the corpora"},
    {"Tests/Consumer/WholeTrace/README.md",
     "ninja -C build/ci-gcc KeldWriteTraces\n"
     "build/ci-gcc/Tests/Consumer/WholeTrace/KeldWriteTraces kept Tests/Consumer/WholeTrace/Golden\n"
     "git diff --stat Tests/Consumer/WholeTrace/Golden\n",
     "writes into the sources"},
}};

const fs::path Programs = fs::path(KELD_MORV_PROGRAM).parent_path();

std::vector<std::string> FirstWordsOf(const std::string &text)
{
    std::vector<std::string> words;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
    {
        words.push_back(line.substr(0, line.find(' ')));
    }
    return words;
}

bool IsProgram(const std::string &word)
{
    if (word.find('/') != std::string::npos)
    {
        return fs::is_regular_file(SourceDirectory() / word);
    }
    std::istringstream folders(Programs.string() + ":" + std::getenv("PATH"));
    bool isProgram = false;
    for (std::string folder; !word.empty() && std::getline(folders, folder, ':');)
    {
        isProgram = isProgram || fs::is_regular_file(fs::path(folder) / word);
    }
    return isProgram;
}

// What the fence says; an indented block is one of commands where a line of it begins with a program.
std::string LanguageOf(const PageBlock &block)
{
    if (block.isFenced)
    {
        return block.language;
    }
    const std::vector<std::string> words = FirstWordsOf(block.text);
    return std::any_of(words.begin(), words.end(), IsProgram) ? "sh" : "";
}

bool IsLeft(const PageBlock &block)
{
    return std::any_of(LeftBlocks.begin(), LeftBlocks.end(),
                       [&block](const LeftBlock &left)
                       {
                           return block.page == left.page && block.text == left.text;
                       });
}

Surroundings SurroundingsOf(const PageBlock &block)
{
    for (const Surroundings &known : KnownSurroundings)
    {
        if (block.page == known.page && block.text.starts_with(std::string(known.firstLine) + "\n"))
        {
            return known;
        }
    }
    return {"", "", "", "", ""};
}

// What runs or compiles a program that stands in the file "example.<ending>".
struct Language
{
    const char *name;
    const char *ending;
    const char *command;
};

const std::array<Language, 3> Languages = {{
    {"c", "c", "cc -std=c99 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I \"$HEADERS\" example.c\n"},
    {"cpp", "cpp",
     "c++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I \"$SOURCE\" -I \"$SOURCE/Game/Core\" example.cpp\n"},
    {"python", "py", "PYTHONPATH=$SOURCE/Bindings/Python PYTHONDONTWRITEBYTECODE=1 python3 example.py\n"},
}};

// The commands that run a block, or none if it is one to look at alone.
std::string CommandsOf(const PageBlock &block)
{
    const Surroundings around = SurroundingsOf(block);
    const std::string start = "echo 'the block at line " + std::to_string(block.line) + "'\n" + around.commands;
    const std::string name = LanguageOf(block);
    if (name == "sh")
    {
        return start + block.text;
    }
    const auto *const language = std::find_if(Languages.begin(), Languages.end(),
                                              [&name](const Language &known)
                                              {
                                                  return name == known.name;
                                              });
    if (language == Languages.end())
    {
        return "";
    }
    return start + "cat >example." + language->ending + " <<'END OF THE BLOCK'\n" + around.head + block.text +
           around.tail + "END OF THE BLOCK\n" + language->command;
}

void ReplaceAll(std::string &text, const std::string &from, const std::string &to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    {
        text.replace(at, from.size(), to);
    }
}

// Runs all blocks of a page that are chosen, one after the other, in a directory of its own.
template <class Choice>
void RunBlocks(const std::string &page, const Choice &isChosen)
{
    std::string commands;
    for (const PageBlock &block : BlocksOfPage(page))
    {
        if (!IsLeft(block) && isChosen(LanguageOf(block), block))
        {
            commands += CommandsOf(block);
        }
    }
    if (commands.empty())
    {
        return;
    }
    const TempTree tree;
    ReplaceAll(commands, "/srv/MORV", tree.Path("srv/MORV"));
    tree.Write("commands", "set -euo pipefail\n"
                           "export SOURCE='" +
                               SourceDirectory().string() + "' PATH='" + Programs.string() + "':\"$PATH\"\n" +
                               "export BUILD='" KELD_BUILD "' LIBRARIES='" KELD_LIBRARIES "' HEADERS='" KELD_HEADERS
                               "' LD_LIBRARY_PATH='" KELD_LIBRARY_FOLDER "'\n" +
                               commands);
    tree.MakeDirectory("work");
    const std::string command = "cd '" + tree.Root() + "/work' && bash ../commands >../log 2>&1 </dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << page << "\n" << tree.Read("log");
}

// The commands of the tool alone: others need a library, or a compiler, that this build may not be fit for.
bool IsForTheTool(const std::string &language, const PageBlock &block)
{
    return language == "sh" && block.text.find("morv ") != std::string::npos;
}

TEST(PagesTest, EveryCommandOfTheToolDoesWhatThePagesSay)
{
    for (const std::string &page : DocumentationPages())
    {
        RunBlocks(page, IsForTheTool);
    }
}

TEST(PagesTest, EveryBlockSaysWhatItIs)
{
    const std::array<std::string, 6> known = {"sh", "c", "cpp", "python", "text", "hexdump"};
    for (const std::string &page : DocumentationPages())
    {
        for (const PageBlock &block : BlocksOfPage(page))
        {
            if (block.isFenced)
            {
                EXPECT_NE(std::find(known.begin(), known.end(), block.language), known.end())
                    << page << ":" << block.line << ": \"" << block.language << "\"";
            }
            else if (LanguageOf(block).empty())
            {
                // Then it is a list of files.
                for (const std::string &word : FirstWordsOf(block.text))
                {
                    EXPECT_TRUE(fs::exists(SourceDirectory() / word)) << page << ":" << block.line << ": " << word;
                }
            }
        }
    }
}

TEST(PagesTest, EveryExceptionStandsInAPage)
{
    std::size_t left = 0;
    std::size_t surrounded = 0;
    for (const std::string &page : DocumentationPages())
    {
        for (const PageBlock &block : BlocksOfPage(page))
        {
            left += IsLeft(block) ? 1u : 0u;
            surrounded += *SurroundingsOf(block).page != '\0' ? 1u : 0u;
        }
    }
    EXPECT_EQ(left, LeftBlocks.size());
    EXPECT_EQ(surrounded, KnownSurroundings.size());
}

#ifdef KELD_TEST_PROGRAMS
TEST(PagesTest, EveryOtherCommandAndProgramOfThePagesWorks)
{
    for (const std::string &page : DocumentationPages())
    {
        RunBlocks(page,
                  [](const std::string &language, const PageBlock &block)
                  {
                      return !IsForTheTool(language, block);
                  });
    }
}

TEST(PagesTest, TheDemonstrationRuns)
{
    const TempTree tree;
    const std::string command =
        "'" + (SourceDirectory() / "demo").string() + "' '" KELD_BUILD "' >'" + tree.Path("log") + "' 2>&1 </dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0) << tree.Read("log");
}
#endif
} // namespace
} // namespace Keld::Test
