#include "vision/superresolution/SrFloatRegistration1.h"

#include <gtest/gtest.h>

#include <complex>
#include <limits>
#include <vector>

#include "tests/RecordedBursts.h"
#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloatRegistration2.h"

namespace oravo::test {
namespace {

using vision::SrFloatRegistration1;
using vision::SrFloatRegistration2;

struct Registered {
    template <class Registration>
    Registered(Registration& registration, std::vector<Image> images, int refIndex)
        : frames(std::move(images)),
          moved(clones(frames)),
          masks(static_cast<int>(frames.size()), frames[0].rows * frames[0].cols, 7) {
        for (const Image& frame : frames) registration.prepareFrame(frame.ptr<float>());
        shifts.resize(frames.size());
        code = registration.doRegistration(static_cast<int>(frames.size()), refIndex, pointers(frames).data(),
                                           shifts.data(), masks.pointers.data(), pointers(moved).data());
        registration.getCompleteShifts(complete);
    }
    std::vector<Image> frames, moved;
    Masks masks;
    std::vector<Point> shifts, complete;
    int code = -1;
};

TEST(SrFloatRegistration1, RecoversKnownShifts) {
    // Fine texture carries the peak over any distance. A smooth scene does not: what its spectrum holds above
    // the lowest frequencies comes from the jump at the image border, which stays where it is, so the peak
    // stays at (0, 0) and the refinement alone has to bridge the shift.
    struct Case {
        double scale;
        std::vector<Point> truth;
    };
    const std::vector<Case> cases = {
        {1.0, {{1, 2}, {0, 0}, {0.3f, -0.2f}, {-4.6f, 2.3f}, {7.5f, -6.5f}, {0, 9}}},
        {9.0, {{0.9f, 0}, {0, 0}, {0.3f, -0.2f}, {-0.5f, 0.4f}, {0.1f, -1.0f}}}};
    for (const auto& [scale, truth] : cases) {
        SrFloatRegistration1 registration(96, 72, static_cast<int>(truth.size()));
        const Registered run(registration, burst(Scene(11, 72, 96, scale), 72, 96, truth), 1);
        EXPECT_EQ(run.code, 0);
        for (std::size_t i = 0; i < truth.size(); ++i) {
            EXPECT_NEAR(run.complete[i].x, truth[i].x, 0.12f) << "scale " << scale << ", frame " << i;
            EXPECT_NEAR(run.complete[i].y, truth[i].y, 0.12f) << "scale " << scale << ", frame " << i;
            const Point whole = run.complete[i] - run.shifts[i];
            EXPECT_EQ(whole,
                      Point(std::floor(run.complete[i].x + 0.5f), std::floor(run.complete[i].y + 0.5f)));
            EXPECT_EQ(run.moved[i](36, 48),
                      run.frames[i](36 + static_cast<int>(whole.y), 48 + static_cast<int>(whole.x)));
        }
        const std::vector<char>& reference = run.masks.values[1];
        EXPECT_EQ(std::count(reference.begin(), reference.end(), 1), 96 * 72);
    }
}

TEST(SrFloatRegistration1, ForeignFrameGetsAnEmptyMask) {
    SrFloatRegistration1 registration(64, 48, 2);
    const Registered run(registration,
                         {Scene(1, 48, 64).frame(48, 64), Image(5 * Scene(2, 48, 64).frame(48, 64))}, 0);
    EXPECT_LT(std::count(run.masks.values[1].begin(), run.masks.values[1].end(), 1), 64 * 48 / 10);
    EXPECT_EQ(std::count(run.masks.values[1].begin(), run.masks.values[1].end(), 7), 0);
}

TEST(SrFloatRegistration1, ForeignFramesOfTheSameContrastAreMaskedInPartOrRefused) {
    // What happens to agree stays marked; a shift that is found too far away refuses the run.
    const auto outcomes = [](auto frameOf) {
        int refused = 0, marked = 0;
        for (unsigned seed = 2; seed < 32; ++seed) {
            SrFloatRegistration1 registration(64, 48, 2);
            std::vector<char> mask;
            const Exception thrown = thrownBy([&] {
                mask = Registered(registration, {frameOf(1U), frameOf(seed)}, 0).masks.values[1];
            });
            refused += thrown.message() == "Too large displacement" ? 1 : 0;
            marked += std::count(mask.begin(), mask.end(), 1) > 0 ? 1 : 0;
        }
        return std::pair(marked, refused);
    };
    EXPECT_GT(outcomes([](unsigned seed) { return Scene(seed, 48, 64).frame(48, 64); }).first, 10);
    EXPECT_GT(outcomes([](unsigned seed) { return randomImage(48, 64, seed, 10.0f, 30.0f); }).second, 0);
}

TEST(SrFloatRegistration1, RefusesWhatCannotBeRegistered) {
    EXPECT_NE(thrownBy([] { SrFloatRegistration1(7, 4, 2); }).message().find("7"), std::string::npos);
    EXPECT_NE(thrownBy([] { SrFloatRegistration1(8, 4, 0); }).message(), "(nothing thrown)");

    // The limit is half the height on both axes: 21 columns are too far at a height of 40, not at 44.
    const auto registeredAt = [](int height) {
        const Image image = randomImage(height, 80, 5, 10.0f, 30.0f);
        SrFloatRegistration1 registration(80, height, 2);
        return Registered(registration, {image, cyclicMove(image, 21, 0)}, 0).complete[1];
    };
    EXPECT_NEAR(registeredAt(44).x, 21.0f, 0.1f);
    const Exception tooLarge = thrownBy([&] { registeredAt(40); });
    EXPECT_EQ(tooLarge.message(), "Too large displacement");
    EXPECT_EQ(tooLarge.location(),
              "vision/superresolution/SrFloatRegistration1: 144: "
              "oravo::vision::SrFloatRegistration1::doRegistration(..)\n");

    SrFloatRegistration1 unprepared(8, 8, 3);
    std::vector<Image> frames(2, Image(8, 8, 1.0f));
    Masks masks(3, 64);
    Point none[2];
    EXPECT_NE(thrownBy([&] {
                  unprepared.doRegistration(2, 0, pointers(frames).data(), none, masks.pointers.data(),
                                            pointers(frames).data());
              }).message(),
              "(nothing thrown)");
}

TEST(SrFloatRegistration1, SlotsRotateAndTheBlurFollowsItsRadius) {
    const std::vector<Image> frames =
        burst(Scene(8, 48, 64), 48, 64, {{9, 9}, {0, 0}, {2.3f, 1}, {-1, 0.4f}});
    SrFloatRegistration1 rolled(64, 48, 3);
    rolled.prepareFrame(frames[0].ptr<float>());
    SrFloatRegistration1 fresh(64, 48, 3);
    const std::vector<Image> last(frames.begin() + 1, frames.end());
    const Registered expected(fresh, last, 0);
    EXPECT_EQ(Registered(rolled, last, 0).complete, expected.complete);

    EXPECT_EQ(fresh.getGaussRadius(), 5);
    fresh.setGaussRadius(2);
    const Registered narrow(fresh, last, 0);
    EXPECT_NE(narrow.complete, expected.complete);
    EXPECT_NEAR(narrow.complete[1].x, 2.3f, 0.3f);
    EXPECT_NE(thrownBy([&] { fresh.setGaussRadius(-1); }).message(), "(nothing thrown)");
    EXPECT_EQ(fresh.getGaussRadius(), 2);
}

TEST(SrFloatRegistration1, AgreesWithCornersOnRecordedBursts) {
    if (!whyNoRecordings().empty()) GTEST_SKIP() << whyNoRecordings();
    for (const char* name : {"rendered_pipes", "mwir_embankment", "mwir_fields", "lwir_buildings"}) {
        const std::vector<Image> frames = recordedWindow(name);
        SrFloatRegistration1 phase(frames[0].cols, frames[0].rows, 5);
        SrFloatRegistration2 corners(frames[0].cols, frames[0].rows, 5);
        const Registered a(phase, frames, 1);
        const Registered b(corners, frames, 1);
        for (std::size_t i = 0; i < 5; ++i) {
            EXPECT_NEAR(a.complete[i].x, b.complete[i].x, 0.05f) << name << ", frame " << i;
            EXPECT_NEAR(a.complete[i].y, b.complete[i].y, 0.05f) << name << ", frame " << i;
        }
    }
}

}  // namespace
}  // namespace oravo::test
