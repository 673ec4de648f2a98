// What bursts do when memory runs out at any allocation, and how much they take.

#include <gtest/gtest.h>

#include <algorithm>

#include "capi/Burst.h"
#include "tests/Allocator.h"
#include "tests/capi/Bursts.h"

namespace oravo::test {
namespace {

int granted = 0;       // allocations that still succeed
bool forGood = false;  // afterwards all fail, not one only
bool ranOut = false;
long peak = 0;

bool runOut() {
    const bool fails = forGood ? granted <= 0 : granted == 0;
    --granted;
    ranOut |= fails;
    return !fails;
}

bool notePeak() {
    peak = std::max(peak, allocator::liveBytes());
    return true;
}

class BurstMemory : public testing::TestWithParam<int> {
  protected:
    BurstMemory() {
        cv::setNumThreads(1);
        cv::redirectError([](int, const char*, const char*, const char*, int, void*) { return 0; });
    }
    ~BurstMemory() override { cv::redirectError(nullptr); }
};

bool isMemory(oravo_burst burst, int status) {
    return status == ORAVO_BURST_MEMORY && oravo_burst_error_code(burst) == ORAVO_BURST_MEMORY;
}

/// From creation to image, each call repeated until it finds memory; false where a failure was not one of memory.
bool survives(const std::vector<Image>& frames, const oravo_burst_options& options, Image& out) {
    oravo_burst burst = oravo_burst_create(kWidth, kHeight, &options);
    if (burst == 0) {
        if (!isMemory(0, oravo_burst_error_code(0))) return false;
        allocator::disarm();
        burst = oravo_burst_create(kWidth, kHeight, &options);
    }
    const auto persist = [burst](auto call) {
        int status = call();
        if (status == ORAVO_BURST_OK) return true;
        if (!isMemory(burst, status)) return false;
        allocator::disarm();
        return call() == ORAVO_BURST_OK;
    };
    bool good = true;
    for (const Image& frame : frames)
        good = good && persist([&] { return oravo_burst_add(burst, frame[0], 0); });
    good = good && persist([&] { return oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE); });
    good = good && persist([&] { return oravo_burst_image(burst, out[0], 0); });
    if (!good) ADD_FAILURE() << oravo_burst_error_code(burst) << ": " << oravo_burst_error(burst);
    oravo_burst_destroy(burst);
    return good;
}

TEST_P(BurstMemory, RunningOutAtAnyAllocationIsReportedAndCanBeRepeated) {
    const std::vector<Image> frames = movingBurst(3, 3);
    const oravo_burst_options options = optionsOf(GetParam());
    Image expected(2 * kHeight, 2 * kWidth), image = expected.clone();
    ASSERT_TRUE(survives(frames, options, expected));
    // OpenCV 4.6 leaks the pixels of a matrix when there is no memory for their reference count.
    constexpr long kLostByOpenCv = 5 * (kWidth + 42) * (kHeight + 42);
    for (const bool once : {true, false}) {
        int failures = 0;
        bool failed = true;
        for (int n = 0; failed; n += 1 + n / 12) {
            const long before = allocator::liveBytes();
            granted = n;
            forGood = !once;
            ranOut = false;
            allocator::arm(runOut);
            const bool good = survives(frames, options, image);
            allocator::disarm();
            failed = ranOut;
            failures += failed ? 1 : 0;
            ASSERT_TRUE(good && sameBits(image, expected)) << "allocation " << n;
            ASSERT_LE(allocator::liveBytes(), before + kLostByOpenCv) << "allocation " << n;
        }
        EXPECT_GT(failures, 20);
    }
}

TEST_P(BurstMemory, ABurstTakesWhatItIsSaidToTakeAtMost) {
    constexpr int kColumns = 320, kRows = 240;
    std::vector<Point> shifts;
    for (int i = 0; i < 6; ++i)
        shifts.emplace_back(0.3f * static_cast<float>(i), 0.2f * static_cast<float>(i % 3));
    const std::vector<Image> frames = burst(Scene(3, 60, 80), kRows, kColumns, shifts);
    oravo_burst_options options = optionsOf(GetParam());
    if (GetParam() == ORAVO_BURST_PRECISE || GetParam() == ORAVO_BURST_FLOAT) options.threads = 3;
    const long before = peak = allocator::liveBytes();
    allocator::arm(notePeak);
    const oravo_burst made = oravo_burst_create(kColumns, kRows, &options);
    for (const Image& frame : frames) oravo_burst_add(made, frame[0], 0);
    const int status = oravo_burst_reconstruct(made, ORAVO_BURST_OWN_REFERENCE);
    allocator::disarm();
    EXPECT_EQ(status, ORAVO_BURST_OK) << oravo_burst_error(made);
    oravo_burst_destroy(made);
    const double said = static_cast<double>(oravo_burst_memory(kColumns, kRows, &options));
    EXPECT_LT(static_cast<double>(peak - before), said);
    EXPECT_GT(static_cast<double>(peak - before), 0.4 * said);
}

INSTANTIATE_TEST_SUITE_P(Pipelines, BurstMemory,
                         testing::Values(ORAVO_BURST_PRECISE, ORAVO_BURST_FLOAT, ORAVO_BURST_VECTOR,
                                         ORAVO_BURST_REFERENCE));

}  // namespace
}  // namespace oravo::test
