// Frames smaller than every kernel, pyramid and filter, with contents of every kind, through every pipeline: each either
// works or fails as its header says. Memory checkers see more in this test.

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <iostream>
#include <limits>
#include <string>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/reference/SuperResolution.h"

namespace oravo::test {
namespace {

using Frames = std::vector<Image>;

/// Feeds a pipeline and runs it; adds 1 to worked unless something documented is thrown.
template <class Pipeline, class T = float>
void run(cv::Size size, const Frames& frames, float parameter, int& worked) {
    try {
        Pipeline pipeline(size.width, size.height, 5, 2.0f);
        pipeline.setReferenceIndex(3);
        pipeline.setPsfSigma(parameter);
        pipeline.setWeightTV(1000.0f * parameter);
        cv::Mat_<T> out(2 * size.height, 2 * size.width);
        for (const Image& frame : frames) {
            const cv::Mat_<T> pixels(static_cast<const cv::Mat&>(frame));
            try {
                pipeline.addFrame(pixels.template ptr<T>());
            } catch (const Exception&) {  // keeps its place in the window
            }
        }
        const float result = pipeline.computeSR(out.template ptr<T>());
        if (result >= 0.0f || result == -3.0f) ++worked;
    } catch (const Exception&) {
    } catch (const cv::Exception&) {
    } catch (const char*) {
    }
}

struct Reference : vision::SuperResolution {
    using SuperResolution::SuperResolution;
    void setReferenceIndex(int) {}
    template <class T>
    int addFrame(const T* frame) {
        return SuperResolution::addFrame<T>(frame);
    }
};

const std::vector<std::pair<const char*, std::function<void(cv::Size, const Frames&, float, int&)>>>
    kPipelines = {{"corners", run<vision::SrFloat<vision::SrFloatRegistration2>>},
                  {"phase", run<vision::SrFloat<vision::SrFloatRegistration1>>},
                  {"vector", run<vision::SrFloatNeon<vision::SrFloatNeonRegistration>>},
                  {"reference", run<Reference>},
                  {"reference on counts", run<Reference, short>}};

/// Six frames of a kind: a scene in motion; one value; noise; noise with pixels of all bit patterns; motion beyond all
/// limits.
Frames framesOf(int kind, cv::Size size) {
    const Scene scene(5, size.height, size.width);
    Frames frames;
    for (int i = 0; i < 6; ++i) {
        const auto k = static_cast<unsigned>(i);
        const float step = kind == 4 ? 9.0f : 0.3f;
        const Point shift(step * static_cast<float>(i), -step * static_cast<float>(i));
        const bool smooth = kind == 0 || kind == 4;
        frames.push_back(smooth ? scene.frame(size.height, size.width, shift)
                                : randomImage(size.height, size.width, k, 20.0f, kind == 1 ? 20.0f : 30.0f));
        if (kind != 3) continue;
        const float wild[] = {std::nanf(""), std::numeric_limits<float>::infinity(), -1e38f,
                              std::numeric_limits<float>::denorm_min(),
                              -std::numeric_limits<float>::infinity()};
        for (unsigned n = 0; n < 7; ++n) {
            frames.back()(static_cast<int>(n * k) % size.height, static_cast<int>(3 * n + k) % size.width) =
                wild[n % 5];
        }
    }
    return frames;
}

TEST(SmallFrames, EveryPipelineWorksOrRefuses) {
    std::cout.setstate(std::ios::failbit);
    for (const auto& [name, pipeline] : kPipelines) {
        for (const int height : {1, 2, 3, 5, 6, 7, 10, 11, 21, 22}) {
            for (const int width : {1, 2, 3, 4, 6, 7, 11, 12, 16, 21, 24}) {
                for (int kind = 0; kind < 5; ++kind) {
                    int worked = 0;
                    pipeline({width, height}, framesOf(kind, {width, height}), 0.683f, worked);
                    if (kind == 0 && width == 24 && height >= 21) {
                        EXPECT_EQ(worked, 1) << name << ' ' << width << " x " << height;
                    }
                }
            }
        }
        int worked = 0;
        for (const float parameter : {1e-30f, 1e30f, std::nanf("")})
            pipeline({24, 22}, framesOf(0, {24, 22}), parameter, worked);
    }
    std::cout.clear();
}

TEST(Threads, ObjectsOfTheirOwnDoNotMeet) {
    std::cout.setstate(std::ios::failbit);
    const auto image = [](unsigned seed, int size) {
        vision::SrFloat<vision::SrFloatRegistration2> pipeline(size, size, 5, 2.0f);
        Image out;
        for (int run = 0; run < 20; ++run) {
            for (const Image& frame :
                 burst(Scene(seed, size, size), size, size, {{0, 0}, {0.4f, 0.1f}, {-0.3f, 0.5f}}))
                pipeline.addFrame(frame);
            pipeline.computeSR(out);
        }
        return out;
    };
    std::future<Image> first = std::async(std::launch::async, image, 1U, 40);
    std::future<Image> second = std::async(std::launch::async, image, 2U, 33);
    EXPECT_TRUE(sameBits(first.get(), image(1, 40)));
    EXPECT_TRUE(sameBits(second.get(), image(2, 33)));
    std::cout.clear();
}

}  // namespace
}  // namespace oravo::test
