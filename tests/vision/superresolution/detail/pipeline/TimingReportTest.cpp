#include "vision/superresolution/detail/pipeline/TimingReport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/detail/pipeline/RunAccess.h"
#include "vision/superresolution/reference/SuperResolution.h"

namespace oravo::vision::detail {
namespace {

std::vector<std::string> namesOf(const StageTimes& times) {
    std::vector<std::string> names;
    for (const StageTime& stage : times) names.emplace_back(stage.name);
    return names;
}

TEST(TimingReport, PrintsWhatItMeasures) {
    StageTimes times;
    testing::internal::CaptureStdout();
    TimingReport report("Title", times);
    report.start();
    report.end("minimization");
    report.close();
    const std::string printed = testing::internal::GetCapturedStdout();
    ASSERT_EQ(times.size(), 1U);
    std::ostringstream number;
    number << times.begin()->milliseconds;
    EXPECT_EQ(printed, "++++++++++ Title ++++++++++\n minimization:         " + number.str() +
                           "[ms]\n+++++++++++++++++++++++++++++\n");
}

template <class Pipeline>
void expectTimesWithoutReport(Pipeline&& pipeline) {
    const std::vector<std::string> all = {"registration", "large_displacement", "minimization",
                                          "save+srfactor calc"};
    const std::vector<test::Image> frames =
        test::burst(test::Scene(3, 24, 32), 24, 32, {{0, 0}, {0.4f, 0.3f}, {-0.6f, 0.5f}});
    for (const test::Image& frame : frames) pipeline.addFrame(frame.template ptr<float>());
    test::Image image(48, 64);
    RunAccess::setReports(pipeline, false);
    testing::internal::CaptureStdout();
    pipeline.computeSR(image.ptr<float>());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(namesOf(RunAccess::stageTimes(pipeline)), all);
    for (const StageTime& stage : RunAccess::stageTimes(pipeline)) EXPECT_GE(stage.milliseconds, 0.0);
}

TEST(RunAccess, HandsOutTheTimesOfARunThatPrintsNothing) {
    expectTimesWithoutReport(SrFloat<SrFloatRegistration1>(32, 24, 3, 2.0f));
    expectTimesWithoutReport(SrFloat<SrFloatRegistration2>(32, 24, 3, 2.0f));
    expectTimesWithoutReport(SrFloatNeon<SrFloatNeonRegistration>(32, 24, 3, 2.0f));
    expectTimesWithoutReport(SuperResolution(32, 24, 3, 2.0f));
}

TEST(RunAccess, AFailedRunEndsItsTimesWhereItFailed) {
    SrFloat<SrFloatRegistration2> pipeline(32, 24, 2, 2.0f);
    RunAccess::setReports(pipeline, false);
    const test::Image flat(24, 32, 20.0f);
    for (int i = 0; i < 2; ++i) pipeline.addFrame(flat);
    test::Image image;
    EXPECT_EQ(pipeline.computeSR(image), -998.0f);
    EXPECT_EQ(RunAccess::stageTimes(pipeline).size(), 0U);
}

}  // namespace
}  // namespace oravo::vision::detail
