// Counts every allocation of a run. Allocations that OpenCV's algorithms make inside themselves are excused; a
// matrix that our own code has OpenCV allocate is not.

#include <dlfcn.h>
#include <execinfo.h>
#include <gtest/gtest.h>

#include <cstring>
#include <iostream>
#include <string>

#include "tests/Allocator.h"
#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/reference/SuperResolution.h"

namespace {

int ours = 0;
int excused = 0;
char culprit[200];

bool isOpenCv(const Dl_info& info) {
    return info.dli_fname != nullptr && std::strstr(info.dli_fname, "libopencv") != nullptr;
}

/// Excused is what an OpenCV function other than an allocating one of cv::Mat was called for: the outermost
/// OpenCV function on the stack decides.
bool note() {
    void* frames[64];
    const int depth = backtrace(frames, 64);
    const char* outermost = nullptr;
    for (int i = 0; i < depth; ++i) {
        Dl_info info;
        if (dladdr(frames[i], &info) == 0 || !isOpenCv(info)) continue;
        outermost = info.dli_sname != nullptr ? info.dli_sname : "?";
    }
    const bool matrix = outermost != nullptr && (std::strstr(outermost, "3Mat6create") != nullptr ||
                                                 std::strstr(outermost, "fastMalloc") != nullptr);
    if (outermost != nullptr && !matrix) {
        ++excused;
    } else {
        ++ours;
        std::strncpy(culprit, outermost != nullptr ? outermost : "(own code)", sizeof culprit - 1);
    }
    return true;
}

}  // namespace

namespace oravo::test {
namespace {

struct NullBuffer : std::streambuf {
    int overflow(int c) override { return c; }
};

class Counting {
  public:
    Counting() : report_(std::cout.rdbuf(&silence_)) {
        ours = excused = 0;
        allocator::arm(note);
    }
    ~Counting() { stop(); }
    void stop() {
        allocator::disarm();
        std::cout.rdbuf(report_);
    }

  private:
    NullBuffer silence_;
    std::streambuf* report_;
};

TEST(Allocation, CounterSeesWhatItShould) {
    void* warmUp[4];
    backtrace(warmUp, 4);
    Counting counting;
    std::vector<float> own(1000);
    cv::Mat_<float> matrix(100, 100);
    counting.stop();
    EXPECT_GE(ours, 2);
    EXPECT_EQ(own[0], 0.0f);
}

constexpr int kSide = 64;

template <class Pipeline>
void expectNoAllocations(const std::vector<Image>& frames) {
    cv::setNumThreads(1);
    Pipeline pipeline(kSide, kSide, 5, 2.0f);
    Image out(2 * kSide, 2 * kSide);
    for (std::size_t i = 0; i < 6; ++i) pipeline.addFrame(frames[i]);
    {
        Counting first;
        pipeline.computeSR(out.ptr<float>());
    }
    EXPECT_EQ(ours, 0) << culprit;
    EXPECT_GT(excused, 0);
    {
        Counting later;
        for (std::size_t i = 6; i < frames.size(); ++i) {
            pipeline.addFrame(frames[i]);
            pipeline.computeSR(out.ptr<float>());
        }
    }
    EXPECT_EQ(ours, 0) << culprit;
}

TEST(Allocation, IntakeAndRunAllocateNothing) {
    std::vector<Point> shifts;
    for (int i = 0; i < 8; ++i)
        shifts.emplace_back(0.3f * static_cast<float>(i % 5), 0.2f * static_cast<float>(i % 3));
    std::vector<Image> frames = burst(Scene(5, kSide, kSide), kSide, kSide, shifts);
    expectNoAllocations<vision::SrFloatNeon<vision::SrFloatNeonRegistration>>(frames);
    for (Image& frame : frames) frame(10, 10) = std::nanf("");  // so that masking and refilling have work
    expectNoAllocations<vision::SrFloat<vision::SrFloatRegistration2>>(frames);
}

TEST(Allocation, ReferenceRunsAllocateNothingAfterTheFirst) {
    const std::vector<Image> frames = burst(Scene(5, kSide, kSide), kSide, kSide, {{0, 0}, {0.3f, 0.2f}});
    vision::SuperResolution pipeline(kSide, kSide, 2, 2.0f);
    Image out(2 * kSide, 2 * kSide);
    const auto intakeAndRun = [&] {
        Counting counting;
        for (const Image& frame : frames) pipeline.addFrame(frame.ptr<float>());
        pipeline.computeSR(out.ptr<float>());
    };
    intakeAndRun();  // the registration learns the count of frames
    intakeAndRun();
    EXPECT_EQ(ours, 0) << culprit;
}

}  // namespace
}  // namespace oravo::test
