#include "vision/superresolution/detail/registration/CornerTracker.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>
#include <string>

#include "support/CodeLocation.h"
#include "vision/superresolution/detail/Status.h"
#include "vision/superresolution/detail/registration/FrameMove.h"

namespace oravo::vision::detail {
namespace {

constexpr int kMaxCorners = 100;
constexpr double kCornerQuality = 0.1;
constexpr double kCornerDistance = 2.0;
constexpr int kCornerBlock = 3;
constexpr double kHarrisConstant = 0.04;  // without effect, since the minimum eigenvalue is the measure

const cv::Size kTrackWindow(21, 21);
constexpr int kMaxLevel = 3;
constexpr int kMaxTrackIterations = 30;
constexpr double kTrackStep = 0.01;
constexpr double kMinEigenvalue = 0.0001;

constexpr float kInlierDistance = 2.0f;  // from the median, on either axis

constexpr std::size_t kTemporaryImages = 24;

void findCorners(const cv::Mat_<float>& image, std::vector<cv::Point_<float>>& corners) {
    cv::goodFeaturesToTrack(image, corners, kMaxCorners, kCornerQuality, kCornerDistance, cv::noArray(),
                            kCornerBlock, /*useHarrisDetector=*/false, kHarrisConstant);
}

/// Far beyond any frame; sizes of OpenCV's tables for the kernel stay within an int.
constexpr int kLargestBlurRadius = 32767;

}  // namespace

float registrationBlurSigma(int radius) {
    const float r = static_cast<float>(radius);
    const float variance = 3.0f * r * r / 25.0f;
    return static_cast<float>(std::sqrt(static_cast<double>(variance)));
}

CornerTracker::CornerTracker(FrameSize size, int slots)
    // The search for corners works on some ten images of floats; blocks between them leave gaps in the heap.
    : heapRetention_(kTemporaryImages * size.elements() * sizeof(float)),
      size_(size),
      window_(std::vector<PreparedFrame>(static_cast<std::size_t>(slots))) {
    for (int i = 0; i < slots; ++i) {
        window_[i].pixels = Buffer<float>(size.elements());
        window_[i].blurred = cv::Mat_<float>(size.height, size.width, window_[i].pixels.data());
    }
    refCorners_.reserve(kMaxCorners);
}

CornerTracker::Tracks::Tracks() {
    tracked.reserve(kMaxCorners);
    status.reserve(kMaxCorners);
    errors.reserve(kMaxCorners);
    displacements.reserve(kMaxCorners);
    sortedX.reserve(kMaxCorners);
    sortedY.reserve(kMaxCorners);
}

void CornerTracker::prepareFrame(const float* frame) {
    PreparedFrame& slot = window_.advance();
    slot.knowsCorners = false;
    try {
        prepare(frame, slot);
    } catch (...) {
        slot.pyramid.clear();  // or an older frame's pyramid would remain
        throw;
    }
}

void CornerTracker::prepare(const float* frame, PreparedFrame& slot) {
    if (blurRadius < 0 || blurRadius > kLargestBlurRadius) {
        raise(ErrorKind::badArgument,
              "Invalid blur radius " + std::to_string(blurRadius) + " specified, 0 to " +
                  std::to_string(kLargestBlurRadius) + " are possible.",
              {"vision/superresolution/detail/registration/CornerTracker", __LINE__,
               "oravo::vision::detail::CornerTracker::prepare"});
    }
    const cv::Mat_<float> image(size_.height, size_.width, const_cast<float*>(frame));
    const int side = 2 * blurRadius + 1;
    cv::GaussianBlur(image, slot.blurred, cv::Size(side, side), registrationBlurSigma(blurRadius), 0.0,
                     cv::BORDER_REFLECT_101);
    updateRange(slot.blurred);

    ranged_.create(size_.height, size_.width);
    const float* source = slot.blurred.ptr<float>();
    float* target = ranged_.ptr<float>();
    for (int i = 0; i < size_.pixelCount(); ++i) target[i] = (source[i] + rangeOffset_) * rangeScale_;
    ranged_.convertTo(eightBit_, CV_8U, 1.0, 0.0);
    cv::buildOpticalFlowPyramid(eightBit_, slot.pyramid, kTrackWindow, kMaxLevel, /*withDerivatives=*/true,
                                cv::BORDER_REFLECT_101, cv::BORDER_CONSTANT, /*tryReuseInputImage=*/true);
}

void CornerTracker::updateRange(const cv::Mat_<float>& blurred) {
    double minimum = 0.0;
    double maximum = 0.0;
    cv::minMaxIdx(blurred, &minimum, &maximum);
    if (!(static_cast<double>(rangeMin_) > minimum || maximum > static_cast<double>(rangeMax_))) return;
    const double margin = 0.1 * (maximum - minimum);
    rangeMin_ = static_cast<float>(minimum - margin);
    rangeMax_ = static_cast<float>(maximum + margin);
    rangeOffset_ = -rangeMin_;
    rangeScale_ = 255.0f / (rangeMax_ - rangeMin_);
}

void CornerTracker::extractCornersRefImage(int refIndex) {
    const PreparedFrame& reference = window_[refIndex];
    if (reference.knowsCorners) {
        refCorners_ = reference.corners;
    } else {
        findCorners(reference.blurred, refCorners_);
    }
}

void CornerTracker::Search::tryRun() {
    try {
        findCorners(image_, corners_);
        done_ = true;
    } catch (...) {
        done_ = false;
    }
}

void CornerTracker::Search::keep(CornerTracker& tracker, int slot) {
    if (!done_) return;
    PreparedFrame& frame = tracker.window_[slot];
    frame.corners.swap(corners_);
    frame.knowsCorners = true;
}

int CornerTracker::registerWithCorners(int refIndex, int frameIndex, cv::Point_<int>& shift,
                                       Tracks& tracks) const {
    shift = {0, 0};
    for (const int i : {refIndex, frameIndex}) {
        if (window_[i].pyramid.empty()) {
            raise(ErrorKind::notReady,
                  "Frame " + std::to_string(i) + " could not be prepared when it was added.",
                  {"vision/superresolution/detail/registration/CornerTracker", __LINE__,
                   "oravo::vision::detail::CornerTracker::registerWithCorners"});
        }
    }
    if (refCorners_.empty()) return status::noCornerTracked;  // the tracker itself takes no empty list
    cv::calcOpticalFlowPyrLK(
        window_[refIndex].pyramid, window_[frameIndex].pyramid, refCorners_, tracks.tracked, tracks.status,
        tracks.errors, kTrackWindow, kMaxLevel,
        cv::TermCriteria(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, kMaxTrackIterations, kTrackStep), 0,
        kMinEigenvalue);
    tracks.displacements.clear();
    for (std::size_t i = 0; i < refCorners_.size(); ++i) {
        if (tracks.status[i] != 0) tracks.displacements.push_back(tracks.tracked[i] - refCorners_[i]);
    }
    if (tracks.displacements.empty()) return status::noCornerTracked;
    shift = tracks.robustMean();
    return status::ok;
}

/// The mean of the displacements near the median, to whole pixels. Medians are taken per axis (the upper one
/// of an even number), so no displacement need be near both; the mean is then (0, 0).
cv::Point_<int> CornerTracker::Tracks::robustMean() {
    sortedX.clear();
    sortedY.clear();
    for (const cv::Point_<float>& displacement : displacements) {
        sortedX.push_back(displacement.x);
        sortedY.push_back(displacement.y);
    }
    std::sort(sortedX.begin(), sortedX.end());
    std::sort(sortedY.begin(), sortedY.end());
    const float medianX = sortedX[sortedX.size() / 2];
    const float medianY = sortedY[sortedY.size() / 2];

    cv::Point_<float> sum(0.0f, 0.0f);
    int inliers = 0;
    for (const cv::Point_<float>& displacement : displacements) {
        if (!(std::abs(displacement.x - medianX) < kInlierDistance)) continue;
        if (!(std::abs(displacement.y - medianY) < kInlierDistance)) continue;
        sum += displacement;
        ++inliers;
    }
    if (inliers > 0) {
        sum.x /= static_cast<float>(inliers);
        sum.y /= static_cast<float>(inliers);
    }
    return {roundToWhole(sum.x), roundToWhole(sum.y)};
}

}  // namespace oravo::vision::detail
