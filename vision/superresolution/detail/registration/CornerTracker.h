#ifndef ORAVO_VISION_DETAIL_REGISTRATION_CORNERTRACKER_H
#define ORAVO_VISION_DETAIL_REGISTRATION_CORNERTRACKER_H

#include <cfloat>
#include <opencv2/core.hpp>
#include <vector>

#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/memory/HeapRetention.h"
#include "vision/superresolution/detail/memory/SlidingWindow.h"

namespace oravo::vision::detail {

/// Standard deviation of the Gaussian that registrations blur frames with, for a kernel of (2 radius + 1)
/// taps.
float registrationBlurSigma(int radius);

/// Whole-pixel shifts from tracked corners: frames are blurred and turned into 8-bit pyramids as they arrive;
/// corners of the blurred reference (J. Shi, C. Tomasi, "Good features to track", CVPR 1994) are then
/// followed into the other frames by the pyramidal Lucas-Kanade tracker, and their displacements averaged
/// around the median.
class CornerTracker {
  public:
    CornerTracker(FrameSize size, int slots);

    int blurRadius = defaults::kBlurRadius;

    /// Prepares a frame (dense, not kept) in the newest slot. When that throws, the slot stays occupied, but
    /// the frame cannot be registered.
    void prepareFrame(const float* frame);
    int preparedCount() const { return window_.count(); }
    const cv::Mat_<float>& blurred(int slot) const { return window_[slot].blurred; }

    /// Finds the corners to track, unless they have been found ahead; called once per run.
    void extractCornersRefImage(int refIndex);

    /// The search for the corners of a frame in the window, to be run beside prepareFrame() on another thread: it holds the
    /// frame's image by itself. Keep its results afterwards, while the frame has the slot that it is then in.
    class Search {
      public:
        Search(const CornerTracker& tracker, int slot) : image_(tracker.blurred(slot)) {}
        /// Without a result where it fails, which the search of the run will do as well.
        void tryRun();
        void keep(CornerTracker& tracker, int slot);

      private:
        cv::Mat_<float> image_;
        std::vector<cv::Point_<float>> corners_;
        bool done_ = false;
    };

    /// Estimates the whole-pixel shift of a frame against the reference.
    /// @return 0, or -9 when no corner could be tracked (shift is then (0, 0))
    /// Throws oravo::Exception when one of the two frames could not be prepared.
    int registerWithCorners(int refIndex, int frameIndex, cv::Point_<int>& shift) {
        return registerWithCorners(refIndex, frameIndex, shift, tracks_);
    }

    /// Where corners went. Copies are independent.
    struct Tracks {
        Tracks();
        cv::Point_<int> robustMean();

        std::vector<cv::Point_<float>> tracked;
        std::vector<unsigned char> status;
        std::vector<float> errors;
        std::vector<cv::Point_<float>> displacements;
        std::vector<float> sortedX, sortedY;
    };
    /// The same; frames may be registered at once, each with other tracks.
    int registerWithCorners(int refIndex, int frameIndex, cv::Point_<int>& shift, Tracks& tracks) const;

  private:
    struct PreparedFrame {
        Buffer<float> pixels;  ///< of blurred
        cv::Mat_<float> blurred;
        std::vector<cv::Mat> pyramid;
        bool knowsCorners = false;
        std::vector<cv::Point_<float>> corners;  ///< found ahead
    };

    void prepare(const float* frame, PreparedFrame& slot);
    void updateRange(const cv::Mat_<float>& blurred);

    HeapRetention heapRetention_;  // the first member, so that it is the last to go
    FrameSize size_;
    SlidingWindow<PreparedFrame> window_;
    std::vector<cv::Point_<float>> refCorners_;

    // Intensity range of the 8-bit conversion. It stays until a frame exceeds it, and then becomes that frame's
    // range; older pyramids keep the range that they were built with.
    float rangeMin_ = FLT_MAX;
    float rangeMax_ = -FLT_MAX;
    float rangeScale_ = 0.0f;
    float rangeOffset_ = 0.0f;
    cv::Mat_<float> ranged_;
    cv::Mat eightBit_;

    Tracks tracks_;
};

}  // namespace oravo::vision::detail

#endif
