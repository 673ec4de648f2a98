#ifndef ORAVO_VISION_DETAIL_REGISTRATION_CORNERREGISTRATION_H
#define ORAVO_VISION_DETAIL_REGISTRATION_CORNERREGISTRATION_H

#include <algorithm>
#include <atomic>
#include <opencv2/core.hpp>
#include <vector>

#include "support/CodeLocation.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/numerics/Threads.h"
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
        codes_.reserve(static_cast<std::size_t>(frameCount));
        completeShifts.reserve(static_cast<std::size_t>(frameCount));
    }

    void setThreads(const Threads& threads) {
        threads_ = threads;
        works_ = PerSlot<Work>(threads);
    }

    void prepareFrame(const float* frame) { tracker.prepareFrame(frame); }

    /// Calls a function that prepares a frame; with threads to spare, the corners of what will be the reference are found
    /// meanwhile.
    template <class Intake>
    void findCornersBeside(const Intake& intake) {
        const int next = latestReference_ + 1;  // the frame that is about to move into the reference's slot
        if (threads_.count() == 1 || latestReference_ < 0 || tracker.preparedCount() < frameCount_ ||
            next >= frameCount_) {
            intake();
            return;
        }
        CornerTracker::Search search(tracker, next);
        threads_.forEach(2, [&](int part, int) {
            if (part == 0) search.tryRun();
            if (part == 1) intake();
        });
        search.keep(tracker, latestReference_);
    }

    /// @param tooLarge  location of the "Too large displacement" exception
    int doRegistration(int numFrames, int refIndex, float* const* frames, cv::Point_<float>* shifts,
                       Mask** masks, float** shiftedFrames, const CodeLocation& tooLarge) {
        checkPrepared(
            numFrames, refIndex, tracker.preparedCount(),
            {"vision/superresolution/detail/registration/CornerRegistration", __LINE__, tooLarge.function});
        latestReference_ = refIndex;
        const int code = registerFrames(numFrames, refIndex, shifts, masks);
        if (code != 0) return code;
        moveToReferenceGrid(size_, numFrames, frames, shifts, shiftedFrames, completeShifts,
                            Unmoved::refusedAndLater, tooLarge, threads_);
        return 0;
    }

  private:
    /// What a thread beside the calling one works in.
    struct Work {
        explicit Work(FrameSize size) : flow(size) {}
        CornerTracker::Tracks tracks;
        FlowRefinement::Work flow;
    };

    int registerFrames(int numFrames, int refIndex, cv::Point_<float>* shifts, Mask** masks) {
        threads_.forEach(2, [&](int part, int) {
            if (part == 0) initialize(masks, refIndex);
            if (part == 1) tracker.extractCornersRefImage(refIndex);
        });
        const auto n = static_cast<std::size_t>(numFrames);
        estimates_.assign(n, {0.0f, 0.0f});
        codes_.assign(n, 0);
        std::atomic<int> failed{numFrames};  // the first frame that has no shift
        threads_.forEach(numFrames, [&](int i, int slot) {
            if (i > failed) return;
            if (i == refIndex) {
                shifts[i] = {0.0f, 0.0f};
                return;
            }
            registerFrame(refIndex, i, masks[i], slot);
            int first = failed;
            while (codes_[static_cast<std::size_t>(i)] != 0 && i < first &&
                   !failed.compare_exchange_weak(first, i)) {
            }
        });
        if (failed < numFrames) return leaveOff(failed, numFrames, refIndex, masks);
        std::copy(estimates_.begin(), estimates_.end(), shifts);
        return 0;
    }

    void registerFrame(int refIndex, int i, Mask* mask, int slot) {
        const auto at = static_cast<std::size_t>(i);
        const float* reference = tracker.blurred(refIndex).template ptr<float>();
        const float* frame = tracker.blurred(i).template ptr<float>();
        cv::Point_<int> whole(0, 0);
        if (slot == 0) {
            codes_[at] = tracker.registerWithCorners(refIndex, i, whole);
            if (codes_[at] == 0) estimates_[at] = flow.refine(reference, frame, whole, mask);
        } else {
            Work& work = works_.at(slot, size_);
            codes_[at] = tracker.registerWithCorners(refIndex, i, whole, work.tracks);
            if (codes_[at] == 0) estimates_[at] = flow.refine(reference, frame, whole, mask, work.flow);
        }
    }

    /// No shift but the reference's has been written, and no frame after the one that failed counts.
    int leaveOff(int failed, int numFrames, int refIndex, Mask** masks) const {
        for (int k = failed + 1; k < numFrames; ++k) {
            if (k != refIndex) std::fill_n(masks[k], size_.pixelCount(), Mask(0));
        }
        return codes_[static_cast<std::size_t>(failed)];
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
    int latestReference_ = -1;  ///< slot of the last run's
    Threads threads_;
    PerSlot<Work> works_{threads_};
    std::vector<cv::Point_<float>> estimates_;
    std::vector<int> codes_;  ///< of the frames

  public:
    CornerTracker tracker;
    FlowRefinement flow;
    /// The whole shift of each frame of the last run, before its reduction to the sub-pixel remainder.
    std::vector<cv::Point_<float>> completeShifts;
};

}  // namespace oravo::vision::detail

#endif
