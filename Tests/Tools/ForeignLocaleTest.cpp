#include "Tools/PackFixture.h"
#include "Tools/ToolRun.h"

#include "Support/LogRecorder.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <cctype>
#include <cstdlib>

#include <locale.h>

namespace Keld::Test
{
namespace
{
/// One in which letters have other partners than in ASCII.
struct ForeignLocale
{
    const char *language;
    const char *charmap;
    unsigned char upper;
    unsigned char lower; ///< what it makes of that
};

// In Turkish, "I" goes with a letter without a dot. Both have one byte for each letter, so that single bytes change.
constexpr ForeignLocale Foreign[] = {{"tr_TR", "ISO-8859-9", 'I', 0xFD}, {"de_DE", "ISO-8859-1", 0xC4, 0xE4}};

/// A process that chose a language for its messages must find the same files. The locales are made here, since no
/// machine need have them.
class ForeignLocaleTest : public PackFixture
{
protected:
    ForeignLocaleTest()
    {
        mTree.MakeDirectory("locales");
        for (const ForeignLocale &locale : Foreign)
        {
            const std::string make = std::string("localedef --no-archive -i ") + locale.language + " -f " +
                                     locale.charmap + " '" + mTree.Path("locales/") + locale.language + "' >'" +
                                     mTree.Path("log") + "' 2>&1";
            EXPECT_EQ(std::system(make.c_str()), 0) << mTree.Read("log");
        }
        setenv("LOCPATH", mTree.Path("locales").c_str(), 1);
        for (const auto &[path, content] : mFiles)
        {
            mTree.Write("source/" + path, content);
        }
        MorvSetLogger(LogRecorder::Table());
    }

    ~ForeignLocaleTest() override
    {
        setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
        MorvSetLogger(nullptr);
        LogRecorder::Clear();
    }

    static void Speak(const ForeignLocale &locale)
    {
        ASSERT_NE(setlocale(LC_ALL, locale.language), nullptr);
        ASSERT_EQ(std::tolower(locale.upper), locale.lower);
    }

    void Pack()
    {
        using TreeReader::Compression;
        using TreeReader::Storage;
        TreeWriter::PackRequest request = Request(Storage::Naked);
        request.rules = {{"**.a", {Storage::Archive, Compression::None}},
                         {"**.z", {Storage::Archive, Compression::Zlib}},
                         {"**.l", {Storage::Archive, Compression::Lzma}},
                         {"**.m", {Storage::Managed, Compression::None}}};
        TreeWriter::PackRelease(request);
    }

    static std::string InCase(std::string path, char first, char last, int distance)
    {
        for (char &character : path)
        {
            character = static_cast<char>(character >= first && character <= last ? character + distance : character);
        }
        return path;
    }
    static std::string Upper(const std::string &path) { return InCase(path, 'a', 'z', 'A' - 'a'); }
    static std::string Lower(const std::string &path) { return InCase(path, 'A', 'Z', 'a' - 'A'); }

    static std::string List(const char *pattern)
    {
        std::string names = std::string(pattern) + ":";
        FindHandle *const handle = MorvFindFirstFile(pattern);
        char name[256];
        while (handle != nullptr && MorvFindNextFile(handle, nullptr, nullptr, sizeof name, name) == S_OK)
        {
            names += std::string(" ") + name;
        }
        MorvFindClose(handle);
        return names;
    }

    /// What a start, every kind of lookup and every listing answer, and what the log tells.
    std::vector<std::string> Ask(const std::string &directory) const
    {
        LogRecorder::Clear();
        std::vector<std::string> answers;
        {
            const ReleaseReader reader(mTree.Path(directory));
            for (const auto &[path, content] : mFiles)
            {
                for (const std::string &typed : {path, Upper(path), Lower(path)})
                {
                    answers.push_back(typed + (reader.Exists(typed) ? ": " : " is not there: ") + reader.Read(typed));
                }
            }
            for (const char *pattern : {"*", "index/*", "INDEX/I*", "index/?.z", "index/\xE4*", "\xCENDEX/*"})
            {
                answers.push_back(List(pattern));
            }
        }
        for (const LogLine &line : LogRecorder::Failures())
        {
            answers.push_back(line.text);
        }
        return answers;
    }

    // Some names differ in letters that only one of the locales takes for the same.
    const std::map<std::string, std::string> mFiles{
        {"Index/INDIGO.a", "stored"},
        {"Index/Iris.z", "packed"},
        {"Index/ivory.l", "lzma"},
        {"Index/II.m", "managed"},
        {"Index/Ii.n", "naked"},
        {"Index/\xC4.z", "large"},
        {"Index/\xE4.z", "small"},
        {"Index/\xC4rger.n", "large n"},
        {"Index/\xE4rger.n", "small n"},
        {"Index/\xDD.z", "with a dot"},
        {"Index/\xFD.z", "without one"},
        {"Index/\xDD.m", "with a dot m"},
        {"Index/\xFD.m", "without one, m"},
        {"top.n", "on top"},
    };
};

TEST_F(ForeignLocaleTest, ChangesNoAnswer)
{
    Pack();
    const std::string tool = RunMorv(mTree.Root(), {"solution", "--root", "MORV", "--name", "SUITE", "--release",
                                                    "0.0.1.0", "--project", "game=1.0.0.0:1000"})
                                 .error;
    for (const std::string directory : {"MORV/projects/game/releases/1.0.0.0", "MORV/solutions/SUITE/releases/0.0.1.0"})
    {
        SCOPED_TRACE(directory + " " + tool);
        setlocale(LC_ALL, "C");
        const std::vector<std::string> expected = Ask(directory);
        std::size_t index = 0;
        for (const auto &[path, content] : mFiles)
        {
            for (const std::string &typed : {path, Upper(path), Lower(path)})
            {
                EXPECT_EQ(expected.at(index++), typed + ": " + content);
            }
        }
        for (const ForeignLocale &locale : Foreign)
        {
            SCOPED_TRACE(locale.language);
            Speak(locale);
            EXPECT_EQ(Ask(directory), expected);
        }
    }
}

TEST_F(ForeignLocaleTest, ChangesNoByteOfARelease)
{
    Pack();
    const std::map<std::string, std::string> expected = ProjectFiles();
    for (const ForeignLocale &locale : Foreign)
    {
        SCOPED_TRACE(locale.language);
        mTree.Remove("MORV");
        Speak(locale);
        Pack();
        EXPECT_TRUE(ProjectFiles() == expected);
    }
}
} // namespace
} // namespace Keld::Test
