#include "KeldMorvIO/Public/MorvExportsMain.h"

#include "KeldMorvIO/environment/RuntimeEnvironment.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TestTree.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
namespace Reader = MORV::Reader;

// The instance whose slot the logger looks at with each message.
const Reader::MorvExportsMain *gLookedAt = nullptr;
int gMessagesWithEmptySlot = 0;
int gMessages = 0;

void LookAtSlot(std::int32_t, std::uint32_t, std::uint32_t, const char *, va_list)
{
    ++gMessages;
    gMessagesWithEmptySlot += gLookedAt->Get() == nullptr ? 1 : 0;
}

class ExportsMainTest : public testing::Test
{
protected:
    ~ExportsMainTest() override { Reader::GetExportsMain().Shutdown(); }

    // Loads a release and leaves a file of it open, which the listing reports while it goes.
    void LoadWithAnOpenFile(Reader::MorvExportsMain &exportsMain)
    {
        const std::string directory = mTree.Project("atlas", "1.0.0.0", {{"a.txt", "a"}});
        ASSERT_EQ(exportsMain.Initialize(directory.c_str()), Reader::S_OK);
        const auto [listing, entry] = exportsMain.Get()->FindEntry("a.txt");
        ASSERT_NE(entry, nullptr);
        ASSERT_TRUE(listing->Open(entry));
    }

    // Runs what releases the environment of an instance, and expects that its slot is empty by the one message of that.
    template <class Release>
    static void ExpectEmptySlotDuring(const Reader::MorvExportsMain &exportsMain, const Release &release)
    {
        IKeldLogger table{};
        table.Log = LookAtSlot;
        gLookedAt = &exportsMain;
        gMessages = 0;
        gMessagesWithEmptySlot = 0;
        SetCurrentLogger(&table);
        release();
        SetCurrentLogger(LogRecorder::Table());
        EXPECT_EQ(gMessages, 1);
        EXPECT_EQ(gMessagesWithEmptySlot, 1);
    }

    TestTree mTree;
    ReaderLogCapture mLog;
};

TEST_F(ExportsMainTest, TheSlotIsEmptyWhileTheEnvironmentGoes)
{
    Reader::MorvExportsMain &exportsMain = Reader::GetExportsMain();
    LoadWithAnOpenFile(exportsMain);
    ExpectEmptySlotDuring(exportsMain,
                          [&exportsMain]
                          {
                              exportsMain.Shutdown();
                          });
}

TEST_F(ExportsMainTest, TheSlotIsEmptyWhileTheEnvironmentGoesAtTheEndOfTheProcess)
{
    auto exportsMain = std::make_unique<Reader::MorvExportsMain>();
    LoadWithAnOpenFile(*exportsMain);
    ExpectEmptySlotDuring(*exportsMain,
                          [&exportsMain]
                          {
                              exportsMain.reset();
                          });
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
