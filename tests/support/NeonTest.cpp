#include "support/neon.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace oravo {
namespace {

std::vector<float> lanes(float32x4_t v) {
    std::vector<float> values(4);
    vst1q_f32(values.data(), v);
    return values;
}

}  // namespace

TEST(Neon, OperationsWorkByLaneOnUnalignedMemory) {
    using Lanes = std::vector<float>;
    const float p[9] = {9, 0, 1, 2, 3, 4, 5, 6, 7};
    const float32x4_t a = vld1q_f32(p + 1);
    EXPECT_EQ(lanes(a), Lanes({0, 1, 2, 3}));
    const float32x4x2_t pair = vld2q_f32(p + 1);
    EXPECT_EQ(lanes(pair.val[0]), Lanes({0, 2, 4, 6}));
    EXPECT_EQ(lanes(pair.val[1]), Lanes({1, 3, 5, 7}));
    EXPECT_EQ(lanes(vdupq_n_f32(2.5f)), Lanes(4, 2.5f));
    EXPECT_EQ(lanes(vcombine_f32(vdup_n_f32(1), vdup_n_f32(2))), Lanes({1, 1, 2, 2}));
    EXPECT_EQ(lanes(vmulq_f32(a, pair.val[1])), Lanes({0, 3, 10, 21}));
    EXPECT_EQ(lanes(vmlaq_f32(vdupq_n_f32(1), a, pair.val[0])), Lanes({1, 3, 9, 19}));
}

TEST(Neon, ProductsAreRoundedBeforeTheyAreAdded) {
    const float b = 1.0f + std::ldexp(1.0f, -12);  // b b - 1 needs more bits than a float's product keeps
    EXPECT_EQ(lanes(vmlaq_f32(vdupq_n_f32(-1), vdupq_n_f32(b), vdupq_n_f32(b)))[3], std::ldexp(1.0f, -11));
}

}  // namespace oravo
