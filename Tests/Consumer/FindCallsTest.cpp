#include "Support/ReleaseFixture.h"

namespace Keld::Test
{
namespace
{
class FindCallsTest : public ReleaseFixture
{
protected:
    void StartAtlas()
    {
        Start(mTree.Project("atlas", "1.0.0.0",
                            {{"zeta.dds", "12345"},
                             {"Alpha.dds", "1"},
                             {"beta.txt", ""},
                             {"data/a.dds", "12"},
                             {"data/B.DDS", "123"},
                             {"data/c.d.dds", "x"},
                             {"data/sub/x", "x"},
                             {"Crates/x", "x"},
                             {"hollow/"}}));
        LogRecorder::Clear();
    }
};

TEST_F(FindCallsTest, ListSubdirectoriesBeforeFilesInTheOrderOfNames)
{
    StartAtlas();
    EXPECT_EQ(List("*"), Names({"Crates/", "data/", "hollow/", "Alpha.dds", "beta.txt", "zeta.dds"}));
    EXPECT_EQ(List("data/*"), Names({"sub/", "a.dds", "B.DDS", "c.d.dds"}));
    EXPECT_EQ(List("DATA\\*"), Names({"sub/", "a.dds", "B.DDS", "c.d.dds"}));
    ExpectAll({});
}

TEST_F(FindCallsTest, MatchAPatternBehindTheLastSeparator)
{
    StartAtlas();
    EXPECT_EQ(List("data/*.dds"), Names({"a.dds", "B.DDS"}));
    EXPECT_EQ(List("data/?.dds"), Names({"a.dds", "B.DDS"}));
    EXPECT_EQ(List("ALPHA.DDS"), Names({"Alpha.dds"}));
    EXPECT_EQ(List("data/none*"), Names());
}

TEST_F(FindCallsTest, SearchTheRootForANameWithATrailingSeparator)
{
    StartAtlas();
    EXPECT_EQ(List("data/"), Names({"data/"}));
    EXPECT_EQ(List("data"), Names({"data/"}));
    EXPECT_EQ(List("data/sub/"), Names({"sub/"}));
}

TEST_F(FindCallsTest, ListTheRootWithAPatternThatMatchesNoNameForAnEmptyPath)
{
    StartAtlas();
    for (const char *path : {"", "/", "\\"})
    {
        EXPECT_EQ(List(path), Names()) << path;
    }
}

TEST_F(FindCallsTest, CutASingleLeadingSeparatorOffWithTheSplit)
{
    StartAtlas();
    EXPECT_EQ(List("/*.dds"), Names({"Alpha.dds", "zeta.dds"}));
    EXPECT_EQ(List("/data/*"), Names({"<null>"}));
    EXPECT_EQ(List("//*"), Names({"<null>"}));
    EXPECT_EQ(List("\\data\\*"), Names({"<null>"}));
}

TEST_F(FindCallsTest, GiveNoHandleForADirectoryThatIsNotThere)
{
    StartAtlas();
    EXPECT_EQ(MorvFindFirstFile("missing/*"), nullptr);
    EXPECT_EQ(MorvFindFirstFile("zeta.dds/*"), nullptr);
    EXPECT_EQ(MorvFindFirstFile(nullptr), nullptr);
    ExpectAll({});
}

TEST_F(FindCallsTest, GiveAHandleForAnEmptyDirectory)
{
    StartAtlas();
    FindHandle *const handle = MorvFindFirstFile("hollow/*");
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, 0, nullptr), E_FAIL);
    MorvFindClose(handle);
}

TEST_F(FindCallsTest, TellKindAndSize)
{
    StartAtlas();
    FindHandle *const handle = MorvFindFirstFile("*");
    ASSERT_NE(handle, nullptr);
    std::uint32_t isDirectory = 7;
    std::uint64_t size = 7;
    char name[32];
    ASSERT_EQ(MorvFindNextFile(handle, &isDirectory, &size, sizeof name, name), S_OK);
    EXPECT_STREQ(name, "Crates");
    EXPECT_EQ(isDirectory, 1u);
    EXPECT_EQ(size, 0u);
    while (std::string(name) != "zeta.dds")
    {
        ASSERT_EQ(MorvFindNextFile(handle, &isDirectory, &size, sizeof name, name), S_OK);
    }
    EXPECT_EQ(isDirectory, 0u);
    EXPECT_EQ(size, 5u);
    MorvFindClose(handle);
}

TEST_F(FindCallsTest, StepOnWithoutAnyOutParameter)
{
    StartAtlas();
    FindHandle *const handle = MorvFindFirstFile("*");
    ASSERT_NE(handle, nullptr);
    char name[32];
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, 0, nullptr), S_OK);
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, 1000, nullptr), S_OK);
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, sizeof name, name), S_OK);
    EXPECT_STREQ(name, "hollow");
    MorvFindClose(handle);
}

TEST_F(FindCallsTest, CutANameThatDoesNotFit)
{
    StartAtlas();
    FindHandle *const handle = MorvFindFirstFile("*");
    ASSERT_NE(handle, nullptr);
    char name[8] = {'k', 'k', 'k', 'k', 'k', 'k', 'k', 'k'};
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, 4, name), S_OK);
    EXPECT_STREQ(name, "Cra");
    EXPECT_EQ(name[4], 'k');
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, 5, name), S_OK);
    EXPECT_STREQ(name, "data");
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, 1, name), S_OK);
    EXPECT_STREQ(name, "");
    name[0] = 'k';
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, 0, name), S_OK);
    EXPECT_EQ(name[0], 'k');
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, sizeof name, name), S_OK);
    EXPECT_STREQ(name, "beta.tx");
    MorvFindClose(handle);
}

TEST_F(FindCallsTest, WriteNothingAtTheEndAndStayThere)
{
    StartAtlas();
    FindHandle *const handle = MorvFindFirstFile("beta.txt");
    ASSERT_NE(handle, nullptr);
    std::uint32_t isDirectory = 7;
    std::uint64_t size = 7;
    char name[32] = "before";
    EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, 0, nullptr), S_OK);
    for (int round = 0; round < 3; ++round)
    {
        EXPECT_EQ(MorvFindNextFile(handle, &isDirectory, &size, sizeof name, name), E_FAIL);
    }
    EXPECT_EQ(isDirectory, 7u);
    EXPECT_EQ(size, 7u);
    EXPECT_STREQ(name, "before");
    MorvFindClose(handle);
}

TEST_F(FindCallsTest, RefuseANullHandle)
{
    EXPECT_EQ(MorvFindNextFile(nullptr, nullptr, nullptr, 0, nullptr), E_HANDLE);
    MorvFindClose(nullptr);
    ExpectAll({});
}

TEST_F(FindCallsTest, CloseAnEnumerationAtAnyPoint)
{
    StartAtlas();
    for (int steps = 0; steps <= 6; ++steps)
    {
        FindHandle *const handle = MorvFindFirstFile("*");
        ASSERT_NE(handle, nullptr);
        for (int step = 0; step < steps; ++step)
        {
            EXPECT_EQ(MorvFindNextFile(handle, nullptr, nullptr, 0, nullptr), S_OK);
        }
        MorvFindClose(handle);
    }
}

TEST_F(FindCallsTest, MayBeClosedAfterTheStop)
{
    StartAtlas();
    FindHandle *const handle = MorvFindFirstFile("*");
    ASSERT_NE(handle, nullptr);
    MorvShutdown();
    MorvFindClose(handle);
}

TEST_F(FindCallsTest, RunSideBySide)
{
    StartAtlas();
    FindHandle *const first = MorvFindFirstFile("*");
    FindHandle *const second = MorvFindFirstFile("*");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    char firstName[32];
    char secondName[32];
    while (MorvFindNextFile(first, nullptr, nullptr, sizeof firstName, firstName) == S_OK)
    {
        ASSERT_EQ(MorvFindNextFile(second, nullptr, nullptr, sizeof secondName, secondName), S_OK);
        EXPECT_STREQ(firstName, secondName);
    }
    MorvFindClose(first);
    MorvFindClose(second);
}
} // namespace
} // namespace Keld::Test
