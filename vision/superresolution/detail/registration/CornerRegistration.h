#ifndef ORAVO_VISION_DETAIL_REGISTRATION_CORNERREGISTRATION_H
#define ORAVO_VISION_DETAIL_REGISTRATION_CORNERREGISTRATION_H

#include <algorithm>
#include <opencv2/core.hpp>
#include <vector>

#include "support/CodeLocation.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/registration/CornerTracker.h"
#include "vision/superresolution/detail/registration/FlowRefinement.h"
#include "vision/superresolution/detail/registration/FrameMove.h"

namespace oravo::vision::detail {

/// A registration by tracked corners with optical-flow refinement. Mask is the element type of validity
/// masks: 1 marks a pixel that may be used, 0 one that may not.
template <class Mask>
class CornerRegistration {
  public:
    CornerRegistration(int width, int height, int frameCount, const CodeLocation& where)
        : size_(checkedSize(width, height, where)),
          frameCount_(checkedFrameCount(frameCount, where)),
          tracker(size_, frameCount),
          flow(size_) {
        estimates_.reserve(static_cast<std::size_t>(frameCount));
        completeShifts.reserve(static_cast<std::size_t>(frameCount));
    }

    /// @param tooLarge  location of the "Too large displacement" exception
    int doRegistration(int numFrames, int refIndex, float* const* frames, cv::Point_<float>* shifts,
                       Mask** masks, float** shiftedFrames, const CodeLocation& tooLarge) {
        checkPrepared(
            numFrames, refIndex, tracker.preparedCount(),
            {"vision/superresolution/detail/registration/CornerRegistration", __LINE__, tooLarge.function});
        const int code = registerFrames(numFrames, refIndex, shifts, masks);
        if (code != 0) return code;
        moveToReferenceGrid(size_, numFrames, frames, shifts, shiftedFrames, completeShifts,
                            Unmoved::refusedAndLater, tooLarge);
        return 0;
    }

  private:
    int registerFrames(int numFrames, int refIndex, cv::Point_<float>* shifts, Mask** masks) {
        initialize(masks, refIndex);
        tracker.extractCornersRefImage(refIndex);
        estimates_.assign(static_cast<std::size_t>(numFrames), {0.0f, 0.0f});
        const float* reference = tracker.blurred(refIndex).template ptr<float>();
        for (int i = 0; i < numFrames; ++i) {
            if (i == refIndex) {
                shifts[i] = {0.0f, 0.0f};
                continue;
            }
            cv::Point_<int> whole(0, 0);
            const int code = tracker.registerWithCorners(refIndex, i, whole);
            if (code != 0) return code;  // no shift but the reference's has been written
            const float* frame = tracker.blurred(i).template ptr<float>();
            estimates_[static_cast<std::size_t>(i)] = flow.refine(reference, frame, whole, masks[i]);
        }
        std::copy(estimates_.begin(), estimates_.end(), shifts);
        return 0;
    }

    /// The reference is valid everywhere; every other slot nowhere, until its frame has been registered.
    void initialize(Mask** masks, int refIndex) {
        for (int k = 0; k < frameCount_; ++k) {
            std::fill_n(masks[k], size_.pixelCount(), k == refIndex ? Mask(1) : Mask(0));
        }
        flow.setReference(tracker.blurred(refIndex).template ptr<float>());
    }

    FrameSize size_;
    int frameCount_;
    std::vector<cv::Point_<float>> estimates_;

  public:
    CornerTracker tracker;
    FlowRefinement flow;
    /// The whole shift of each frame of the last run, before its reduction to the sub-pixel remainder.
    std::vector<cv::Point_<float>> completeShifts;
};

}  // namespace oravo::vision::detail

#endif
