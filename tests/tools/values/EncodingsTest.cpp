#include <gtest/gtest.h>

#include "tools/values/Encoding.h"

namespace oravo::tools {
namespace {

/// What each encoding stores for a warm day, 26.85 degrees Celsius or 300 kelvin, and for -40 degrees, which is the same
/// in Fahrenheit.
TEST(Encodings, StoreTwoKnownTemperatures) {
    const struct {
        const char* name;
        double warm, cold;
    } kStored[] = {
        {"celsius", 26.85, -40},          {"centidegrees", 2685, -4000},    {"decidegrees", 268.5, -400},
        {"decidegrees-100", 1268.5, 600}, {"fahrenheit", 80.33, -40},       {"kelvin", 300, 233.15},
        {"centikelvin", 30000, 23315},    {"centikelvin-4", 7500, 5828.75}, {"decikelvin", 3000, 2331.5},
        {"decikelvin-4", 750, 582.875},   {"millikelvin", 300000, 233150},  {"fixed-10.6", 19200, 14921.6},
        {"fixed-12.4", 4800, 3730.4}};
    EXPECT_EQ(encodings().size(), std::size(kStored));
    for (const auto& stored : kStored) {
        const Decode decode = encodingNamed(stored.name).decode;
        const cv::Mat_<float> degrees = decode((cv::Mat_<double>(1, 2) << stored.warm, stored.cold));
        EXPECT_NEAR(degrees(0, 0), 26.85f, 1e-5f) << stored.name;
        EXPECT_NEAR(degrees(0, 1), -40.0f, 1e-5f) << stored.name;
        const cv::Mat_<double> back = decode.stored(degrees);
        EXPECT_NEAR(back(0, 0), stored.warm, 1e-6 * stored.warm) << stored.name;
        EXPECT_NEAR(back(0, 1), stored.cold, 1e-6 * std::abs(stored.cold)) << stored.name;
        EXPECT_EQ(decode.shiftRight, 0) << stored.name;
        EXPECT_EQ(decode.unit, "\u00b0C") << stored.name;
    }
}

TEST(Encodings, NumbersThatWereShiftedComeBackWithZerosBelow) {
    const Decode decode{0.5, -3.0, 2, ""};
    EXPECT_EQ(decode.stored(decode((cv::Mat_<ushort>(1, 2) << 1027, 4)))(0), 1024.0);
}

}  // namespace
}  // namespace oravo::tools
