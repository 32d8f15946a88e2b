#include "KeldMorvIO/Public/MorvExportsMain.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"
#include "Support/DeploymentTree.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
namespace Reader = MORV::Reader;

int gMessagesWithEmptySlot = 0;
int gMessages = 0;

void LookAtSlot(std::int32_t, std::uint32_t, std::uint32_t, const char *, va_list)
{
    ++gMessages;
    gMessagesWithEmptySlot += Reader::GetExportsMain().Get() == nullptr ? 1 : 0;
}

class ExportsMainTest : public testing::Test
{
protected:
    ~ExportsMainTest() override { Reader::GetExportsMain().Shutdown(); }

    DeploymentTree mTree;
    ReaderLogCapture mLog;
};

TEST_F(ExportsMainTest, TheSlotIsEmptyWhileTheEnvironmentGoes)
{
    const std::string directory = mTree.Project("atlas", "1.0.0.0", {{"a.txt", "a"}});
    ASSERT_EQ(Reader::GetExportsMain().Initialize(directory.c_str()), Reader::S_OK);
    static OpenFileHandle *abandoned = nullptr; // nobody can close it once the environment has gone
    abandoned = MorvOpenFile("a.txt");
    ASSERT_NE(abandoned, nullptr);

    IKeldLogger table{};
    table.Log = LookAtSlot;
    gMessages = 0;
    gMessagesWithEmptySlot = 0;
    SetCurrentLogger(&table);
    Reader::GetExportsMain().Shutdown();
    SetCurrentLogger(LogRecorder::Table());
    EXPECT_EQ(gMessages, 1);
    EXPECT_EQ(gMessagesWithEmptySlot, 1);
}

TEST_F(ExportsMainTest, AFailedStartLeavesTheSlotEmptyAndOpen)
{
    EXPECT_EQ(Reader::GetExportsMain().Initialize(""), Reader::E_FAIL);
    EXPECT_EQ(Reader::GetExportsMain().Get(), nullptr);
    const std::string directory = mTree.Project("atlas", "1.0.0.0", {{"a.txt", "a"}});
    EXPECT_EQ(Reader::GetExportsMain().Initialize(directory.c_str()), Reader::S_OK);
    const Reader::RuntimeEnvironment *const environment = Reader::GetExportsMain().Get();
    EXPECT_NE(environment, nullptr);
    EXPECT_EQ(Reader::GetExportsMain().Initialize(""), Reader::E_FAIL);
    EXPECT_EQ(Reader::GetExportsMain().Get(), environment);
    EXPECT_EQ(Reader::GetRuntimeEnvironment(), environment);
}

TEST_F(ExportsMainTest, AnEnvironmentIsMadeFromTheWorkingDirectoryWhenItIsAskedFor)
{
    const WorkingDirectory inside(mTree.Project("atlas", "1.0.0.0", {{"a.txt", "a"}}));
    const Reader::RuntimeEnvironment *const environment = Reader::GetRuntimeEnvironment();
    ASSERT_NE(environment, nullptr);
    EXPECT_EQ(environment->GetName(), "atlas");
    EXPECT_EQ(Reader::GetRuntimeEnvironment(), environment);
}
} // namespace
} // namespace Keld::Test
