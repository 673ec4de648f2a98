#include "vision/superresolution/SrFloatNeonRegistration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloatRegistration2.h"

namespace oravo::test {
namespace {

const std::vector<Point> kShifts = {{0, 0}, {0.4f, 0.1f}, {-2.3f, 0.5f}, {0.2f, -1.4f}, {0.5f, 0.5f}};

constexpr int kFrames = 5;

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

TEST(SrFloatNeonRegistration, IsTheFloatRegistrationWithFloatMasks) {
    const std::vector<Image> frames = burst(Scene(3, 50, 61), 50, 61, kShifts);
    Masks bytes(kFrames, 50 * 61, 7);
    FloatMasks masks(kFrames, 50 * 61, 7.0f);
    const Registered a(frames, bytes, vision::SrFloatRegistration2(61, 50, kFrames));
    const Registered b(frames, masks, vision::SrFloatNeonRegistration(61, 50, kFrames));
    EXPECT_EQ(a.shifts, b.shifts);
    EXPECT_EQ(a.complete, b.complete);
    for (std::size_t k = 0; k < kFrames; ++k) {
        EXPECT_TRUE(sameBits(a.moved[k], b.moved[k]));
        EXPECT_TRUE(std::equal(bytes.values[k].begin(), bytes.values[k].end(), masks.values[k].begin()));
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
