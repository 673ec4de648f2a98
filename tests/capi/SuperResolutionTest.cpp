#include "capi/SuperResolution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "capi/SessionValues.h"
#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration2.h"

namespace oravo::test {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::string message() {
    std::vector<char> buffer(400);
    EXPECT_EQ(SuperResolution_getErrorMessage(buffer.data(), static_cast<int>(buffer.size())), 0);
    return buffer.data();
}

/// A session for the length of a test; the timing report goes where the test can read it.
class Session {
  public:
    explicit Session(int width = kWidth, int height = kHeight) : handle(SuperResolution_init(width, height)) {
        EXPECT_GE(handle, 0);
    }
    ~Session() { SuperResolution_release(handle); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int add(const Image& frame) const {
        testing::internal::CaptureStdout();
        const int status = SuperResolution_addImage(handle, frame.ptr<float>());
        report = testing::internal::GetCapturedStdout();
        return status;
    }

    int handle;
    mutable std::string report;
};

std::vector<Image> movingBurst(int frames = 6) {
    std::vector<Point> shifts;
    for (int i = 0; i < frames; ++i)
        shifts.emplace_back(0.3f * static_cast<float>(i), -0.2f * static_cast<float>(i));
    return burst(Scene(7, kHeight, kWidth), kHeight, kWidth, shifts);
}

TEST(CInterface, HandlesAreTheLowestFreeOnes) {
    const int first = SuperResolution_init(8, 8);
    const int second = SuperResolution_init(8, 8);
    EXPECT_EQ(second, first + 1);
    EXPECT_EQ(SuperResolution_release(first), 0);
    EXPECT_EQ(SuperResolution_init(16, 8), first);
    EXPECT_EQ(SuperResolution_release(first), 0);
    EXPECT_EQ(SuperResolution_release(second), 0);
}

TEST(CInterface, RefusesHandlesThatNameNoSession) {
    const int released = SuperResolution_init(8, 8);
    SuperResolution_release(released);
    std::vector<float> pixels(64);
    int size = 0;
    for (const int handle : {released, -1, INT_MIN, INT_MAX}) {
        for (const int status :
             {SuperResolution_release(handle), SuperResolution_setReferenceFrame(handle, 0),
              SuperResolution_addImage(handle, pixels.data()),
              SuperResolution_queryOutputImageSize(handle, &size, &size),
              SuperResolution_getSuperresolutionImage(handle, pixels.data())}) {
            EXPECT_EQ(status, -999);
            EXPECT_EQ(message(), "Context invalid.");
        }
        EXPECT_EQ(SuperResolution_setCameraAndLensType(handle, "101 FOV 42"), 0);
    }
    char five[6] = "#####";
    EXPECT_EQ(SuperResolution_getErrorMessage(five, 5), 0);
    EXPECT_EQ(std::string(five, 5), "Conte");
}

TEST(CInterface, InitReportsSizesThatCannotBe) {
    for (const auto& [width, height] :
         {std::pair(-1, 8), {8, -1}, {INT_MAX, INT_MAX}, {60000, 30000}, {16777217, 1}, {0, 67108869}}) {
        EXPECT_EQ(SuperResolution_init(width, height), -1) << width << " x " << height;
        EXPECT_NE(message().find(std::to_string(width) + " x " + std::to_string(height)), std::string::npos);
    }
    // A session of size 0 opens; it only takes no image.
    for (const auto& [width, height] : {std::pair(0, 0), {0, 8}, {8, 0}}) {
        const Session session(width, height);
        const float pixel = 1.0f;
        EXPECT_EQ(SuperResolution_addImage(session.handle, &pixel), -999);
        EXPECT_EQ(message(), "Size of expected Ir images unknown");
    }
}

TEST(CInterface, DeliversWhatThePipelineComputes) {
    const std::vector<Image> frames = movingBurst(7);
    const Session session;
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(session.add(frames[static_cast<std::size_t>(i)]), 0);
        EXPECT_EQ(session.report, "");
    }
    Image zeros(2 * kHeight, 2 * kWidth, 1.0f);
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(session.handle, zeros.ptr<float>()), -5);
    EXPECT_EQ(message(), "Not enough input images (<5)");
    EXPECT_EQ(cv::countNonZero(zeros), 0);

    vision::SrFloat<vision::SrFloatRegistration2> pipeline(kWidth, kHeight, 5, 2.0f);
    pipeline.setReferenceIndex(3);
    Image expected;
    testing::internal::CaptureStdout();
    for (const Image& frame : frames) pipeline.addFrame(frame);
    pipeline.computeSR(expected);
    testing::internal::GetCapturedStdout();

    for (std::size_t i = 4; i < frames.size(); ++i) {
        EXPECT_EQ(session.add(frames[i]), 0);
        EXPECT_NE(session.report, "");
    }
    int width = 0;
    int height = 0;
    EXPECT_EQ(SuperResolution_queryOutputImageSize(session.handle, &width, &height), 0);
    EXPECT_EQ(cv::Size(width, height), cv::Size(2 * kWidth, 2 * kHeight));
    Image enlarged(height, width);
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(session.handle, enlarged.ptr<float>()), 0);
    EXPECT_TRUE(sameBits(enlarged, expected));
}

TEST(CInterface, TheEnvironmentSilencesTheReportOfSessionsOpenedSince) {
    const std::vector<Image> frames = movingBurst(5);
    const auto reportOf = [&](const Session& session) {
        for (const Image& frame : frames) EXPECT_EQ(session.add(frame), 0);
        return session.report;
    };
    const auto opened = [](const char* value) {
        setenv("ORAVO_REPORT", value, 1);
        return std::make_unique<Session>();
    };
    const auto silent = opened("off");
    const std::unique_ptr<Session> reporting[] = {opened("on"), opened("")};
    unsetenv("ORAVO_REPORT");
    EXPECT_EQ(reportOf(*silent), "");
    EXPECT_EQ(reportOf(*silent), "");
    for (const auto& session : reporting) {
        const std::string report = reportOf(*session);
        EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 6) << report;
    }
}

TEST(CInterface, QueryReconstructsFromFewerFrames) {
    const std::vector<Image> frames = movingBurst();
    const Session session;
    int width = 0;
    int height = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(SuperResolution_queryOutputImageSize(session.handle, &width, &height),
              -999);  // nothing to register
    EXPECT_EQ(cv::Size(width, height), cv::Size(2 * kWidth, 2 * kHeight));
    testing::internal::GetCapturedStdout();
    for (int i = 0; i < 3; ++i) session.add(frames[static_cast<std::size_t>(i)]);

    testing::internal::CaptureStdout();
    EXPECT_EQ(SuperResolution_queryOutputImageSize(session.handle, &width, &height), -5);
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(message(), "Not enough input images (<5)");
    Image enlarged(height, width);
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(session.handle, enlarged.ptr<float>()), -5);
    EXPECT_GT(cv::countNonZero(enlarged), height * width / 2);

    EXPECT_EQ(SuperResolution_getSuperresolutionImage(session.handle, nullptr), -999);
    EXPECT_EQ(message(), "Memcpy called on nullptr!!!!");
    EXPECT_EQ(SuperResolution_addImage(session.handle, nullptr), -999);
    EXPECT_EQ(message(), "ir image data pointer is NULL");
}

TEST(CInterface, StatusesOfImages) {
    std::vector<Image> frames = movingBurst();
    const Session session;
    EXPECT_EQ(session.add(Image(kHeight, kWidth, 20.0f)), -4);
    EXPECT_EQ(message(), "  image has not enough structure");

    frames[0](0, 0) = kNaN;  // a corner always falls back
    EXPECT_EQ(session.add(frames[0]), -2);

    // Structure is judged by the range of the frame as it comes: exactly 2 is enough, and a NaN range is
    // none.
    Image narrow(kHeight, kWidth, 20.0f);
    narrow(5, 5) = 22.0f;
    EXPECT_EQ(session.add(narrow), 0);
    narrow(5, 5) = 21.99f;
    EXPECT_EQ(session.add(narrow), -4);

    Image broken = frames[1].clone();
    for (int x = 2; x < 35; x += 3) broken(8, x) = broken(9, x) = kNaN;
    EXPECT_EQ(session.add(broken), -999);
    EXPECT_EQ(message().rfind("Too many defect pixels. No processing possible.\n"
                              "vision/superresolution/SuperResolutionBadPixelHandling: ",
                              0),
              0U);
}

TEST(CInterface, CountsHaveARangeOfTheirOwn) {
    std::vector<Image> frames = movingBurst(5);
    for (Image& frame : frames) frame = linear(frame, 100.0, 6000.0);  // beyond 5000
    const auto enlargedWith = [&](int counts) {
        const Session session;
        EXPECT_EQ(oravo_setDataIsCounts(session.handle, counts), 0);
        for (const Image& frame : frames) session.add(frame);
        Image enlarged(2 * kHeight, 2 * kWidth);
        EXPECT_EQ(SuperResolution_getSuperresolutionImage(session.handle, enlarged.ptr<float>()), 0);
        return enlarged;
    };
    EXPECT_EQ(cv::countNonZero(enlargedWith(0)), 0);
    const cv::Rect inner(8, 8, 2 * kWidth - 16, 2 * kHeight - 16);
    Image expected;
    cv::resize(frames[1], expected, {}, 2, 2, cv::INTER_CUBIC);
    EXPECT_LT(cv::norm(enlargedWith(1)(inner), expected(inner), cv::NORM_L1) / inner.area(), 100.0);
    EXPECT_EQ(oravo_setDataIsCounts(-1, 1), -999);
    EXPECT_EQ(message(), "Context invalid.");
}

TEST(CInterface, TooFewValidPixelsOverrideOtherStatuses) {
    const std::vector<Image> frames = movingBurst();
    const Session session;
    for (int i = 0; i < 4; ++i) session.add(frames[static_cast<std::size_t>(i)]);
    Image foreign = frames[4].clone();
    foreign(cv::Rect(0, 0, kWidth, kHeight * 3 / 4)) += 30.0f;
    foreign(0, 0) = kNaN;
    EXPECT_EQ(session.add(foreign), -3);
    Image enlarged(2 * kHeight, 2 * kWidth, 0.0f);
    EXPECT_EQ(SuperResolution_getSuperresolutionImage(session.handle, enlarged.ptr<float>()), 0);
    EXPECT_GT(cv::countNonZero(enlarged), 0);
}

TEST(CInterface, RegistrationFailuresAreNotReported) {
    // A window whose reference is flat offers no corner: the run fails, and the status does not report it.
    const std::vector<Image> frames = movingBurst();
    const Session session;
    session.add(frames[0]);
    session.add(Image(kHeight, kWidth, 20.0f));
    for (int i = 2; i < 4; ++i) session.add(frames[static_cast<std::size_t>(i)]);
    EXPECT_EQ(session.add(frames[4]), 0);
    EXPECT_EQ(session.report, "++++++++++ SrFloat ++++++++++\n");
    EXPECT_EQ(session.add(frames[5]),
              -3);  // the reference is structured again, the flat frame agrees with nothing
    EXPECT_NE(session.report.find(" minimization:"), std::string::npos);
}

/// A host's global that closes its sessions when the process ends; made before the library's own objects.
struct LateHost {
    ~LateHost() { closeSessions(); }

    static void closeSessions() {
        for (const int handle : handles) {
            if (SuperResolution_release(handle) != 0) std::_Exit(2);
        }
        handles.clear();
        if (SuperResolution_release(0) != -999 || message() != "Context invalid.") std::_Exit(3);
    }

    static inline std::vector<int> handles;
} lateHost;

TEST(CInterface, SessionsCloseHoweverLateInTheProcess) {
    const auto work = [] {
        const std::vector<Image> frames = movingBurst(5);
        for (int k = 0; k < 2; ++k) LateHost::handles.push_back(SuperResolution_init(kWidth, kHeight));
        for (const Image& frame : frames) SuperResolution_addImage(LateHost::handles[0], frame.ptr<float>());
        std::exit(0);
    };
    EXPECT_EXIT(work(), testing::ExitedWithCode(0), "") << "closed by a global object";
    EXPECT_EXIT(
        {
            std::atexit(LateHost::closeSessions);
            work();
        },
        testing::ExitedWithCode(0), "")
        << "closed by a handler older than the first session";
}

TEST(CInterface, ReferenceFrameOutOfRangeLeavesAsAnException) {
    const Session session;
    EXPECT_EQ(SuperResolution_setReferenceFrame(session.handle, 4), 0);
    for (const int index : {-1, 5}) {
        try {
            SuperResolution_setReferenceFrame(session.handle, index);
            ADD_FAILURE() << "accepted " << index;
        } catch (const char* text) {
            EXPECT_STREQ(text, "Invalid reference index specified.");
        }
    }
}

TEST(CInterface, CameraDescriptionReachesTheReconstruction) {
    const std::vector<Image> frames = movingBurst();
    const auto enlargedWith = [&](const char* description) {
        const Session session;
        if (description != nullptr) {
            EXPECT_EQ(SuperResolution_setCameraAndLensType(session.handle, description), 0);
        }
        for (const Image& frame : frames) session.add(frame);
        Image enlarged(2 * kHeight, 2 * kWidth);
        SuperResolution_getSuperresolutionImage(session.handle, enlarged.ptr<float>());
        return enlarged;
    };
    const Image standard = enlargedWith(nullptr);
    EXPECT_TRUE(sameBits(standard, enlargedWith("no camera at all")));
    EXPECT_FALSE(sameBits(standard, enlargedWith("c108 FOV 20")));
    const Session session;
    EXPECT_THROW(SuperResolution_setCameraAndLensType(session.handle, nullptr), std::exception);
}

}  // namespace
}  // namespace oravo::test
