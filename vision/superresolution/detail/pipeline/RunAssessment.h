#ifndef ORAVO_VISION_DETAIL_PIPELINE_RUNASSESSMENT_H
#define ORAVO_VISION_DETAIL_PIPELINE_RUNASSESSMENT_H

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>
#include <type_traits>

#include "vision/superresolution/detail/Status.h"
#include "vision/superresolution/detail/memory/FrameSize.h"

namespace oravo::vision::detail {

/// The window position of the reference frame, which is counted back from the newest.
inline int referencePosition(int frameCount, int referenceIndex) {
    return std::max(frameCount - referenceIndex - 1, 0);
}

/// The most frames that count for one pixel in the resolution gain.
inline int maxCoverageOf(float srFactor) {
    return static_cast<int>(srFactor * srFactor + 1.0f);
}

/// That number for all pipelines of a Kind, whatever their factors: the first run in the process decides it,
/// since hosts compare the gains of different pipelines. It is defined here, not in the exported classes, so
/// that the library does not export the variable.
template <class Kind>
int sharedMaxCoverage(float srFactor) {
    static const int maxCoverage = maxCoverageOf(srFactor);
    return maxCoverage;
}

/// Whether at least half of a mask's pixels are unusable.
template <class Mask>
bool tooFewValid(FrameSize size, Mask* mask) {
    constexpr int kType = std::is_same_v<Mask, char> ? CV_8S : cv::DataType<Mask>::type;
    const cv::Mat image(size.height, size.width, kType, mask);
    const auto valid = static_cast<float>(cv::sum(image)[0]);
    const auto pixels = static_cast<float>(size.pixelCount());
    return (pixels - valid) / pixels >= 0.5f;
}

/// tooLargeDisplacement when some frame moved by more than a tenth of the frame height (in whole pixels) in x or y, else
/// tooFewValidPixels when some frame's mask leaves out at least half of its pixels, else ok.
template <class Point, class Mask>
int motionAndCoverageStatus(FrameSize size, int frameCount, const Point* completeShifts, Mask* const* masks) {
    const int tenth = size.height / 10;
    const auto limit = static_cast<float>(tenth);
    bool largeDisplacement = false;
    bool sparse = false;
    for (int i = 0; i < frameCount; ++i) {
        if (std::abs(completeShifts[i].x) > limit || std::abs(completeShifts[i].y) > limit)
            largeDisplacement = true;
        if (tooFewValid(size, masks[i])) sparse = true;
    }
    if (largeDisplacement) return status::tooLargeDisplacement;
    return sparse ? status::tooFewValidPixels : status::ok;
}

/// An estimate of the resolution gain achieved: 1 plus a quarter of the mean number of frames, beyond the
/// first, that are valid at a pixel. The quarter stands for the 2 x 2 pixels of an enlargement by 2, whatever
/// the factor.
template <class Mask>
float resolutionGain(FrameSize size, int frameCount, Mask* const* masks, int maxCoverage) {
    constexpr long long kBlock = 4096;  // pixels that stay in the cache
    const long long pixels = size.pixelCount();
    long long total = -pixels;
    int covered[kBlock];
    for (long long start = 0; start < pixels; start += kBlock) {
        const int n = static_cast<int>(std::min(kBlock, pixels - start));
        std::fill_n(covered, n, 0);
        for (int i = 0; i < frameCount; ++i) {
            const Mask* mask = masks[i] + start;
            for (int p = 0; p < n; ++p) covered[p] += mask[p] != Mask(0) ? 1 : 0;
        }
        int sum = 0;
        for (int p = 0; p < n; ++p) sum += std::min(covered[p], maxCoverage);
        total += sum;
    }
    return static_cast<float>(total) / static_cast<float>(pixels * 4) + 1.0f;
}

}  // namespace oravo::vision::detail

#endif
