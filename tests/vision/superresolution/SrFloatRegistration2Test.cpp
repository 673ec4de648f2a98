#include "vision/superresolution/SrFloatRegistration2.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>

#include "tests/RecordedBursts.h"
#include "tests/TestScenes.h"

namespace oravo::vision {
namespace {

using test::Image;
using test::Point;

/// Prepares all frames, but registers only the newest `slots` of them.
struct Registered {
    std::vector<Image> frames, moved;
    std::vector<Point> shifts, complete;
    test::Masks masks;
    SrFloatRegistration2 registration;
    int code = 0;

    Registered(const std::vector<Image>& all, int slots, int refIndex, int prepared = 1000)
        : frames(all.end() - slots, all.end()),
          moved(test::clones(frames)),
          shifts(frames.size(), Point(99.0f, 99.0f)),
          masks(slots, all[0].size().area(), 5),
          registration(all[0].cols, all[0].rows, slots) {
        for (const Image& frame : all) {
            if (prepared-- > 0) registration.prepareFrame(frame.ptr<float>());
        }
        code = registration.doRegistration(slots, refIndex, test::pointers(frames).data(), shifts.data(),
                                           masks.pointers.data(), test::pointers(moved).data());
        registration.getCompleteShifts(complete);
    }
    double worst(const std::vector<Point>& truth) const {
        double distance = 0.0;
        for (std::size_t i = 0; i < complete.size(); ++i)
            distance = std::max(distance, cv::norm(complete[i] - truth[i]));
        return distance;
    }
};

}  // namespace

TEST(SrFloatRegistration2, RecoversKnownShifts) {
    const std::vector<Point> truth = {{0, 0},        {3.0f, -2.0f}, {0.3f, 0.4f},   {-2.6f, 1.45f},
                                      {-0.5f, 0.1f}, {5.25f, 4.0f}, {-4.0f, -3.75f}};
    for (const cv::Size size : {cv::Size(80, 60), {161, 40}, {40, 160}}) {
        SCOPED_TRACE(::testing::Message() << size);
        const test::Scene scene(7, size.height, size.width);
        const int n = static_cast<int>(truth.size());
        const Registered run(test::burst(scene, size.height, size.width, truth), n, 0);
        ASSERT_EQ(run.code, 0);
        // One linearised step from up to half a pixel away; the blur mirrors what frames show at their
        // border.
        EXPECT_LE(run.worst(truth), 0.12);
        EXPECT_EQ(run.complete[0], Point(0.0f, 0.0f));
        for (int k = 0; k < n; ++k) {
            const std::size_t i = static_cast<std::size_t>(k);
            const Point whole = run.complete[i] - run.shifts[i];
            EXPECT_TRUE(run.shifts[i].x >= -0.5f && run.shifts[i].x < 0.5f) << run.shifts[i];
            EXPECT_TRUE(run.shifts[i].y >= -0.5f && run.shifts[i].y < 0.5f) << run.shifts[i];
            const int dx = cvRound(whole.x), dy = cvRound(whole.y);
            const cv::Rect inside(std::max(-dx, 0), std::max(-dy, 0), size.width - std::abs(dx),
                                  size.height - std::abs(dy));
            EXPECT_TRUE(test::sameBits(run.moved[i](inside), run.frames[i](inside + cv::Point(dx, dy))));
            int valid = 0, other = 0;
            for (char byte : run.masks.values[i]) (byte == 1 ? valid : other) += byte == 0 ? 0 : 1;
            EXPECT_EQ(other, 0);
            EXPECT_LE(valid, inside.area());
            EXPECT_GE(valid, inside.area() * 9 / 10);
        }
    }
}

TEST(SrFloatRegistration2, KeepsTheNewestFramesOldestFirst) {
    const std::vector<Point> shifts = {{0, 0}, {1, 0}, {2, 1}, {4, -1}, {6, 2}};
    const std::vector<Image> frames = test::burst(test::Scene(8, 60, 80), 60, 80, shifts);
    const Registered run(frames, 3, 1);
    ASSERT_EQ(run.code, 0);
    EXPECT_LE(run.worst({{-2, 2}, {0, 0}, {2, 3}}), 0.06);
}

TEST(SrFloatRegistration2, FlatReferenceHasNoCornerToTrack) {
    const Image scene = test::Scene(8, 60, 80).frame(60, 80);
    const Registered run({scene, Image(60, 80, 20.0f), scene}, 3, 1);
    EXPECT_EQ(run.code, -9);
    EXPECT_TRUE(run.complete.empty());
    for (const Point& shift : run.shifts) EXPECT_EQ(shift, Point(99.0f, 99.0f));
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(run.masks.values[k], std::vector<char>(60 * 80, k == 1 ? 1 : 0));
        EXPECT_TRUE(test::sameBits(run.moved[k], run.frames[k]));
    }
}

TEST(SrFloatRegistration2, RefusesDisplacementsOfHalfTheHeight) {
    const test::Scene scene(9, 24, 160, 7.0);
    EXPECT_EQ(Registered(test::burst(scene, 24, 160, {{0, 0}, {11, 0}}), 2, 0).code, 0);
    const oravo::Exception thrown = test::thrownBy([&] {
        Registered(test::burst(scene, 24, 160, {{0, 0}, {13, 0}}), 2, 0);
    });
    EXPECT_EQ(thrown.message(), "Too large displacement");
    EXPECT_EQ(thrown.kind(), Exception::Kind::tooLargeDisplacement);
    EXPECT_EQ(thrown.location(),
              "vision/superresolution/SrFloatRegistration2: 174: "
              "oravo::vision::SrFloatRegistration2::doRegistration(..)\n");
}

TEST(SrFloatRegistration2, RefusesFramesThatAreNotPrepared) {
    const std::vector<Image> frames(3, test::Scene(8, 30, 40).frame(30, 40));
    const auto messageOf = [&](int refIndex, int prepared) {
        return test::thrownBy([&] { Registered(frames, 3, refIndex, prepared); }).message();
    };
    const std::string begin = "Registration of 3 frames against frame ";
    EXPECT_EQ(messageOf(0, 2), begin + "0 requested, but 2 frames are prepared.");
    EXPECT_EQ(messageOf(3, 3), begin + "3 requested, but 3 frames are prepared.");
    EXPECT_EQ(messageOf(-1, 3), begin + "-1 requested, but 3 frames are prepared.");
    const oravo::Exception thrown = test::thrownBy([&] { Registered(frames, 3, 0, 2); });
    EXPECT_EQ(thrown.location().find("vision/superresolution/detail/registration/CornerRegistration: "), 0U);
    EXPECT_EQ(test::thrownBy([] { SrFloatRegistration2(4, 4, 0); }).message(),
              "Invalid number of frames 0 specified.");
}

TEST(SrFloatRegistration2, OddRadiiAreRefusedWhenTheyAreUsed) {
    const std::vector<Image> frames = test::burst(test::Scene(8, 30, 40), 30, 40, {{0, 0}, {1, 0}});
    for (const int radius :
         {-1, std::numeric_limits<int>::min(), 32768, 1 << 30, std::numeric_limits<int>::max()}) {
        SrFloatRegistration2 registration(40, 30, 2);
        registration.setBlurRadius(radius);
        EXPECT_EQ(registration.getBlurRadius(), radius);
        EXPECT_EQ(test::thrownBy([&] { registration.prepareFrame(frames[0].ptr<float>()); }).message(),
                  "Invalid blur radius " + std::to_string(radius) + " specified, 0 to 32767 are possible.");
    }
    for (const int radius : {0, 3, 200}) {  // the kernel may be larger than the frame
        SrFloatRegistration2 registration(40, 30, 2);
        registration.setBlurRadius(radius);
        EXPECT_NO_THROW(registration.prepareFrame(frames[0].ptr<float>()));
    }
}

TEST(SrFloatRegistration2, AgreesWithTheRecordedBursts) {
    if (!test::whyNoRecordings().empty()) GTEST_SKIP() << test::whyNoRecordings();
    // Exact shifts for the rendered burst; estimates for the others, the last of which turns by 0.17 degrees.
    const std::pair<const char*, double> bursts[] = {
        {"rendered_pipes", 0.03}, {"mwir_embankment", 0.1}, {"mwir_fields", 0.1}, {"lwir_buildings", 0.2}};
    for (const auto& [name, tolerance] : bursts) {
        std::ifstream table(test::recordingFolder(name) + "/shifts.csv");
        std::vector<Image> frames;
        std::vector<Point> truth;
        for (std::string line; std::getline(table, line);) {
            if (line.empty() || line[0] == '#' || line[0] == 'f') continue;
            const std::size_t last = line.rfind(','), secondLast = line.rfind(',', last - 1);
            truth.emplace_back(std::stof(line.substr(secondLast + 1)), std::stof(line.substr(last + 1)));
            frames.push_back(test::recordedFrame(name, static_cast<int>(frames.size())));
        }
        ASSERT_FALSE(frames.empty()) << name;
        const Registered run(frames, static_cast<int>(frames.size()), 0);
        ASSERT_EQ(run.code, 0) << name;
        EXPECT_LE(run.worst(truth), tolerance) << name;
    }
}

}  // namespace oravo::vision
