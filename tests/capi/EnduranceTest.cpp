// What sessions live through: memory that runs out at any allocation, bad frames between good ones, and long service.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <string>

#include "capi/SuperResolution.h"
#include "support/FloatBits.h"
#include "tests/Allocator.h"
#include "tests/TestScenes.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::test {
namespace {

constexpr int kWidth = 40;
constexpr int kHeight = 30;

/// Resident memory of the process, in bytes.
long residentMemory() {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * sysconf(_SC_PAGESIZE);
}

/// Keeps the timing reports of the library and the error messages of OpenCV from the terminal.
class Endurance : public testing::Test {
  protected:
    Endurance() {
        cv::setNumThreads(1);
        std::cout.setstate(std::ios::failbit);
        cv::redirectError([](int, const char*, const char*, const char*, int, void*) { return 0; });
    }
    ~Endurance() override {
        std::cout.clear();
        cv::redirectError(nullptr);
    }

    /// Frame i of an endless recording of one calm scene, within a pixel of each other.
    static const Image& frame(int i) {
        static const std::vector<Image> frames = burst(
            Scene(7, kHeight, kWidth), kHeight, kWidth,
            {{0, 0}, {0.3f, -0.2f}, {0.6f, 0.5f}, {-0.3f, 0.2f}, {0.1f, 0.7f}, {-0.5f, -0.4f}, {0.8f, 0}});
        return frames[static_cast<std::size_t>(i) % frames.size()];
    }

    static int feed(int session, const Image& image) {
        return SuperResolution_addImage(session, image.ptr<float>());
    }

    static Image enlarged(int session) {
        Image image(2 * kHeight, 2 * kWidth, 0.0f);
        EXPECT_EQ(SuperResolution_getSuperresolutionImage(session, image.ptr<float>()), 0);
        return image;
    }

    /// Has the process allocate what it keeps once there was an error.
    static void keepForGood() {
        SuperResolution_init(-1, 1);  // the longest message
        EXPECT_THROW(CV_Error(cv::Error::StsNoMem, "a text"), cv::Exception);
    }

    /// OpenCV 4.6 leaks the pixels of a matrix when there is no memory for their reference count: those of the
    /// lowest level of a pyramid, with its border and derivatives, at most.
    static constexpr long kLostByOpenCv = 5 * (kWidth + 42) * (kHeight + 42);

    /// What a session that has seen nothing else makes of the first five frames.
    static Image expected() {
        const int session = SuperResolution_init(kWidth, kHeight);
        for (int i = 0; i < 5; ++i) EXPECT_EQ(feed(session, frame(i)), 0);
        const Image image = enlarged(session);
        SuperResolution_release(session);
        return image;
    }
};

// --- memory that runs out ------------------------------------------------------------------------------------

int granted = 0;       // allocations that still succeed
bool forGood = false;  // afterwards all fail, not one only
bool ranOut = false;

bool runOut() {
    const bool fails = forGood ? granted <= 0 : granted == 0;
    --granted;
    ranOut |= fails;
    return !fails;
}

/// Calls with memory running out at allocation n; true when the call came to that.
template <class Call>
bool withMemoryFor(int n, bool once, Call call) {
    granted = n;
    forGood = !once;
    ranOut = false;
    allocator::arm(runOut);
    call();
    allocator::disarm();
    return ranOut;
}

std::string message() {
    char text[300] = "";
    SuperResolution_getErrorMessage(text, sizeof text - 1);
    return text;
}

TEST_F(Endurance, SetUpFailsCleanlyAtEveryAllocation) {
    expected();
    keepForGood();
    for (const bool once : {true, false}) {
        int n = 0;
        const long before = allocator::liveBytes();
        for (bool failed = true; failed; ++n) {
            int session = -1;
            SuperResolution_release(-1);
            failed = withMemoryFor(n, once, [&] { session = SuperResolution_init(kWidth, kHeight); });
            ASSERT_EQ(session >= 0, !failed) << n;
            if (failed) {  // the message may find no memory either
                ASSERT_TRUE(message() == "Not enough memory for a session of 40 x 30 pixels." ||
                            (!once && message().empty()))
                    << message();
            }
            if (!failed) SuperResolution_release(session);
            ASSERT_EQ(allocator::liveBytes(), before) << "allocation " << n;
        }
        EXPECT_GT(n, 20);
    }
}

TEST_F(Endurance, RunsFailCleanlyAtEveryAllocation) {
    const Image good = expected();
    keepForGood();
    for (const bool once : {true, false}) {
        const int session = SuperResolution_init(kWidth, kHeight);
        for (int i = 0; i < 4; ++i) feed(session, frame(i));
        int n = 0;
        long settled = 0;
        for (bool failed = true; failed; ++n) {
            int status = 0;
            failed = withMemoryFor(n, once, [&] { status = feed(session, frame(4)); });
            // OpenCV may do without some of its memory.
            ASSERT_TRUE(status == 0 || (failed && status == -999)) << status << " at allocation " << n;
            for (int i = 0; i < 5; ++i) status = feed(session, frame(i));
            ASSERT_EQ(status, 0) << "after allocation " << n;
            ASSERT_TRUE(sameBits(enlarged(session), good)) << "after allocation " << n;
            if (n > 0) {
                ASSERT_LE(allocator::liveBytes(), settled + kLostByOpenCv) << "after allocation " << n;
            }
            settled = allocator::liveBytes();
            for (int i = 0; i < 4; ++i) feed(session, frame(i));
        }
        EXPECT_GT(n, 20);
        SuperResolution_release(session);
    }
}

TEST_F(Endurance, SizesBeyondTheMachineAreRefused) {
    const long before = residentMemory();
    const std::vector<std::pair<int, int>> sizes = {
        {23000, 23000}, {500000000, 1}, {1, 500000000}, {30000, 17000}};
    for (std::size_t i = 0; i < 20 * sizes.size(); ++i) {
        const auto [width, height] = sizes[i % sizes.size()];
        ASSERT_LT(static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE)),
                  100e9)
            << "this test needs larger sizes on so large a machine";
        EXPECT_EQ(SuperResolution_init(width, height), -1) << width << " x " << height;
        EXPECT_EQ(message().rfind("Not enough memory for ", 0), 0U) << message();
    }
    EXPECT_LE(residentMemory(), before + (4 << 20));
    // What was reserved for them, more than the machine has by now, has been given back: a session that is
    // large enough to be checked opens.
    const int session = SuperResolution_init(2000, 1500);
    EXPECT_GE(session, 0) << message();
    SuperResolution_release(session);
}

TEST_F(Endurance, SetUpReportsTheEndOfTheAddressSpace) {
    const auto initWithin = [](rlim_t bytes) {
        const rlimit limit = {bytes, bytes};
        setrlimit(RLIMIT_AS, &limit);
        const bool reported = SuperResolution_init(640, 480) == -1 &&
                              message() == "Not enough memory for a session of 640 x 480 pixels.";
        _exit(reported ? 0 : 1);
    };
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const auto used = static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE));
    for (rlim_t more = 8 << 20; more <= 40 << 20; more += 8 << 20) {
        EXPECT_EXIT(initWithin(used + more), testing::ExitedWithCode(0), "") << more;
    }
}

// --- bad frames ------------------------------------------------------------------------------------------------

Image coded(std::uint32_t pattern) {
    return Image(kHeight, kWidth, floatOf(pattern));
}

struct BadFrame {
    const char* name;
    Image image;
    std::vector<int> statuses;  ///< of the frame itself, once it is the newest of a full window
};

std::vector<BadFrame> badFrames() {
    const auto constant = [](float value) { return Image(kHeight, kWidth, value); };
    const float infinity = std::numeric_limits<float>::infinity();
    Image impulses = randomImage(kHeight, kWidth, 3, 10.0f, 30.0f);
    impulses(0, 0) = infinity;
    return {
        {"constant", constant(20.0f), {-3, -4, -999}},
        {"saturated", constant(5000.0f), {-3, -4, -999}},
        {"beyond saturation", constant(1e30f), {-2, -3, -999}},
        {"noise", randomImage(kHeight, kWidth, 9, 10.0f, 30.0f), {0, -3, -999}},
        {"noise and infinity", impulses, {-2, -3, -999}},
        {"no numbers", constant(std::nanf("")), {-999}},
        {"plus infinity", constant(infinity), {-2, -3, -999}},
        {"minus infinity", constant(-infinity), {-2, -3, -999}},
        {"denormals", coded(0x00000001), {-3, -4, -999}},
        {"over range", coded(vision::CODE_OVER_RANGE), {-3, -4, -999}},
        {"bad", coded(vision::CODE_BAD_PIXEL), {-999}},
        {"elsewhere", Scene(99, kHeight, kWidth).frame(kHeight, kWidth), {0, -3, -999}},
        {"moved beyond the limits",
         Scene(7, kHeight, kWidth).frame(kHeight, kWidth, {9.0f, -9.0f}),
         {0, -3, -999}},
        {"upside down", linear(Scene(7, kHeight, kWidth).frame(kHeight, kWidth), -1.0, 40.0), {0, -3, -999}}};
}

TEST_F(Endurance, GoodFramesGiveGoodImagesWhateverCameBefore) {
    const Image good = expected();
    for (const BadFrame& bad : badFrames()) {
        SCOPED_TRACE(bad.name);
        const int session = SuperResolution_init(kWidth, kHeight);
        for (int i = 0; i < 7; ++i) feed(session, frame(i));
        long settled = 0;
        for (int round = 0; round < 20; ++round) {
            const int status = feed(session, bad.image);
            ASSERT_NE(std::count(bad.statuses.begin(), bad.statuses.end(), status), 0) << status;
            for (int i = 0; i < 6; ++i) {
                const int other = feed(session, i % 2 == 0 ? frame(i) : bad.image);
                ASSERT_TRUE(other == 0 || other == -2 || other == -3 || other == -4 || other == -999)
                    << other;
            }
            for (int i = 0; i < 4; ++i) feed(session, frame(i));
            ASSERT_EQ(feed(session, frame(4)), 0);
            ASSERT_TRUE(sameBits(enlarged(session), good)) << "round " << round;
            if (round == 1) settled = allocator::liveBytes();
        }
        EXPECT_LE(allocator::liveBytes(), settled);
        SuperResolution_release(session);
    }
}

/// A calm scene with a patch of 3 x 3 pixels as hot as an open flame.
Image hotPatch() {
    Image image = Scene(7, kHeight, kWidth).frame(kHeight, kWidth);
    image(cv::Rect(12, 9, 3, 3)) = 1500.0f;
    return image;
}

TEST_F(Endurance, AHotPatchEndsASessionUntilANewOneIsOpened) {
    // The range of the registration's 8-bit images contains all calm frames from then on, and leaves them few grey
    // levels: no corner is found, no status reports it, and the image stays as it was.
    const Image good = expected();
    const int session = SuperResolution_init(kWidth, kHeight);
    for (int i = 0; i < 5; ++i) ASSERT_EQ(feed(session, frame(i)), 0);
    ASSERT_TRUE(sameBits(enlarged(session), good));
    feed(session, hotPatch());
    for (int i = 0; i < 4; ++i) feed(session, frame(i));
    const Image last = enlarged(session);
    for (int i = 0; i < 30; ++i) {
        ASSERT_EQ(feed(session, frame(i)), 0);
        ASSERT_TRUE(sameBits(enlarged(session), last)) << "an image that did not change is how hosts notice";
    }
    SuperResolution_release(session);
    EXPECT_TRUE(sameBits(expected(), good));
}

// --- released sessions ---------------------------------------------------------------------------------------

TEST_F(Endurance, ReleasedSessionsGiveTheirMemoryBack) {
    // Frames large enough for pages of their own, for the heap and for what lies between.
    const Image image = randomImage(480, 640, 3, 10.0f, 30.0f);
    const long before = residentMemory();
    long ofOne = 0;
    std::vector<int> sessions;
    for (int i = 0; i < 6; ++i) {
        sessions.push_back(SuperResolution_init(640, 480));
        for (int k = 0; k < 5; ++k) ASSERT_EQ(feed(sessions.back(), image), 0);
        if (i == 0) ofOne = residentMemory() - before;
    }
    const long open = residentMemory();
    for (const int session : sessions) ASSERT_EQ(SuperResolution_release(session), 0);
    EXPECT_GT(open - before, 4 * ofOne);
    EXPECT_LE(residentMemory() - before, ofOne / 2);
    std::printf(
        "6 sessions of 640 x 480: %ld MiB resident before, %ld with one, %ld with all, %ld after their "
        "release\n",
        before >> 20, (before + ofOne) >> 20, open >> 20, residentMemory() >> 20);
}

// --- long service ------------------------------------------------------------------------------------------------

TEST_F(Endurance, LongServiceLeavesNoTrace) {
    const char* wanted = std::getenv("ORAVO_SOAK_FRAMES");
    const int frames = wanted != nullptr ? std::atoi(wanted) : 1000;
    const Image good = expected();
    const int session = SuperResolution_init(kWidth, kHeight);
    long settledBytes = 0;
    long settledMemory = 0;
    for (int i = 0; i < frames; ++i) {
        ASSERT_EQ(feed(session, frame(i)), 0) << i;
        if (i % 70 == 69) {  // a session of another size, for a while
            const cv::Size size(16 + i % 17, 12 + i % 13);
            const int other = SuperResolution_init(size.width, size.height);
            for (int k = 0; k < 6; ++k) feed(other, frame(k)(cv::Rect({0, 0}, size)).clone());
            ASSERT_EQ(SuperResolution_release(other), 0);
        }
        if (i == frames / 4) {
            settledBytes = allocator::liveBytes();
            settledMemory = residentMemory();
        }
    }
    EXPECT_LE(allocator::liveBytes(), settledBytes + 1024);  // a text or a list may have grown
    EXPECT_LE(residentMemory(), settledMemory + (1 << 20));
    for (int i = 0; i < 5; ++i) EXPECT_EQ(feed(session, frame(i)), 0);
    EXPECT_TRUE(sameBits(enlarged(session), good));
    std::printf("%d frames; after a quarter %ld bytes allocated, %ld KiB resident; in the end %ld, %ld\n",
                frames, settledBytes, settledMemory / 1024, allocator::liveBytes(), residentMemory() / 1024);
    SuperResolution_release(session);
}

}  // namespace
}  // namespace oravo::test
