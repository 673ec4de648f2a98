/// The vector family against the float family.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "tests/TestScenes.h"
#include "tests/plain/PlainOperators.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatNeonConvolution.h"
#include "vision/superresolution/SrFloatNeonMinimization.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration2.h"

namespace oravo::test {
namespace {

const std::vector<Point> kShifts = {{0, 0}, {0.4f, 0.1f}, {-2.3f, 0.5f}, {0.2f, -1.4f}, {0.5f, 0.5f}};
constexpr int kFrames = 5;

/// Floats without room behind them: memory checkers see every access beyond the last one.
struct Exact {
    std::unique_ptr<float[]> data;
    explicit Exact(const std::vector<float>& values) : data(new float[values.size()]) {
        std::copy(values.begin(), values.end(), data.get());
    }
    explicit Exact(int n, unsigned seed) : Exact(randomVector(n, seed)) {}
};

struct FloatMasks {
    std::vector<std::vector<float>> values;
    std::vector<float*> pointers;
    FloatMasks(int n, int pixels, float value) : values(static_cast<std::size_t>(n)) {
        for (auto& mask : values) {
            mask.assign(static_cast<std::size_t>(pixels), value);
            pointers.push_back(mask.data());
        }
    }
};

TEST(SrFloatNeonConvolution, agreesWithThePlainTwinForAnySize) {
    for (const float f : {1.0f, 2.0f, 2.5f, 3.0f}) {
        for (const auto& [taps, rows] : {std::pair(1, 8), {2, 7}, {5, 4}, {6, 6}, {2, 4}, {8, 2}, {6, 3}}) {
            for (int width = 1; width <= 23; ++width) {
                const plain::SparseOperators twin{width, 24 - width, taps, rows, f};
                SCOPED_TRACE(::testing::Message()
                             << width << " wide, " << taps << " x " << rows << " taps, factor " << f);
                vision::SrFloatNeonConvolution fast(twin.W, twin.H, twin.kw, twin.kh, f);
                const int low = twin.lowWidth() * twin.lowHeight();
                const int extended = twin.extendedWidth() * twin.extendedHeight();
                const Exact h(twin.kw, 1), v(twin.kh, 2), samples(low, 3), image(extended, 4);
                const Exact out(extended, 5), sampled(low, 6);
                std::vector<float> masks(static_cast<std::size_t>(low)), weighted(masks),
                    expected(extended + 0U);
                for (std::size_t i = 0; i < masks.size(); ++i) {
                    masks[i] = std::vector<float>{0.0f, 0.5f, 1.0f, -1.0f, 1.0f}[i % 5];
                    weighted[i] = masks[i] * samples.data[i];
                }
                const std::vector<char> ones(masks.size(), 1);
                fast.fullConvFromSparse(samples.data.get(), h.data.get(), v.data.get(),
                                        Exact(masks).data.get(), out.data.get());
                twin.fullConvFromSparse(weighted.data(), h.data.get(), v.data.get(), ones.data(),
                                        expected.data());
                // The same products in the same order per pixel; only the sign of a zero may differ.
                for (int i = 0; i < extended; ++i) {
                    ASSERT_EQ(out.data[static_cast<std::size_t>(i)], expected[static_cast<std::size_t>(i)])
                        << i;
                }
                fast.validCorrToSparse(image.data.get(), h.data.get(), v.data.get(), sampled.data.get());
                twin.validCorrToSparse(image.data.get(), h.data.get(), v.data.get(), expected.data());
                for (int i = 0; i < low; ++i) {
                    ASSERT_EQ(sampled.data[static_cast<std::size_t>(i)],
                              expected[static_cast<std::size_t>(i)])
                        << i;
                }
            }
        }
    }
    EXPECT_EQ(thrownBy([] { vision::SrFloatNeonConvolution(8, 8, 0, 6, 2.0f); }).message(),
              "Invalid kernel size 0 x 6 specified.");
}

TEST(SrFloatNeonMinimization, agreesWithTheFloatSolver) {
    for (const cv::Size size : {cv::Size(3, 9), {16, 9}, {17, 8}, {18, 7}, {19, 12}}) {
        for (const float f : {2.0f, 3.0f}) {
            SCOPED_TRACE(::testing::Message() << size << " factor " << f);
            std::vector<Image> frames;
            for (unsigned k = 0; k < kFrames; ++k)
                frames.push_back(randomImage(size.height, size.width, k, 10, 30));
            std::vector<Image> copies = clones(frames);
            std::vector<Point> shifts = kShifts;
            for (Point& shift : shifts) shift = {shift.x / 5, shift.y / 5};
            Masks bytes(kFrames, size.area());
            FloatMasks masks(kFrames, size.area(), 1.0f);
            for (std::size_t i = 0; i < bytes.bytes[1].size(); i += 3)
                masks.values[1][i] = bytes.bytes[1][i] = 0;
            const int scale = static_cast<int>(f);
            Image a(scale * size.height, scale * size.width), b(a.size());
            vision::SrFloatMinimization solver(size.width, size.height, kFrames, f);
            vision::SrFloatNeonMinimization vector(size.width, size.height, kFrames, f);
            EXPECT_EQ(solver.minimize(kFrames, 1, pointers(frames).data(), shifts.data(),
                                      bytes.pointers.data(), a.ptr<float>()),
                      vector.minimize(kFrames, 1, pointers(copies).data(), shifts.data(),
                                      masks.pointers.data(), b.ptr<float>()));
            // The order of double sums may turn the last bit of alpha and beta in each of 8 steps; a step
            // passes on a few times that, for values within 50 of the mean.
            EXPECT_LE(largestDifference(a, b), 65 * std::ldexp(50.0, -23));
        }
    }
    EXPECT_NE(thrownBy([] { vision::SrFloatNeonMinimization(4, 4, 2, 2.0f).minimize(3, 0, {}, {}, {}, {}); })
                  .location()
                  .find("oravo::vision::SrFloatNeonMinimization::minimize(..)\n"),
              std::string::npos);
}

/// One registration of a burst with masks of either type.
template <class Registration, class MaskStack>
struct Registered {
    std::vector<Point> shifts, complete;
    std::vector<Image> moved;
    Registered(const std::vector<Image>& burst, MaskStack& masks, Registration registration)
        : shifts(kFrames), moved(clones(burst)) {
        std::vector<Image> frames = clones(burst);
        for (const Image& frame : frames) registration.prepareFrame(frame.ptr<float>());
        EXPECT_EQ(registration.doRegistration(kFrames, 2, pointers(frames).data(), shifts.data(),
                                              masks.pointers.data(), pointers(moved).data()),
                  0);
        registration.getCompleteShifts(complete);
    }
};

TEST(SrFloatNeonRegistration, isTheFloatRegistrationWithFloatMasks) {
    const std::vector<Image> frames = burst(Scene(3, 50, 61), 50, 61, kShifts);
    Masks bytes(kFrames, 50 * 61, 7);
    FloatMasks masks(kFrames, 50 * 61, 7.0f);
    const Registered a(frames, bytes, vision::SrFloatRegistration2(61, 50, kFrames));
    const Registered b(frames, masks, vision::SrFloatNeonRegistration(61, 50, kFrames));
    EXPECT_EQ(a.shifts, b.shifts);
    EXPECT_EQ(a.complete, b.complete);
    for (std::size_t k = 0; k < kFrames; ++k) {
        EXPECT_TRUE(sameBits(a.moved[k], b.moved[k]));
        EXPECT_TRUE(std::equal(bytes.bytes[k].begin(), bytes.bytes[k].end(), masks.values[k].begin()));
    }
    const oravo::Exception thrown = thrownBy([] {
        const Scene scene(3, 16, 100);
        FloatMasks small(kFrames, 16 * 100, 0.0f);
        Registered(burst(scene, 16, 100, {{0, 0}, {0, 0}, {0, 0}, {0, 0}, {9, 0}}), small,
                   vision::SrFloatNeonRegistration(100, 16, kFrames));
    });
    EXPECT_STREQ(thrown.what(),
                 "Too large displacement\nvision/superresolution/SrFloatNeonRegistration: 175: "
                 "oravo::vision::SrFloatNeonRegistration::doRegistration(..)\n");
}

}  // namespace
}  // namespace oravo::test
