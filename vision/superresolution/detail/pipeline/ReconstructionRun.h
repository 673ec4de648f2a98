#ifndef ORAVO_VISION_DETAIL_PIPELINE_RECONSTRUCTIONRUN_H
#define ORAVO_VISION_DETAIL_PIPELINE_RECONSTRUCTIONRUN_H

#include <algorithm>
#include <functional>
#include <opencv2/core.hpp>
#include <vector>

#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/memory/ImageStack.h"
#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/pipeline/RunAssessment.h"
#include "vision/superresolution/detail/pipeline/TimingReport.h"

namespace oravo::vision::detail {

/// Repairs the newest frame of a window, then has it prepared for registration. When the repair throws, the
/// frame keeps its place in the window, so it has to be prepared all the same before the exception is passed
/// on.
/// @return 0, or the repair's negative result
template <class Prepare>
int repairAndPrepare(SuperResolutionBadPixelHandling& badPixelHandling, FrameSize size, float* newest,
                     Prepare prepare) {
    cv::Mat_<float> frame(size.height, size.width, newest);
    int result = 0;
    try {
        result = badPixelHandling.detectAndReplaceBadPixel(frame);
    } catch (...) {
        prepare(newest);
        throw;
    }
    prepare(newest);
    return std::min(result, 0);
}

/// The run that every pipeline makes over its window: register, assess, reconstruct, refill defects, report;
/// and the images that it writes. They belong to window positions, and every run overwrites them.
///
/// Point is the type of a shift, a pair of floats x, y; Mask the type of a mask's element.
template <class Point, class Mask>
class ReconstructionRun {
  public:
    struct Settings {
        const char* title;   ///< of the report; null for none
        int referenceIndex;  ///< counted back from the newest frame
        int maxCoverage;     ///< the most frames that count for one pixel in the resolution gain
    };

    ReconstructionRun(FrameSize inputSize, FrameSize outputSize, int windowSize)
        : shifts(static_cast<std::size_t>(windowSize)),
          masks(windowSize, inputSize),
          shiftedFrames(windowSize, inputSize),
          image(outputSize.elements()),
          input_(inputSize),
          output_(outputSize) {
        const auto n = static_cast<std::size_t>(windowSize);
        frames.reserve(n);
        completeShifts_.reserve(n);
        refillShifts_.reserve(n);
        frameImages_.reserve(n);
    }

    /// @param frames            of the window, set beforehand, oldest first
    /// @param registration      its doRegistration takes (count, reference, frames, shifts, masks,
    ///                          shiftedFrames)
    /// @param badPixelHandling  refills the defects that it has recorded; null leaves the image as reconstructed
    /// @param deliver           called with the finished image in place
    /// @return the resolution gain, or the negative status of the pipelines' computeSR
    template <class Registration, class Minimization, class Deliver>
    float operator()(const Settings& settings, Registration& registration, Minimization& minimization,
                     SuperResolutionBadPixelHandling* badPixelHandling, Deliver deliver) {
        TimingReport report(reports ? settings.title : nullptr, stageTimes);
        const int frameCount = static_cast<int>(frames.size());
        const int reference = referencePosition(frameCount, settings.referenceIndex);

        report.start();
        const int registered = registration.doRegistration(frameCount, reference, frames.data(),
                                                           shifts.data(), masks.data(), shiftedFrames.data());
        if (registered < 0) return static_cast<float>(status::registrationFailed);
        report.end("registration");
        if (progress) progress(kShareOfRegistration);

        registration.getCompleteShifts(completeShifts_);
        report.start();
        const int assessment =
            motionAndCoverageStatus(input_, frameCount, completeShifts_.data(), masks.data());
        report.end("large_displacement");

        report.start();
        const int iterations = minimization.minimize(frameCount, reference, shiftedFrames.data(),
                                                     shifts.data(), masks.data(), image.data());
        report.end("minimization");
        if (iterations < 0) return static_cast<float>(iterations);
        if (progress) progress(kShareOfRegistration + kShareOfSolver);

        if (badPixelHandling != nullptr) refill(*badPixelHandling);

        report.start();
        deliver();
        const float gain = resolutionGain(input_, frameCount, masks.data(), settings.maxCoverage);
        report.end("save+srfactor calc");
        report.close();
        return assessment != status::ok ? static_cast<float>(assessment) : gain;
    }

    /// Copies the enlarged image row by row, so that `copy` may be a region of a larger matrix.
    void copyImage(cv::Mat_<float>& copy) const {
        const cv::Mat_<float> whole(output_.height, output_.width, image.data());
        copy.create(whole.size());
        threads.forRows(output_.height, [&](int first, int end, int) {
            cv::Mat_<float> rows = copy.rowRange(first, end);
            whole.rowRange(first, end).copyTo(rows);
        });
    }

    /// Copies one byte per pixel of every mask of the window, also of positions that no run has used yet, into
    /// new matrices; where their elements are larger than bytes, the rest is 0.
    template <class Element>
    void copyMasks(std::vector<cv::Mat_<Element>>& copies) const {
        copies.resize(shifts.size());
        for (std::size_t i = 0; i < copies.size(); ++i) {
            copies[i] = cv::Mat_<Element>(input_.height, input_.width, Element(0));
            std::copy_n(reinterpret_cast<const uchar*>(masks.data()[i]), input_.elements(), copies[i].data);
        }
    }

    std::vector<float*> frames;
    std::vector<Point> shifts;  ///< what is left of them after the move by whole pixels
    ImageStack<Mask> masks;
    ImageStack<float> shiftedFrames;
    Buffer<float> image;
    Threads threads;
    bool reports = reportWanted();
    StageTimes stageTimes;  ///< of the last run
    /// Called between the stages with the share that is done; what it throws ends the run, which may be repeated.
    std::function<void(double)> progress;

  private:
    static constexpr double kShareOfRegistration = 0.4, kShareOfSolver = 0.5;  // of a run's time, about

    void refill(SuperResolutionBadPixelHandling& badPixelHandling) {
        cv::Mat_<float> enlarged(output_.height, output_.width, image.data());
        refillShifts_.clear();
        for (const Point& shift : completeShifts_) refillShifts_.emplace_back(shift.x, shift.y);
        badPixelHandling.maskBadPixel(enlarged, refillShifts_);
        frameImages_.clear();
        for (float* frame : frames) frameImages_.emplace_back(input_.height, input_.width, frame);
        badPixelHandling.requireRefillable(refillShifts_, frameImages_);
        threads.forRows(output_.height, [&](int first, int end, int) {
            badPixelHandling.replaceMaskedRows(enlarged, refillShifts_, frameImages_, first, end);
        });
    }

    FrameSize input_;
    FrameSize output_;

    // Refilled by every run; members so that a run allocates nothing.
    std::vector<Point> completeShifts_;
    std::vector<cv::Point_<float>> refillShifts_;
    std::vector<cv::Mat_<float>> frameImages_;
};

}  // namespace oravo::vision::detail

#endif
