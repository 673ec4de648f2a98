#include <cmath>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/Scratch.h"
#include "tools/base/MarkupText.h"
#include "tools/report/Report.h"
#include "tools/report/ReportText.h"
#include "tools/report/ValueGrid.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::tools {
namespace {

TEST(Report, PhasesAreWhereFramesSampleTheReference) {
    EXPECT_EQ(phaseOf({0.25f, -1.75f}), cv::Point2d(0.75, 0.75));
    EXPECT_EQ(phaseOf({-3.0f, 1e-30f}), cv::Point2d(0.0, 0.0));
    std::vector<ReportedFrame> frames;
    const cv::Point2f shifts[] = {{0.0f, 0.0f}, {0.2f, -0.2f}, {-0.5f, 3.0f}, {0.6f, 1.4f}, {-7.1f, 0.3f}};
    const int reached[] = {1, 1, 2, 3, 4};
    for (int i = 0; i < 5; ++i) {
        frames.push_back({0, "", shifts[i], 1.0, "", {}});
        EXPECT_EQ(phasesReached(frames), reached[i]) << i;
    }
    EXPECT_EQ(medianOf(cv::Mat_<float>((cv::Mat_<float>(1, 4) << 9, std::nanf(""), 1, 2))), 2.0);
    EXPECT_TRUE(std::isnan(medianOf(cv::Mat_<float>(2, 2, std::nanf("")))));
}

TEST(MarkupText, HoldsNoMarkupAndNoBrokenCharacters) {
    EXPECT_EQ(markupText("<b> & \"'\u00b0\xff\xc3(\x1b"),
              "&lt;b&gt; &amp; &quot;&#39;\u00b0?"
              "?(?");
    for (int width = 1; width < 5; ++width) {  // all lengths of the last group of bytes
        cv::Mat_<cv::Vec3b> picture(2, width);
        cv::randu(picture, 0, 256);
        const std::string address = pngAddress(picture);
        const std::string start = "data:image/png;base64,";
        ASSERT_EQ(address.compare(0, start.size(), start), 0);
        std::vector<uchar> bytes;
        std::uint32_t group = 0;
        int bits = 0;
        for (const char c : address.substr(start.size())) {
            if (c == '=') break;
            const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
            group = group << 6 | static_cast<std::uint32_t>(digits.find(c));
            bits += 6;
            if (bits < 8) continue;
            bits -= 8;
            bytes.push_back(static_cast<uchar>(group >> bits & 255u));
        }
        EXPECT_EQ((address.size() - start.size()) % 4, 0u);
        EXPECT_EQ(cv::norm(cv::imdecode(bytes, cv::IMREAD_COLOR), picture, cv::NORM_INF), 0.0);
    }
}

/// Each value comes back to half a step, which is a round number and no finer than it has to be.
TEST(ValueGrid, IsTrueToHalfARoundStep) {
    cv::RNG random(5);
    for (const double span : {0.0, 3e-4, 0.7, 44.0, 65532.0, 1e6}) {
        for (const double lowest : {-273.15, -0.4 * span, 0.0, 21.37}) {
            for (const double finest : {0.0, 0.01, 0.5}) {
                cv::Mat_<float> image(7, 9);
                random.fill(image, cv::RNG::UNIFORM, lowest, lowest + span);
                image(0, 0) = static_cast<float>(lowest);
                image(6, 8) = static_cast<float>(lowest + span);
                image(3, 3) = std::nanf("");
                image(3, 4) = floatOf(vision::CODE_OVER_RANGE);
                const ValueGrid grid(image, 63, finest);
                SCOPED_TRACE(testing::Message()
                             << span << ' ' << lowest << ' ' << finest << ' ' << grid.step);
                EXPECT_LE(grid.step, std::max({3.0 * span / 65532.0, 2.5 * finest, 3e-4}));
                EXPECT_GE(grid.step, finest);
                const double leading = grid.step / std::pow(10.0, std::floor(std::log10(grid.step) + 1e-6));
                EXPECT_LT(
                    std::min({std::abs(leading - 1.0), std::abs(leading - 2.0), std::abs(leading - 5.0)}),
                    1e-6);
                const double inDigits = grid.step * std::pow(10.0, grid.decimals);
                EXPECT_NEAR(inDigits, std::round(inDigits), 1e-6);
                for (int i = 0; i < 63; ++i) {
                    const bool none = i == 30 || i == 31;
                    ASSERT_EQ(grid.codes(i) == ValueGrid::kNoValue, none) << i;
                    if (none) continue;
                    ASSERT_NEAR(grid.offset + grid.step * grid.codes(i), static_cast<double>(image(i)),
                                0.5001 * grid.step);
                }
            }
        }
    }
    cv::Mat_<float> ramp(5, 7);
    for (int i = 0; i < 35; ++i) ramp(i) = static_cast<float>(i);
    const ValueGrid thinned(ramp, 12, 1.0);
    EXPECT_EQ(thinned.stride, 2);
    EXPECT_EQ(thinned.codes.size(), cv::Size(4, 3));
    EXPECT_EQ(thinned.codes(1, 1), 16);
    EXPECT_EQ(thinned.bytes()[10], 16);
    EXPECT_EQ(thinned.bytes().size(), 24u);
    EXPECT_DOUBLE_EQ(harmlessStep(0.0581), 0.001);
    EXPECT_EQ(harmlessStep(std::nan("")), 0.0);
}

}  // namespace
}  // namespace oravo::tools
