#ifndef ORAVO_VISION_DETAIL_REGISTRATION_PHASEREGISTRATION_H
#define ORAVO_VISION_DETAIL_REGISTRATION_PHASEREGISTRATION_H

#include <algorithm>
#include <vector>

#include "vision/superresolution/detail/registration/FlowRefinement.h"
#include "vision/superresolution/detail/registration/FrameMove.h"
#include "vision/superresolution/detail/registration/PhaseCorrelator.h"

namespace oravo::vision::detail {

/// A registration by phase correlation with optical-flow refinement, on spectra that its owner keeps. Point
/// is the type of a shift, a pair of floats x, y.
template <class Point>
class PhaseRegistration {
  public:
    using Bin = PhaseCorrelator::Bin;

    /// @param unmoved  the frames that are copied when one is refused
    PhaseRegistration(FrameSize size, int gaussRadius, Unmoved unmoved, const CodeLocation& where)
        : correlator(size, gaussRadius, where),
          flow(size),
          size_(size),
          unmoved_(unmoved),
          refImage_(size.elements()),
          curImage_(size.elements()) {}

    /// @param spectra   of the unblurred frames, indexed like them
    /// @param tooLarge  location of the "Too large displacement" exception
    void doRegistration(int numFrames, int refIndex, const float* const* frames, const Bin* const* spectra,
                        Point* shifts, char** masks, float** shiftedFrames, const CodeLocation& tooLarge) {
        registerFrames(numFrames, refIndex, frames, spectra, shifts, masks, tooLarge);
        moveToReferenceGrid(size_, numFrames, frames, shifts, shiftedFrames, completeShifts, unmoved_,
                            tooLarge);
    }

    PhaseCorrelator correlator;
    FlowRefinement flow;
    /// The whole shift of each frame of the last run, before its reduction to the sub-pixel remainder.
    std::vector<Point> completeShifts;

  private:
    void registerFrames(int numFrames, int refIndex, const float* const* frames, const Bin* const* spectra,
                        Point* shifts, char** masks, const CodeLocation& where) {
        correlator.blur(spectra[refIndex], frames[refIndex], refImage_.data(), where);
        flow.setReference(refImage_.data());
        for (int i = 0; i < numFrames; ++i) {
            std::fill_n(masks[i], size_.pixelCount(), static_cast<char>(i == refIndex ? 1 : 0));
            shifts[i] = {0.0f, 0.0f};
            if (i == refIndex) continue;
            const cv::Point_<int> whole = correlator.shift(spectra[refIndex], spectra[i]);
            correlator.blur(spectra[i], frames[i], curImage_.data(), where);
            const cv::Point_<float> refined =
                flow.refine(refImage_.data(), curImage_.data(), whole, masks[i]);
            shifts[i] = {refined.x, refined.y};
        }
    }

    FrameSize size_;
    Unmoved unmoved_;
    Buffer<float> refImage_;
    Buffer<float> curImage_;
};

}  // namespace oravo::vision::detail

#endif
