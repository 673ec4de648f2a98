#include "vision/superresolution/reference/SuperResolutionRegistration.h"

#include <gtest/gtest.h>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloatRegistration1.h"

namespace oravo::test {
namespace {

using Spectrum = std::vector<std::complex<float>>;
using vision::SrFloatRegistration1;
using vision::SuperResolutionFft2d;
using vision::SuperResolutionRegistration;

std::vector<Spectrum> spectraOf(SuperResolutionFft2d& fft, const std::vector<Image>& frames) {
    std::vector<Spectrum> spectra;
    for (const Image& frame : frames) {
        spectra.emplace_back(static_cast<std::size_t>((frame.cols / 2 + 1) * frame.rows));
        fft.forward(frame.ptr<float>(), spectra.back().data());
    }
    return spectra;
}

struct Registered {
    Registered(SuperResolutionRegistration& registration, std::vector<Image> images, int ref)
        : frames(std::move(images)),
          moved(clones(frames)),
          masks(static_cast<int>(frames.size()), frames[0].rows * frames[0].cols, 7),
          shifts(frames.size()) {
        const std::vector<Spectrum> spectra = spectraOf(registration.getFft(), frames);
        std::vector<const std::complex<float>*> pointersToSpectra;
        for (const Spectrum& spectrum : spectra) pointersToSpectra.push_back(spectrum.data());
        code = registration.doRegistration(static_cast<int>(frames.size()), ref, pointers(frames).data(),
                                           pointersToSpectra.data(), shifts.data(), masks.pointers.data(),
                                           pointers(moved).data());
        registration.getCompleteShifts(complete);
    }
    std::vector<Image> frames, moved;
    Masks masks;
    std::vector<PointF> shifts, complete;
    int code = -1;
};

TEST(SuperResolutionRegistration, HasTheBitsOfTheFloatFamily) {
    for (const int radius : {5, 2}) {
        const std::vector<Image> frames =
            burst(Scene(11, 47, 64, 1.0), 47, 64, {{1, 2}, {0, 0}, {0.3f, -0.2f}, {-4.6f, 2.3f}, {3, 0}});
        SuperResolutionRegistration reference(64, 47, 2.0f, radius);
        reference.setRegErrBlurRadius(radius + 2);
        reference.setRegError(0.00002f);
        const Registered run(reference, frames, 1);
        EXPECT_EQ(run.code, 0);

        SrFloatRegistration1 floating(64, 47, 5);
        floating.setGaussRadius(radius);
        floating.setRegErrBlurRadius(radius + 2);
        floating.setRegError(0.00002f);
        std::vector<Image> moved = clones(frames), copies = clones(frames);
        Masks masks(5, 47 * 64);
        std::vector<Point> shifts(5), complete;
        for (const Image& frame : frames) floating.prepareFrame(frame.ptr<float>());
        floating.doRegistration(5, 1, pointers(copies).data(), shifts.data(), masks.pointers.data(),
                                pointers(moved).data());
        floating.getCompleteShifts(complete);
        ASSERT_EQ(run.complete.size(), 5U);
        for (std::size_t i = 0; i < 5; ++i) {
            EXPECT_EQ(Point(run.complete[i].x, run.complete[i].y), complete[i]);
            EXPECT_EQ(Point(run.shifts[i].x, run.shifts[i].y), shifts[i]);
            EXPECT_TRUE(sameBits(run.moved[i], moved[i]));
        }
        EXPECT_EQ(run.masks.values, masks.values);
        EXPECT_NEAR(run.complete[3].x, -4.6f, 0.12f);
    }
}

TEST(SuperResolutionRegistration, RefusesWhatCannotBeRegistered) {
    EXPECT_NE(thrownBy([] { SuperResolutionRegistration(7, 4, 2.0f, 5); }).message().find("7"),
              std::string::npos);
    EXPECT_NE(thrownBy([] { SuperResolutionRegistration(8, 4, 0.5f, 5); }).message(), "(nothing thrown)");
    EXPECT_NE(thrownBy([] { SuperResolutionRegistration(8, 4, 2.0f, -1); }).message(), "(nothing thrown)");
    SuperResolutionRegistration empty(8, 8, 2.0f, 5);
    EXPECT_NE(
        thrownBy([&] { empty.doRegistration(0, 0, nullptr, nullptr, nullptr, nullptr, nullptr); }).message(),
        "(nothing thrown)");

    // A frame like the reference stays; one that moved by half the height, here on the x axis, is refused.
    const Image image = randomImage(40, 80, 5, 10.0f, 30.0f);
    Image moved(40, 80);
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 80; ++x) moved(y, (x + 21) % 80) = image(y, x);
    }
    SuperResolutionRegistration registration(80, 40, 2.0f, 5);
    const Registered still(registration, {image, image}, 0);
    EXPECT_EQ(still.complete[1].x, 0.0f);
    EXPECT_EQ(still.complete[1].y, 0.0f);
    const Exception thrown = thrownBy([&] { Registered(registration, {image, moved}, 0); });
    EXPECT_EQ(thrown.message(), "Too large displacement");
    EXPECT_EQ(thrown.location(),
              "vision/superresolution/reference/SuperResolutionRegistration: 91: "
              "oravo::vision::SuperResolutionRegistration::doRegistration(..)\n");

    EXPECT_EQ(registration.getGaussRadius(), 5);
    EXPECT_NE(thrownBy([&] { registration.setGaussRadius(-1); }).message(), "(nothing thrown)");
    EXPECT_EQ(registration.getGaussRadius(), 5);
    EXPECT_EQ(registration.getRegErrBlurRadius(), 3);
    EXPECT_EQ(registration.getRegError(), 0.0001f);
}

TEST(SuperResolutionRegistration, ARefusalLeavesLaterFramesAlone) {
    // Frame 2 is refused. The float family has copied all frames by then, the reference none after that one.
    const Image image = randomImage(40, 80, 5, 10.0f, 30.0f);
    std::vector<Image> frames(5, image);
    frames[2] = image.clone();
    for (int x = 0; x < 80; ++x) image.col(x).copyTo(frames[2].col((x + 21) % 80));
    const auto movedBy = [&](auto call) {
        std::vector<Image> moved(5);
        for (Image& target : moved) target = Image(40, 80, -1.0f);
        Masks masks(5, 40 * 80);
        EXPECT_EQ(thrownBy([&] { call(masks.pointers.data(), pointers(moved).data()); }).message(),
                  "Too large displacement");
        return moved;
    };
    SuperResolutionRegistration reference(80, 40, 2.0f, 5);
    const std::vector<Spectrum> spectra = spectraOf(reference.getFft(), frames);
    std::vector<const std::complex<float>*> spectrumPointers;
    for (const Spectrum& spectrum : spectra) spectrumPointers.push_back(spectrum.data());
    std::vector<PointF> shifts(5);
    const std::vector<Image> own = movedBy([&](char** masks, float** moved) {
        reference.doRegistration(5, 0, pointers(frames).data(), spectrumPointers.data(), shifts.data(), masks,
                                 moved);
    });
    SrFloatRegistration1 floating(80, 40, 5);
    for (const Image& frame : frames) floating.prepareFrame(frame.ptr<float>());
    std::vector<Point> floatShifts(5);
    const std::vector<Image> other = movedBy([&](char** masks, float** moved) {
        floating.doRegistration(5, 0, pointers(frames).data(), floatShifts.data(), masks, moved);
    });
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_TRUE(sameBits(other[i], frames[i])) << i;
        EXPECT_TRUE(sameBits(own[i], i <= 2 ? frames[i] : Image(40, 80, -1.0f))) << i;
    }
}

}  // namespace
}  // namespace oravo::test
