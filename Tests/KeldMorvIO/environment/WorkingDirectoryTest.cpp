#include "KeldMorvIO/environment/WorkingDirectory.h"

#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

class WorkingDirectoryTest : public testing::Test
{
protected:
    struct Parsed
    {
        bool known = false;
        RuntimeType type = RuntimeTypeSolution;
        std::string name = "before";
        MorvVersion version = 77;
    };

    static Parsed Parse(const std::string &path)
    {
        Parsed parsed;
        parsed.known = GetProjectTypeNameAndVersion(path.c_str(), parsed.type, parsed.name, parsed.version);
        return parsed;
    }

    static void ExpectRelease(const std::string &path, RuntimeType type, const std::string &name, MorvVersion version)
    {
        SCOPED_TRACE(path);
        const Parsed parsed = Parse(path);
        EXPECT_TRUE(parsed.known);
        EXPECT_EQ(parsed.type, type);
        EXPECT_EQ(parsed.name, name);
        EXPECT_EQ(parsed.version, version);
    }

    ReaderLogCapture mLog;
};

TEST_F(WorkingDirectoryTest, ReadsKindNameAndVersion)
{
    ExpectRelease("/a/MORV/projects/x/releases/1.2.3.4", RuntimeTypeProject, "x", 0x01020304);
    ExpectRelease("/a/MORV/projects/x/releases/1.2.3.4/", RuntimeTypeProject, "x", 0x01020304);
    ExpectRelease("/a/MORV/projects/x/releases/1.2.3.4/deploy/sub", RuntimeTypeProject, "x", 0x01020304);
    ExpectRelease("/a/MORV/solutions/suite/releases/0.0.1.7/deploy", RuntimeTypeSolution, "suite", 0x00000107);
    mLog.ExpectAll({});
}

TEST_F(WorkingDirectoryTest, SkipsDirectoriesBetweenNameAndReleases)
{
    ExpectRelease("/a/MORV/projects/x/sub/releases/1.2.3.4", RuntimeTypeProject, "x", 0x01020304);
    ExpectRelease("/a/MORV/projects/x/y/z/myreleases/1.2.3.4", RuntimeTypeProject, "x", 0x01020304);
}

TEST_F(WorkingDirectoryTest, MatchesKeywordsAsBareTextsAtTheirLastPlace)
{
    ExpectRelease("/a/MORV/myprojects/x/releases/1.2.3.4", RuntimeTypeProject, "x", 0x01020304);
    ExpectRelease("/projects/old/releases/9.9.9.9/MORV/projects/x/releases/1.2.3.4", RuntimeTypeProject, "x",
                  0x01020304);
    EXPECT_FALSE(Parse("/a/MORV/projects/x/releases/1.2.3.4/deploy/projects/foo").known);
}

TEST_F(WorkingDirectoryTest, TakesAPathWithBothKeywordsForAProject)
{
    ExpectRelease("/a/MORV/solutions/projects/releases/1.2.3.4", RuntimeTypeProject, "releases", 0x01020304);
    ExpectRelease("/a/projects/x/releases/1.2.3.4/solutions/y/releases/5.6.7.8", RuntimeTypeProject, "x", 0x01020304);
}

TEST_F(WorkingDirectoryTest, KeepsTheNameWhenALaterStepFails)
{
    EXPECT_EQ(Parse("/a/MORV/projects/x/nothing/here").name, "x");
    EXPECT_EQ(Parse("/a/MORV/projects/x/releases/1.2.3").name, "x");
    EXPECT_EQ(Parse("/a/MORV/projects/x").name, "before");
}

TEST_F(WorkingDirectoryTest, RefusesAnEmptyName)
{
    EXPECT_FALSE(Parse("projects//releases/1.2.3.4").known);
    mLog.ExpectAll({Error("Failed to determine name and version from the path projects//releases/1.2.3.4")});
}

TEST_F(WorkingDirectoryTest, ComputesARootByItself)
{
    EXPECT_EQ(GetMorvRootDirectory("/a/MORV/projects/x"), "/a/MORV");
    EXPECT_EQ(GetMorvRootDirectory("\\a\\\\MORV\\"), "/a/MORV");
    EXPECT_EQ(GetMorvRootDirectory("/a/MORV"), "/a/MORV");
    EXPECT_EQ(GetMorvRootDirectory("/a//b/"), "/a/b/");
    EXPECT_EQ(GetMorvRootDirectory(""), "");
    // A path that does not fit is cut before it is looked at.
    std::string path;
    path.assign(1023, 'r');
    EXPECT_EQ(GetMorvRootDirectory((path + "/MORV/x").c_str()), path);
    path.assign(1018, 'r');
    EXPECT_EQ(GetMorvRootDirectory((path + "/MORV/x").c_str()), path + "/MORV");
    path.assign(1017, 'r');
    EXPECT_EQ(GetMorvRootDirectory((path + "/MORV/x").c_str()), path + "/MORV");
}
} // namespace
} // namespace Keld::Test
