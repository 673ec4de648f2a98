#include "vision/superresolution/detail/pipeline/PipelineParameters.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "support/Exception.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/reference/SuperResolution.h"

namespace oravo::vision {
namespace {

/// The C string that a call throws, or the empty one.
std::string rejected(const std::function<void()>& call) {
    try {
        call();
    } catch (const char* text) {
        return text;
    }
    return "";
}

constexpr char kBadIndex[] = "Invalid reference index specified.";
constexpr char kBadWeight[] = "Invalid total-variation term weight specified.";

template <class Pipeline>
struct AllPipelines : testing::Test {};
using AllTypes = testing::Types<SrFloat<SrFloatRegistration1>, SrFloat<SrFloatRegistration2>,
                                SrFloatNeon<SrFloatNeonRegistration>, SuperResolution>;
TYPED_TEST_SUITE(AllPipelines, AllTypes, );

TYPED_TEST(AllPipelines, SettersRejectAndKeepWhatWasThere) {
    using Pipeline = TypeParam;
    struct Case {
        void (Pipeline::*set)(float);
        float (Pipeline::*get)() const;
        float initial;
        std::vector<float> bad, good;
        const char* text;
    };
    const float nan = std::nanf("");
    const std::vector<Case> cases = {
        {&Pipeline::setPsfSigma,
         &Pipeline::getPsfSigma,
         0.683f,
         {0.0f, -1.0f},
         {1e-6f, nan},
         "Invalid standard deviation of the sensor psf specified."},
        {&Pipeline::setRegError,
         &Pipeline::getRegError,
         0.0001f,
         {0.0f, 1.0001f, -1.0f},
         {1.0f, nan},
         "Invalid maximum registration error specified."},
        {&Pipeline::setRelativeResidue,
         &Pipeline::getRelativeResidue,
         0.007f,
         {1e-7f, 0.0f},
         {1.1e-6f, nan},
         kBadWeight},
        {&Pipeline::setWeightTV, &Pipeline::getWeightTV, 400.0f, {0.5f, -400.0f}, {1.0f, nan}, kBadWeight}};
    Pipeline pipeline(16, 12, 5, 2.0f);
    for (const Case& c : cases) {
        EXPECT_EQ((pipeline.*c.get)(), c.initial);
        for (const float value : c.bad) {
            EXPECT_EQ(rejected([&] { (pipeline.*c.set)(value); }), c.text) << value;
            EXPECT_EQ((pipeline.*c.get)(), c.initial);
        }
        for (const float value : c.good) {
            EXPECT_EQ(rejected([&] { (pipeline.*c.set)(value); }), "") << value;
            const float stored = (pipeline.*c.get)();
            EXPECT_TRUE(stored == value || (std::isnan(stored) && std::isnan(value)));
        }
    }
}

TYPED_TEST(AllPipelines, ConstructorAndIterationLimitRejectWhatCannotBe) {
    TypeParam pipeline(16, 12, 5, 2.0f);
    EXPECT_EQ(pipeline.getMaxCGIters(), 8);
    EXPECT_EQ(rejected([&] { pipeline.setMaxCGIters(0); }),
              "Invalid maximum number of iterations specified.");
    EXPECT_EQ(pipeline.getMaxCGIters(), 8);
    for (const int windowSize : {0, -3}) {
        EXPECT_EQ(rejected([&] { TypeParam(16, 12, windowSize, 2.0f); }), kBadIndex) << windowSize;
    }
    for (const float factor : {0.5f, -2.0f, std::nanf(""), std::numeric_limits<float>::infinity()}) {
        EXPECT_THROW(TypeParam(6, 4, 1, factor), Exception) << factor;
    }
}

template <class Pipeline>
struct FloatPipelines : testing::Test {};
using FloatTypes = testing::Types<SrFloat<SrFloatRegistration1>, SrFloat<SrFloatRegistration2>,
                                  SrFloatNeon<SrFloatNeonRegistration>>;
TYPED_TEST_SUITE(FloatPipelines, FloatTypes, );

TYPED_TEST(FloatPipelines, KeepTheirReferenceInTheWindow) {
    TypeParam pipeline(16, 12, 5, 2.0f);
    EXPECT_EQ(pipeline.getReferenceIndex(), 0);
    for (const int index : {5, -1}) {
        EXPECT_EQ(rejected([&] { pipeline.setReferenceIndex(index); }), kBadIndex) << index;
    }
    EXPECT_EQ(rejected([&] { pipeline.setReferenceIndex(4); }), "");
    EXPECT_EQ(pipeline.getReferenceIndex(), 4);
    EXPECT_EQ(pipeline.getMinStructureThreshold(), 2.0f);
}

TYPED_TEST(FloatPipelines, SizesAreEnlargedInSinglePrecisionAndTruncated) {
    const TypeParam pipeline(160, 120, 5, 2.0f);
    EXPECT_EQ(pipeline.getInputSize(), 160 * 120);
    EXPECT_EQ(pipeline.getOutputSize(), 320 * 240);
    EXPECT_EQ(pipeline.getWindowSize(), 5);
    EXPECT_EQ(TypeParam(6, 5, 1, 1.5f).getOutputSize(), 9 * 7);
}

}  // namespace
}  // namespace oravo::vision
