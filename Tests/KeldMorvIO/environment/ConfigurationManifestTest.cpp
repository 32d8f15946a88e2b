#include "KeldMorvIO/environment/ConfigurationManifest.h"

#include "KeldMorvIO/environment/StreamFaults.h"
#include "KeldMorvIO/environment/TextFile.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TestTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

using Texts = std::vector<std::string>;

const std::string LoadSignature = "HRESULT Keld::MORV::Reader::ConfigurationManifest::Load(const std::string &)";

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
    // A line costs what it holds, and not the room in which it was read.
    EXPECT_LT(mManifest.GetProjects().back().capacity(), 100u);
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
    FailNextClose(EIO);
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Path(), Error(Text(EIO), LoadSignature)});
    EXPECT_EQ(mManifest.GetProjects().size(), 2u);

    mFiles.Write(ManifestLines({"MORV Configuration Manifest", "1.0.0.0", "default", "0"}));
    FailNextClose(EIO);
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Path(), Error(Text(EIO), LoadSignature)});
}

TEST_F(ConfigurationManifestTest, SucceedsWhenTheCloseFailsWithoutAnErrorNumber)
{
    const std::string path = mFiles.Write(ManifestLines(Sample()));
    FailNextClose(0);
    EXPECT_EQ(mManifest.Load(path), S_OK);
    mLog.ExpectAll({Path(), Progress(Text(0), LoadSignature)});
}

TEST_F(ConfigurationManifestTest, KeepsTheFailureOfTheLoadWhenTheCloseFailsToo)
{
    const std::string path = mFiles.Write("nothing\n");
    FailNextClose(EIO);
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Path(), Error("Magic string does not match", LoadSignature), Error(Text(EIO), LoadSignature)});
}

TEST_F(ConfigurationManifestTest, NamesTheFieldThatCannotBeRead)
{
    const auto expect = [this](int line, int error, const std::string &field)
    {
        SCOPED_TRACE(field);
        const std::string path = mFiles.Write(ManifestLines(Sample()));
        FailReadAfter(line);
        EXPECT_EQ(mManifest.Load(path), E_FAIL);
        mLog.ExpectAll({Path(), Error(Text(error)), Error("fgets failed"), Error(field, LoadSignature)});
    };
    // The texts report the stream's mark, which is 1, and the numbers the system's error.
    expect(0, 1, "Failure while getting magic string");
    expect(1, FailedReadError, "Failed to read version");
    expect(2, 1, "Failed to read configuration name");
    expect(3, FailedReadError, "Failed to read project count");
    expect(4, 1, "Failed to read project name 0 of 2");
    expect(5, 1, "Failed to read project name 1 of 2");
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
