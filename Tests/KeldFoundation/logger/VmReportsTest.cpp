#include "KeldFoundation/logger/VmReports.h"

#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldFoundation/logger/Log.h"
#include "Support/LogRecorder.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
class VmReportsTest : public ::testing::Test
{
protected:
    VmReportsTest()
    {
        LogRecorder::Clear();
        SetCurrentLogger(LogRecorder::Table());
    }

    ~VmReportsTest() override { SetCurrentLogger(GetBuiltInLogger()); }

    static void ExpectOneLine(const char *format, const char *text)
    {
        const std::vector<LogLine> expected = {{3, 17, 0, format, text}};
        EXPECT_EQ(LogRecorder::Lines(), expected);
        LogRecorder::Clear();
    }

    static constexpr const char *StatusFormat = "VM: Current status at \"%s\": %dMB (%s: %d) \n";
    static constexpr const char *DeltaFormat = "VM: Delta during \"%s\": %s%d (%dMB) (%s: %d) \n";
};

TEST_F(VmReportsTest, ReportsTheStatus)
{
    VmReportStatus("start", "files", 3);
    ExpectOneLine(StatusFormat, "VM: Current status at \"start\": 0MB (files: 3) \n");
}

TEST_F(VmReportsTest, TakesNullTextsForEmptyOnes)
{
    VmReportStatus(nullptr, nullptr, -1);
    ExpectOneLine(StatusFormat, "VM: Current status at \"\": 0MB (: -1) \n");
    {
        const VmDeltaReport report(nullptr, nullptr, -1, -1);
    }
    ExpectOneLine(DeltaFormat, "VM: Delta during \"\": 0 (0MB) (: -1) \n");
}

TEST_F(VmReportsTest, ADeltaOfZeroIsSilentUnlessTheThresholdIsNegative)
{
    {
        const VmDeltaReport report("load", "files", 3, 0);
    }
    EXPECT_TRUE(LogRecorder::Lines().empty());
    {
        const VmDeltaReport report("load", "files", 3, -1);
        EXPECT_TRUE(LogRecorder::Lines().empty()) << "it comes at the end of the scope";
    }
    ExpectOneLine(DeltaFormat, "VM: Delta during \"load\": 0 (0MB) (files: 3) \n");
}

/// A report of what a platform that measures memory would have found.
class MeasuredReport : public VmDeltaReport
{
public:
    MeasuredReport(int32 delta, int32 threshold) : VmDeltaReport("load", "files", 3, threshold) { mDelta = delta; }
};

TEST_F(VmReportsTest, AGrowthPrintsWithAPlus)
{
    {
        const MeasuredReport report(-500, 100);
    }
    ExpectOneLine(DeltaFormat, "VM: Delta during \"load\": +500 (0MB) (files: 3) \n");
    {
        const MeasuredReport report(500, 100);
    }
    ExpectOneLine(DeltaFormat, "VM: Delta during \"load\": -500 (0MB) (files: 3) \n");
}

TEST_F(VmReportsTest, ADeltaMustBeAboveTheThreshold)
{
    for (const int32 delta : {500, -500})
    {
        {
            const MeasuredReport report(delta, 500);
        }
        EXPECT_TRUE(LogRecorder::Lines().empty());
        {
            const MeasuredReport report(delta, 499);
        }
        EXPECT_EQ(LogRecorder::Lines().size(), 1u);
        LogRecorder::Clear();
    }
}
} // namespace
} // namespace Keld::Test
