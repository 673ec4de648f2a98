#include "vision/superresolution/detail/precise/Trust.h"

#include <gtest/gtest.h>

#include <cmath>

namespace oravo::vision::detail::precise {

TEST(Trust, LeansOnTheReferenceByHowFramesFit) {
    struct Case {
        const char* name;
        double gain;         ///< of withheld pixels, dB
        double noise;        ///< of a frame
        double missed, odd;  ///< withheld error over the noise; the reference's misfit over the others'
        double least, most;  ///< leaning
    };
    const Case cases[] = {
        {"a good burst", 9.0, 0.01, 1.0, 1.0, 0.0, 0.0},
        {"noise is all that is missed", 2.0, 0.15, 1.0, 1.0, 0.0, 0.0},
        {"more than noise, but far better", 6.0, 0.01, 4.0, 0.8, 0.0, 0.0},
        {"warped frames", 2.0, 0.01, 2.5, 0.6, 1.0, 1.0},
        {"a little warped", 3.0, 0.01, 1.5, 0.6, 0.1, 0.9},
        {"frames of a codec", 2.5, 0.001, 20.0, 0.7, 0.0, 0.0},
        {"frames of a codec, no better than bicubic", 0.5, 0.001, 20.0, 0.7, 1.0, 1.0},
        {"an odd reference", 4.0, 0.01, 1.2, 1.8, 1.0, 1.0},
        {"an odd reference that fits the noise of a good burst", 10.0, 0.01, 0.7, 1.8, 0.0, 0.0}};
    for (const Case& c : cases) {
        Evidence evidence;
        evidence.frameNoise = c.noise;
        evidence.withheldError = c.missed * c.noise;
        evidence.bicubicError = evidence.withheldError * std::pow(10.0, c.gain / 20.0);
        evidence.misfit = c.noise;
        evidence.referenceMisfit = c.odd * c.noise;
        EXPECT_NEAR(gainInDecibels(evidence), c.gain, 1e-9) << c.name;
        EXPECT_GE(leaningOnReference(evidence), c.least) << c.name;
        EXPECT_LE(leaningOnReference(evidence), c.most) << c.name;
        EXPECT_EQ(isProcessed(evidence), c.noise < 0.005) << c.name;
    }
    EXPECT_EQ(leaningOnReference(Evidence()), 0.0);
    EXPECT_EQ(gainInDecibels(Evidence()), 0.0);
}

}  // namespace oravo::vision::detail::precise
