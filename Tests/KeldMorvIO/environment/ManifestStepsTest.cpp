#include "KeldMorvIO/environment/ManifestSteps.h"

#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

class ManifestStepsTest : public testing::Test
{
protected:
    ManifestSteps mSteps{"bool Signature()"};
    ReaderLogCapture mLog;
};

TEST_F(ManifestStepsTest, SaysNothingOfStepsThatSucceed)
{
    EXPECT_TRUE(mSteps.Take(S_OK, "%s: Never logged"));
    EXPECT_TRUE(mSteps.Require(true, "%s: Never logged"));
    EXPECT_EQ(mSteps.GetResult(), S_OK);
    mLog.ExpectAll({});
}

TEST_F(ManifestStepsTest, LogsTheStepThatFailsAndKeepsItsCode)
{
    EXPECT_FALSE(mSteps.Take(E_HANDLE, "%s: Failed to read name"));
    EXPECT_EQ(mSteps.GetResult(), E_HANDLE);
    const std::vector<LogLine> lines = LogRecorder::Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].format, "%s: Failed to read name"); // no text is put together on the way
    mLog.ExpectAll({Error("Failed to read name", "bool Signature()")});
}

TEST_F(ManifestStepsTest, TakesAFalseConditionForAFailure)
{
    EXPECT_FALSE(mSteps.Require(false, "%s: The name is empty"));
    EXPECT_EQ(mSteps.GetResult(), E_FAIL);
    mLog.ExpectAll({Error("The name is empty", "bool Signature()")});
}
} // namespace
} // namespace Keld::Test
