#include "KeldMorvIO/environment/ConfigurationManifest.h"

#include "KeldMorvIO/environment/TextFile.h"
#include "Support/DeploymentTree.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <dlfcn.h>

namespace
{
// What the next fclose of this thread reports, once it has closed the stream; 0 lets it report its own result.
thread_local int gNextCloseError = 0;
} // namespace

// The close of a stream that was only read does not fail on a sound disk, so the tests take the call's place.
extern "C" int fclose(FILE *stream)
{
    using Close = int (*)(FILE *);
    static const Close close = reinterpret_cast<Close>(dlsym(RTLD_NEXT, "fclose"));
    const int result = close(stream);
    if (gNextCloseError == 0)
    {
        return result;
    }
    errno = gNextCloseError > 0 ? gNextCloseError : 0;
    gNextCloseError = 0;
    return EOF;
}

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

using Texts = std::vector<std::string>;

const std::string LoadSignature = "HRESULT Keld::MORV::Reader::ConfigurationManifest::Load(const std::string &)";

constexpr int CloseFailsWithoutAnErrorNumber = -1;

class ConfigurationManifestTest : public testing::Test
{
protected:
    ConfigurationManifestTest() { errno = 0; }

    static Texts Sample() { return {"MORV Configuration Manifest", "1.0.0.0", "default", "2", "data", "client"}; }

    HRESULT Load(const Texts &lines, const std::string &lineEnd = "\n")
    {
        return mManifest.Load(mFiles.Write(ManifestLines(lines, lineEnd)));
    }

    void ExpectRefusal(const Texts &lines, std::vector<ExpectedLine> expected)
    {
        EXPECT_EQ(Load(lines), E_FAIL);
        expected.insert(expected.begin(), Path());
        mLog.ExpectAll(expected);
    }

    ExpectedLine Path() const { return Progress("(\"" + mFiles.Disk().Path("manifest") + "\")", LoadSignature); }

    static std::string Text(int error) { return std::strerror(error); }

    TextFiles mFiles;
    ReaderLogCapture mLog;
    ConfigurationManifest mManifest;
};

TEST_F(ConfigurationManifestTest, KeepsTheOrderOfTheFile)
{
    for (const std::string lineEnd : {"\n", "\r\n"})
    {
        ASSERT_EQ(Load(Sample(), lineEnd), S_OK);
        EXPECT_EQ(mManifest.GetName(), "default");
        EXPECT_EQ(mManifest.GetProjects(), Texts({"data", "client"}));
        mLog.ExpectAll({Path()});
    }
}

TEST_F(ConfigurationManifestTest, AcceptsTheMagicLineInAnyCase)
{
    Texts lines = Sample();
    lines[0] = "morv configuration MANIFEST";
    EXPECT_EQ(Load(lines), S_OK);
}

TEST_F(ConfigurationManifestTest, AcceptsNoProjectsAndReadsNoFurther)
{
    ASSERT_EQ(Load({"MORV Configuration Manifest", "1.0.0.0", "default", "0", "client"}), S_OK);
    EXPECT_TRUE(mManifest.GetProjects().empty());
}

TEST_F(ConfigurationManifestTest, ReadsItsCountInAnyBase)
{
    ASSERT_EQ(Load({"MORV Configuration Manifest", "1.0.0.0", "", "0x2", "a", "b", "c"}), S_OK);
    EXPECT_EQ(mManifest.GetProjects(), Texts({"a", "b"}));
    ASSERT_EQ(Load({"MORV Configuration Manifest", "1.0.0.0", "", "010", "a", "b", "c"}), S_OK);
    EXPECT_EQ(mManifest.GetProjects().size(), 8u);
}

TEST_F(ConfigurationManifestTest, KeepsDuplicatesAndEmptyNames)
{
    ASSERT_EQ(Load({"MORV Configuration Manifest", "1.0.0.0", "default", "4", "client", "", "CLIENT", "client"}), S_OK);
    EXPECT_EQ(mManifest.GetProjects(), Texts({"client", "", "CLIENT", "client"}));
}

TEST_F(ConfigurationManifestTest, FillsMissingNamesWithEmptyOnes)
{
    errno = EIO; // which these reads do not look at
    ASSERT_EQ(Load({"MORV Configuration Manifest", "1.0.0.0", "default", "3", "client"}), S_OK);
    EXPECT_EQ(mManifest.GetProjects(), Texts({"client", "", ""}));
    mLog.ExpectAll({Path()});
}

TEST_F(ConfigurationManifestTest, RefusesACountFarBeyondTheFile)
{
    ExpectRefusal({"MORV Configuration Manifest", "1.0.0.0", "default", "0xFFFFFFFF", "client"},
                  {Error("Failed to read project name 65537 of -1", LoadSignature)});
    EXPECT_LE(mManifest.GetProjects().size(), 65537u);
}

TEST_F(ConfigurationManifestTest, TakesAsManyNamesAsTheFileHolds)
{
    Texts lines = {"MORV Configuration Manifest", "1.0.0.0", "default", "70000"};
    lines.resize(lines.size() + 69999, "");
    lines.push_back("last");
    ASSERT_EQ(Load(lines), S_OK);
    ASSERT_EQ(mManifest.GetProjects().size(), 70000u);
    EXPECT_EQ(mManifest.GetProjects().back(), "last");
}

TEST_F(ConfigurationManifestTest, RefusesAnotherMagicLine)
{
    for (const std::string magic : {"MORV Solution Manifest", "MORV Configuration Manifest ", ""})
    {
        Texts lines = Sample();
        lines[0] = magic;
        ExpectRefusal(lines, {Error("Magic string does not match", LoadSignature)});
    }
    ExpectRefusal({}, {Error("Magic string does not match", LoadSignature)});
}

TEST_F(ConfigurationManifestTest, RefusesAnotherFileVersion)
{
    for (const std::string version : {"1.0.0.1", "0.0.0.0", "latest", ""})
    {
        Texts lines = Sample();
        lines[1] = version;
        ExpectRefusal(lines, {Error("File version mismatch", LoadSignature)});
    }
}

TEST_F(ConfigurationManifestTest, JudgesAMissingVersionByTheErrorNumber)
{
    ExpectRefusal({"MORV Configuration Manifest"}, {Progress(Text(0)), Error("File version mismatch", LoadSignature)});
    errno = EACCES;
    ExpectRefusal({"MORV Configuration Manifest"},
                  {Error(Text(EACCES)), Error("fgets failed"), Error("Failed to read version", LoadSignature)});
}

TEST_F(ConfigurationManifestTest, RefusesACountThatIsNoNumber)
{
    ExpectRefusal({"MORV Configuration Manifest", "1.0.0.0", "default", "two", "a", "b"},
                  {Error("Could not convert string to number"), Error("Failed to read project count", LoadSignature)});
    EXPECT_EQ(mManifest.GetName(), "default");
    ExpectRefusal({"MORV Configuration Manifest", "1.0.0.0", "default"},
                  {Progress(Text(0)), Error("Could not convert string to number"),
                   Error("Failed to read project count", LoadSignature)});
}

TEST_F(ConfigurationManifestTest, RefusesADirectoryOfItsName)
{
    const std::string path = mFiles.Disk().MakeDirectory("configurationmanifest");
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Error(Text(1)), Error("fgets failed"),
                    Error("Failure while getting magic string", LoadSignature)});
}

TEST_F(ConfigurationManifestTest, LogsAFailedOpenTwiceOverBothLinesOfTheCheckedOpen)
{
    const std::string path = mFiles.Disk().Path("nothing");
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Error(Text(ENOENT)),
                    Error("(\"" + path + "\", \"rt\") failed: " + Text(ENOENT)), Error(Text(ENOENT), LoadSignature),
                    Error(Text(ENOENT), LoadSignature),
                    Error("Failed to open configuration file \"" + path + "\".", LoadSignature)});
}

TEST_F(ConfigurationManifestTest, StartsEachLoadWithoutProjectsAndKeepsItsNameUntilItReadsAnother)
{
    ASSERT_EQ(Load(Sample()), S_OK);
    ASSERT_EQ(Load(Sample()), S_OK);
    EXPECT_EQ(mManifest.GetProjects().size(), 2u);
    EXPECT_EQ(mManifest.Load(mFiles.Disk().Path("nothing")), E_FAIL);
    EXPECT_TRUE(mManifest.GetProjects().empty());
    EXPECT_EQ(mManifest.GetName(), "default");
}

TEST_F(ConfigurationManifestTest, FailsWhenTheCloseFailsAfterASuccessfulLoad)
{
    const std::string path = mFiles.Write(ManifestLines(Sample()));
    gNextCloseError = EIO;
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Path(), Error(Text(EIO), LoadSignature)});
    EXPECT_EQ(mManifest.GetProjects().size(), 2u);

    mFiles.Write(ManifestLines({"MORV Configuration Manifest", "1.0.0.0", "default", "0"}));
    gNextCloseError = EIO;
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Path(), Error(Text(EIO), LoadSignature)});
}

TEST_F(ConfigurationManifestTest, SucceedsWhenTheCloseFailsWithoutAnErrorNumber)
{
    const std::string path = mFiles.Write(ManifestLines(Sample()));
    gNextCloseError = CloseFailsWithoutAnErrorNumber;
    EXPECT_EQ(mManifest.Load(path), S_OK);
    mLog.ExpectAll({Path(), Progress(Text(0), LoadSignature)});
}

TEST_F(ConfigurationManifestTest, KeepsTheFailureOfTheLoadWhenTheCloseFailsToo)
{
    const std::string path = mFiles.Write("nothing\n");
    gNextCloseError = EIO;
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Path(), Error("Magic string does not match", LoadSignature), Error(Text(EIO), LoadSignature)});
}

TEST_F(ConfigurationManifestTest, AddsProjectsByHandSortedWithCase)
{
    for (const char *name : {"delta", "Zulu", "alpha", "Delta"})
    {
        EXPECT_EQ(mManifest.AddProject(name), S_OK);
    }
    EXPECT_EQ(mManifest.GetProjects(), Texts({"Delta", "Zulu", "alpha", "delta"}));
    EXPECT_EQ(mManifest.AddProject("alpha"), E_FAIL);
    EXPECT_EQ(mManifest.GetProjects().size(), 4u);
    mLog.ExpectAll({Error("Duplicate entry",
                          "HRESULT Keld::MORV::Reader::ConfigurationManifest::AddProject(const std::string &)")});
}
} // namespace
} // namespace Keld::Test
