#include "vision/superresolution/SrFloatNeonConvolution.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "tests/TestScenes.h"
#include "tests/plain/PlainOperators.h"

namespace oravo::test {
namespace {

/// Floats in exactly allocated memory: memory checkers see every access beyond the last one.
struct Exact {
    std::unique_ptr<float[]> data;
    explicit Exact(const std::vector<float>& values) : data(new float[values.size()]) {
        std::copy(values.begin(), values.end(), data.get());
    }
    explicit Exact(int n, unsigned seed) : Exact(randomVector(n, seed)) {}
};

TEST(SrFloatNeonConvolution, AgreesWithThePlainTwinForAnySize) {
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

}  // namespace
}  // namespace oravo::test
