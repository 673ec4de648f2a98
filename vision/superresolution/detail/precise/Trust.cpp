#include "vision/superresolution/detail/precise/Trust.h"

#include <algorithm>

#include "vision/superresolution/detail/precise/Elementary.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr double kLeastNoise = 0.008;  ///< of a sensor, in units of the scene's contrast
constexpr double kAsNoise = 1.0, kExplained = 1.3, kUnexplained = 1.8;  ///< withheld error over the noise
constexpr double kMuchBetter = 4.0, kHardlyBetter = 2.5;                ///< gains in decibels
constexpr double kBetterThanCodec = 2.0, kAsCodec = 1.0;                ///< the same for processed frames
constexpr double kAlike = 1.2, kOdd = 1.5;               ///< misfit of the reference over the others'
constexpr double kFarBetter = 7.0, kNotFarBetter = 5.0;  ///< gains at which an odd reference matters
constexpr double kSplendid = 8.0, kGood = 6.5;           ///< the same, where more than noise is missed
constexpr double kNoMisfit = 0.002;

/// 0 at and before `none`, 1 from `all` on, which may lie on either side.
double ramp(double value, double none, double all) {
    return std::clamp((value - none) / (all - none), 0.0, 1.0);
}

}  // namespace

bool isProcessed(const Evidence& evidence) {
    return evidence.frameNoise < kLeastNoise;
}

double gainInDecibels(const Evidence& evidence) {
    if (!(evidence.withheldError > 0.0) || !(evidence.bicubicError > 0.0)) return 0.0;
    return decibels(evidence.bicubicError / evidence.withheldError);
}

double leaningOnReference(const Evidence& evidence) {
    if (!(evidence.withheldError > 0.0) || !(evidence.bicubicError > 0.0)) return 0.0;
    const double gain = gainInDecibels(evidence);
    const double missed = evidence.withheldError / std::max(evidence.frameNoise, kLeastNoise);
    const double little = isProcessed(evidence) ? ramp(gain, kBetterThanCodec, kAsCodec)
                                                : ramp(gain, kMuchBetter, kHardlyBetter);
    const double warped = ramp(missed, kExplained, kUnexplained) * little;
    const bool measurable = evidence.referenceMisfit > kNoMisfit && evidence.misfit > 0.0;
    const double unlikely = std::max(ramp(gain, kFarBetter, kNotFarBetter),
                                     ramp(missed, kAsNoise, kExplained) * ramp(gain, kSplendid, kGood));
    const double odd =
        measurable ? ramp(evidence.referenceMisfit / evidence.misfit, kAlike, kOdd) * unlikely : 0.0;
    return std::max(warped, odd);
}

}  // namespace oravo::vision::detail::precise
