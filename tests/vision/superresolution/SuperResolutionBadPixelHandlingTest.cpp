#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/FloatBits.h"
#include "tests/TestScenes.h"

namespace oravo::vision {
namespace {

using test::Image;
using test::Point;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

const float kOver = floatOf(CODE_OVER_RANGE), kUnder = floatOf(CODE_UNDER_RANGE);
const float kBad = floatOf(CODE_BAD_PIXEL), kInvalid = floatOf(CODE_INVALID);

/// 5 x 6 pixels, (r, c) holding 10 r + c + 1: from 1 to 46.
Image ramp() {
    Image image(5, 6);
    for (int r = 0; r < 5; ++r) {
        for (int c = 0; c < 6; ++c) image(r, c) = static_cast<float>(10 * r + c + 1);
    }
    return image;
}

struct Pixel {
    int r, c;
    float value;
};

std::string location(const std::string& function, const oravo::Exception& thrown) {
    const std::string source = "vision/superresolution/SuperResolutionBadPixelHandling: ";
    const std::string end = ": oravo::vision::SuperResolutionBadPixelHandling::" + function + "(..)\n";
    const std::string& text = thrown.location();
    if (text.rfind(source, 0) != 0 || text.size() <= source.size() + end.size()) return "not " + text;
    const std::string line = text.substr(source.size(), text.size() - source.size() - end.size());
    if (line.find_first_not_of("0123456789") != std::string::npos) return "no line in " + text;
    return thrown.what() == thrown.message() + "\n" + source + line + end ? "right" : "not " + text;
}

}  // namespace

TEST(SuperResolutionBadPixelHandling, RepairsFromNeighboursOrFallsBack) {
    struct Row {
        const char* what;
        std::vector<Pixel> pixels;  // the first is looked at
        float expected;
        int result;
    };
    const float rampMin = 1.0f, rampMax = 46.0f;
    const Row rows[] = {
        {"over range among four", {{2, 2, kOver}}, 23.0f, 0},
        {"invalid among four", {{2, 2, kInvalid}}, 23.0f, 0},
        {"infinity among four", {{2, 2, kInf}}, 23.0f, 0},
        {"bad inside, three left", {{2, 2, kBad}, {2, 3, kBad}}, 0.0f, -2},
        {"bad at the top, all three", {{0, 2, kBad}}, (2.0f + 4.0f + 13.0f) / 3.0f, 0},
        {"bad at the right, all three", {{2, 5, kBad}}, (25.0f + 16.0f + 36.0f) / 3.0f, 0},
        {"corner", {{0, 5, kNaN}}, 0.0f, -2},
        {"over range in a corner", {{0, 0, kOver}}, rampMax, 0},
        {"under range in a corner", {{4, 5, kUnder}}, rampMin, 0},
        {"+infinity in a corner", {{0, 5, kInf}}, rampMax, -2},
        {"-infinity in a corner", {{0, 5, -kInf}}, rampMin, -2},
        {"too warm, two left", {{2, 2, 6000.0f}, {2, 3, kOver}, {3, 2, kOver}}, rampMax, -2},
        {"too cold, two left", {{2, 2, -275.0f}, {2, 3, kOver}, {3, 2, kOver}}, rampMin, -2},
        {"bounds are valid", {{2, 2, 5000.0f}, {4, 5, -274.0f}}, 5000.0f, 0},
        // In scan order a repaired neighbour counts with its new value: (2, 2) became 0 because (2, 3) is missing.
        {"after a repaired neighbour",
         {{2, 3, kBad}, {2, 2, kBad}},
         (0.0f + 25.0f + 14.0f + 34.0f) / 4.0f,
         -2},
    };
    for (const Row& row : rows) {
        Image frame = ramp();
        for (const Pixel& pixel : row.pixels) frame(pixel.r, pixel.c) = pixel.value;
        SuperResolutionBadPixelHandling handling(3);
        EXPECT_EQ(handling.detectAndReplaceBadPixel(frame), row.result) << row.what;
        EXPECT_EQ(frame(row.pixels[0].r, row.pixels[0].c), row.expected) << row.what;
    }
    Image clean = ramp();
    SuperResolutionBadPixelHandling handling(3);
    EXPECT_EQ(handling.detectAndReplaceBadPixel(clean), 0);
    EXPECT_TRUE(test::sameBits(clean, ramp()));
    for (const auto& [nuc, value, expected] :
         {std::tuple{true, 6000.0f, 6000.0f}, {true, 32768.0f, 45.0f}, {false, 6000.0f, 45.0f}}) {
        Image corner = ramp();
        corner(4, 5) = value;
        handling.setDataIsNUC(nuc);
        handling.detectAndReplaceBadPixel(corner);
        EXPECT_EQ(corner(4, 5), expected);
    }
}

TEST(SuperResolutionBadPixelHandling, RefusesMoreThanTenUnrepairablePixels) {
    for (int defects : {10, 11}) {
        Image frame(2, 40, 7.0f);  // each defect has two good neighbours, and an over-range one below
        for (int i = 0; i < defects; ++i) {
            frame(0, 3 * i + 1) = i % 2 == 0 ? kNaN : kInvalid;
            frame(1, 3 * i + 1) = kOver;
        }
        SuperResolutionBadPixelHandling handling(1);
        int result = 0;
        const oravo::Exception thrown =
            test::thrownBy([&] { result = handling.detectAndReplaceBadPixel(frame); });
        if (defects == 10) {
            EXPECT_EQ(result, -2);
        } else {
            EXPECT_EQ(thrown.message(), "Too many defect pixels. No processing possible.");
            EXPECT_EQ(thrown.kind(), Exception::Kind::tooManyDefects);
            EXPECT_EQ(location("detectAndReplaceBadPixel", thrown), "right");
        }
        EXPECT_EQ(frame(0, 1), 0.0f);
        Image image(4, 80, 1.0f);
        handling.maskBadPixel(image, {{0, 0}});  // the map was stored in either case
        EXPECT_EQ(bitsOf(image(0, 2)), CODE_OVER_RANGE);
    }
}

TEST(SuperResolutionBadPixelHandling, FirstExtremeWinsAndAllBadCrossesTheBounds) {
    const SuperResolutionBadPixelHandling handling(1);
    const Image frame = (Image(2, 4) << 5.0f, kBad, 9.0f, 5.0f, 9.0f, kInf, kNaN, 6000.0f);
    float low = 0, high = 0;
    cv::Point lowAt, highAt;
    handling.getMinMaxVal(frame, low, high, &lowAt, &highAt);
    EXPECT_EQ(low, 5.0f);
    EXPECT_EQ(high, 9.0f);
    EXPECT_EQ(lowAt, cv::Point(0, 0));
    EXPECT_EQ(highAt, cv::Point(2, 0));
    handling.getMinMaxVal(Image(2, 2, kNaN), low, high, nullptr, nullptr);
    EXPECT_EQ(low, 5000.0f);
    EXPECT_EQ(high, -274.0f);
    Image lost = (Image(1, 2) << kOver, kUnder);
    EXPECT_EQ(SuperResolutionBadPixelHandling(1).detectAndReplaceBadPixel(lost), 0);
    EXPECT_EQ(lost(0, 0), -274.0f);
    EXPECT_EQ(lost(0, 1), 5000.0f);
}

TEST(SuperResolutionBadPixelHandling, MarksASevenBySevenBlockAroundADefect) {
    constexpr int kRows = 20, kCols = 24;  // of the enlarged image
    struct Row {
        Point shift;
        cv::Rect marked;
    };
    const Row rows[] = {{{0.0f, 0.0f}, {5, 3, 7, 7}},    // around (8, 6)
                        {{0.3f, -0.3f}, {4, 3, 7, 7}},   // floor(7.4), floor(6.6)
                        {{4.0f, 3.0f}, {0, 0, 4, 4}},    // cut at the upper left
                        {{4.01f, 3.0f}, {}},             // left of the image
                        {{-8.5f, 0.0f}, {22, 3, 2, 7}},  // column 25: beyond the right edge, still marked
                        {{-10.0f, 0.0f}, {}},            // column 28: too far
                        {{0.0f, -6.9f}, {5, 16, 7, 4}},  // row 19
                        {{0.0f, -7.0f}, {}},             // row 20: beyond the lower edge, nothing
                        {{-3e38f, 0.0f}, {}},
                        {{kNaN, 0.0f}, {}}};
    for (const auto& [value, code] : {std::pair{kUnder, CODE_UNDER_RANGE},
                                      {kOver, CODE_OVER_RANGE},
                                      {kNaN, CODE_BAD_PIXEL},
                                      {-300.0f, CODE_BAD_PIXEL},
                                      {kInf, CODE_BAD_PIXEL}}) {
        for (const Row& row : rows) {
            Image frame(kRows / 2, kCols / 2, 1.0f), image(kRows, kCols, 2.0f);
            frame(3, 4) = value;
            SuperResolutionBadPixelHandling handling(1);
            handling.detectAndReplaceBadPixel(frame);
            handling.maskBadPixel(image, {row.shift});
            Image expected(kRows, kCols, 2.0f);
            expected(row.marked & cv::Rect(0, 0, kCols, kRows)).setTo(floatOf(code));
            EXPECT_TRUE(test::sameBits(image, expected)) << row.shift;
        }
    }
}

TEST(SuperResolutionBadPixelHandling, HistoryRollsWithTheFrames) {
    SuperResolutionBadPixelHandling handling(2);
    std::vector<Image> frames;
    for (int i = 0; i < 4; ++i) {
        Image frame(8, 8, static_cast<float>(10 + i));
        frame(2 * i, 4) = i == 3 ? kOver : kUnder;
        handling.detectAndReplaceBadPixel(frame);
        frames.push_back(frame);
        Image image(16, 16, 1.0f);
        const std::size_t held = std::min(i + 1, 2);
        handling.maskBadPixel(image, std::vector<Point>(held));
        for (int k = 0; k < 4; ++k) {
            const bool marked = bitsOf(image(4 * k, 8)) == (k == 3 ? CODE_OVER_RANGE : CODE_UNDER_RANGE);
            const bool near = k == i - 1 || k == i;  // blocks reach 3 rows up and down, the next is 4 away
            EXPECT_EQ(marked, near) << i << ' ' << k;
        }
    }
    // Samples come from the frames whose map is clean there; a pixel without a valid sample in any frame keeps
    // its code.
    const std::vector<Image> newest = {frames[2], frames[3]};
    Image image(16, 16, 1.0f);
    image(0, 0) = kBad;
    image(8, 8) = kUnder;
    image(12, 8) = kOver;
    image(5, 5) = kInvalid;
    image(15, 15) = kOver;
    handling.replaceMaskedPixel(image, {{-0.9f, 0.0f}, {0.6f, 0.0f}}, newest);
    EXPECT_EQ(image(0, 0), 12.5f);   // -0.9 is truncated to column 0
    EXPECT_EQ(image(8, 8), 12.5f);   // column 3 and column 4: clean in both
    EXPECT_EQ(image(12, 8), 12.0f);  // column 4 is bad in the newer frame
    EXPECT_EQ(bitsOf(image(5, 5)), CODE_INVALID);
    EXPECT_EQ(image(15, 15), 12.0f);  // column 8 of the newer frame lies outside
    image(0, 0) = kBad;
    handling.replaceMaskedPixel(image, {{-1.0f, 0.0f}, {0.0f, 8.0f}}, newest);
    EXPECT_EQ(bitsOf(image(0, 0)), CODE_BAD_PIXEL);
}

TEST(SuperResolutionBadPixelHandling, CopiesKeepTheirMaps) {
    const auto takeIn = [](SuperResolutionBadPixelHandling& handling, int row, float value) {
        Image frame(8, 8, 1.0f);
        frame(row, 4) = value;
        handling.detectAndReplaceBadPixel(frame);
    };
    const auto marks = [](SuperResolutionBadPixelHandling& handling) {
        Image image(16, 16, 1.0f);
        handling.maskBadPixel(image, std::vector<Point>(2));
        return image;
    };
    SuperResolutionBadPixelHandling original(2);
    takeIn(original, 0, kUnder);
    takeIn(original, 2, kUnder);
    SuperResolutionBadPixelHandling copy = original;
    const Image before = marks(copy);
    for (int row : {4, 6, 7}) takeIn(original, row, kOver);
    EXPECT_TRUE(test::sameBits(marks(copy), before));
    const Image rolled = marks(original);
    EXPECT_FALSE(test::sameBits(rolled, before));
    for (int row : {1, 3, 5}) takeIn(copy, row, kBad);
    EXPECT_TRUE(test::sameBits(marks(original), rolled));
}

TEST(SuperResolutionBadPixelHandling, NamesWhatIsMissing) {
    SuperResolutionBadPixelHandling handling(2);
    Image image(16, 16, 1.0f), frame(8, 8, 1.0f);
    frame(4, 4) = kBad;
    oravo::Exception thrown = test::thrownBy([&] { handling.replaceMaskedPixel(image, {}, {}); });
    EXPECT_EQ(thrown.message(), "bad pixel masks not initalized");
    EXPECT_EQ(location("replaceMaskedPixel", thrown), "right");
    handling.detectAndReplaceBadPixel(frame);
    thrown = test::thrownBy([&] { handling.maskBadPixel(image, {}); });
    EXPECT_EQ(thrown.message(), "maskBadPixel(): number of shifts ist not equal to number of defectMaps");
    EXPECT_EQ(location("maskBadPixel", thrown), "right");
    EXPECT_TRUE(test::sameBits(image, Image(16, 16, 1.0f)));
    for (const std::vector<Image>& frames : {std::vector<Image>{}, {Image(8, 7)}}) {
        EXPECT_NE(test::thrownBy([&] {
                      handling.replaceMaskedPixel(image, {{0, 0}}, frames);
                  }).message(),
                  "(nothing thrown)");
    }
}

TEST(SuperResolutionBadPixelHandling, ColoursTheRangeCodes) {
    const Image image = (Image(1, 4) << kOver, kUnder, kBad, 3.0f);
    cv::Mat_<cv::Vec3b> view(2, 5, cv::Vec3b(1, 2, 3));
    SuperResolutionBadPixelHandling::colorBadPixel(image, view);
    EXPECT_EQ(view(0, 0), cv::Vec3b(0, 0, 255));
    EXPECT_EQ(view(0, 1), cv::Vec3b(255, 0, 0));
    for (int c : {2, 3, 4}) EXPECT_EQ(view(0, c), cv::Vec3b(1, 2, 3));
    for (cv::Mat_<cv::Vec3b> small : {cv::Mat_<cv::Vec3b>(1, 3), cv::Mat_<cv::Vec3b>()}) {
        const oravo::Exception thrown =
            test::thrownBy([&] { SuperResolutionBadPixelHandling::colorBadPixel(image, small); });
        EXPECT_EQ(thrown.message(), "colorBadPixel(): view of " + std::to_string(small.cols) + " x " +
                                        std::to_string(small.rows) +
                                        " pixels is smaller than image of 4 x 1 pixels");
        EXPECT_EQ(location("colorBadPixel", thrown), "right");
    }
}

}  // namespace oravo::vision
