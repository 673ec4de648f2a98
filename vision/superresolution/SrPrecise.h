#ifndef ORAVO_VISION_SRPRECISE_H
#define ORAVO_VISION_SRPRECISE_H

#include <algorithm>
#include <cstddef>
#include <functional>
#include <opencv2/core.hpp>
#include <vector>

#include "support/Export.h"
#include "vision/superresolution/Defaults.h"

namespace oravo::vision {

/// Options of SrPrecise. The defaults suit every burst; nothing has to be tuned.
struct SrPreciseOptions {
    /// Enlargement, 1 to 4.
    int factor = 2;
    /// Total blur of the camera, optics and pixel, as the standard deviation of a Gaussian in pixels of the image at
    /// factor 2 (half a pixel of the frames), from 0.3 to 2. At other factors it is scaled with the image, and so are the
    /// bounds: from 0.6 to 4 at factor 1, from 0.15 to 1 at factor 4.
    float psfSigma = defaults::kPsfSigma;
    /// Side of the square that a pixel averages over, in the unit of psfSigma, from 0 to 2, where 2 is a pixel without gaps. 0
    /// takes psfSigma for the whole blur; with a square, psfSigma is that of the optics alone, from 0, and its
    /// bounds are those of the standard deviation of both together, sqrt(psfSigma^2 + psfBox^2 / 12).
    float psfBox = 0.0f;
    /// Values outside [lowest, highest] count as defects, as do NaN, infinities and the status codes of pixels.
    float lowest = defaults::kLowestValue;
    float highest = defaults::kHighestValue;  ///< see lowest
    /// Weight of the smoothness prior, in units of the scene's contrast; 0 chooses it by predicting withheld pixels.
    double smoothness = 0.0;
    /// Find sensor pixels that do not follow the scene and impulses of single frames, as particles and flickering pixels leave
    /// them, and leave them out.
    bool findDeadPixels = true;
    /// Estimate the sensor's fixed pattern (columns, rows, pixels) and subtract it where there is one.
    bool findPattern = true;
    /// Estimate standard deviations, which costs about a tenth of the time.
    bool deviation = true;
    /// Threads that work on one image, 1 to kMaxThreads; 0 stands for one on each processor that the process may use. Results have the
    /// same bits for every number. With 1 no thread is started, with others no more than there are processors.
    int threads = 1;
    /// Called for each frame and each step of a solver with the share of the work that is done, 0 to 1, on the calling
    /// thread; returning false ends the run with an oravo::Exception SrPrecise::kCancelled. May be empty.
    std::function<bool(double)> progress;
};

/// What is known about one frame.
struct SrPreciseFrame {
    /// Whether the frame takes part. One that shows nothing of what the reference shows, or repeats another, does not.
    bool used = false;
    /// Displacement of the frame's centre in pixels of the frames: frame(p + d) = reference(p), x right, y down.
    double dx = 0.0;
    double dy = 0.0;  ///< see dx
    /// Standard errors of dx and dy from the misfit, by least squares.
    double dxError = 0.0;
    double dyError = 0.0;  ///< see dxError
    /// Linear part of the motion about the centre: reference pixel p lies at p + d + linear p of the frame. Row by row; all
    /// zero when a translation explains the frame.
    double linear[2][2] = {};
    /// value - m = gain (reference - m) + offset, with m the reference's mean value.
    double gain = 1.0;
    double offset = 0.0;  ///< in the frames' unit; see gain
    /// Standard deviation of what the image leaves unexplained of the frame, in the frames' unit, by its median.
    double misfit = 0.0;
    /// Mean weight of the frame's pixels, from 0 to 1.
    double weight = 0.0;
};

/// An enlarged image and what is known about it. Images are rows x columns, factor times those of the frames; frame pixel i
/// of the reference lies at factor i + (factor - 1) / 2.
struct SrPreciseResult {
    /// In the frames' unit. A pixel that no frame has a value for carries a status code: the one of the reference frame's
    /// pixel, CODE_OVER_RANGE or CODE_UNDER_RANGE for values beyond the limits, CODE_INVALID for all else.
    cv::Mat_<float> image;
    /// Standard deviation of the image's noise, in the frames' unit; NaN where the image has no value. Empty
    /// unless requested. What the camera blurs away and the prior guesses is not part of it.
    cv::Mat_<float> deviation;
    /// How many frames' worth of trusted values each pixel rests on.
    cv::Mat_<float> weight;
    std::vector<SrPreciseFrame> frames;  ///< in the order of the frames
    /// How far the scene moves over the sensor: the standard deviation of the displacements of frames that take part, in
    /// pixels of the frames.
    double movement = 0.0;
    /// Whether that is more than a quarter of a pixel; where it is not, nothing separates the sensor from the scene, and
    /// neither dead pixels nor a pattern are looked for. Impulses of single frames are left out all the same.
    bool sceneMoves = false;
    std::vector<cv::Point> deadPixels;  ///< of the frames, row by row
    cv::Mat_<float> pattern;  ///< of the sensor, rows x columns of the frames; empty when none was found
    double contrast = 0.0;    ///< standard deviation of the reference frame
    /// Standard deviation of the frames' noise: the median frame's misfit, and, when standard deviations were
    /// requested, corrected for the part of the noise that the image explains.
    double noise = 0.0;
    double smoothness = 0.0;  ///< weight of the prior that was used
    /// Root mean square error of predicting pixels of frames other than the reference that were withheld, by the image and
    /// by bicubic interpolation of the reference, in the frames' unit; 0 when there was nothing to predict.
    double withheldError = 0.0;
    double bicubicError = 0.0;       ///< see withheldError
    std::size_t withheldPixels = 0;  ///< how many were predicted
    /// How much smaller withheldError is than bicubicError, in decibels; 0 when there was nothing to predict.
    double gain = 0.0;
    /// Whether the image may be taken for better than bicubic enlargement of the reference. False when the reference is the
    /// only frame that takes part, when gain is not above 0, and when the frames do not fit one image: when they are
    /// warped against each other, or show the scene other than the reference does.
    bool trusted = false;
    /// By how much the image fell back to what the reference alone shows, from 0, not at all, to 1, because the frames do not
    /// fit one image; from 0.5 on it is not trusted.
    double leaning = 0.0;
    /// Share of the image's pixels, from 0 to 1, which the other frames lend less than half a frame's weight.
    double shareOnReference = 0.0;

    /// How many frames take part.
    std::ptrdiff_t usedFrames() const {
        return std::count_if(frames.begin(), frames.end(),
                             [](const SrPreciseFrame& frame) { return frame.used; });
    }
};

/// The best image that a burst can yield: all frames are explained at once by one image, seen through the camera's blur
/// from where each frame really was.
///
///     y_k(q) = g_k ((B x)(W_k(q)) + p(q)) + o_k + noise
///
/// W_k is a translation, similarity or affine map, the simplest that explains the frame, refined against the image; g_k
/// and o_k its gain and offset; B a blur, Gaussian and square, that is exact for every displacement; p the sensor's pattern. Values
/// weigh as much as they agree with the image (Cauchy's weight, scale by the median misfit). The prior is first plus
/// second order total variation, its weight the one that best predicts pixels which were withheld.
///
/// One object serves any number of runs; different objects may work on different threads at once. Results have the same
/// bits on every machine. Throws oravo::Exception with a message that names value and bound.
class ORAVO_EXPORT SrPrecise {
  public:
    static constexpr int kMinSide = 8;                      ///< of frames, pixels
    static constexpr int kMaxFrames = 64;                   ///< of one image
    static constexpr int kMaxThreads = 64;                  ///< that share the work on one image
    static constexpr const char* kCancelled = "Cancelled";  ///< message when progress() ended a run

    /// @param width, height  of the frames, at least kMinSide each
    /// @param options        copied
    SrPrecise(int width, int height, const SrPreciseOptions& options = SrPreciseOptions());

    /// Reconstructs one image.
    /// @param frames     1 to kMaxFrames matrices of height x width; rows may be padded; not changed
    /// @param reference  index of the frame on whose grid and at whose gain and offset the image lies
    /// Throws when a size, the number of frames or the index is wrong, or when the reference frame has no value at all.
    SrPreciseResult compute(const std::vector<cv::Mat_<float>>& frames, int reference) const;

    /// The same for later frames of a recording, whose sensor is known in part.
    /// @param frames     as above
    /// @param reference  as above
    /// @param known  pixels that were found dead before (SrPreciseResult::deadPixels), in any order. They are left out and stay in
    ///               deadPixels of the result, unless these frames show that they follow the scene after all, as those
    ///               do that a hot spot of the scene was taken for. More than 2 % of the pixels are ignored
    /// Throws for one outside the frames, too.
    SrPreciseResult compute(const std::vector<cv::Mat_<float>>& frames, int reference,
                            const std::vector<cv::Point>& known) const;

    int width() const { return width_; }                          ///< columns of a frame
    int height() const { return height_; }                        ///< rows of a frame
    const SrPreciseOptions& options() const { return options_; }  ///< as given

  private:
    int width_, height_;
    SrPreciseOptions options_;
};

}  // namespace oravo::vision

#endif
