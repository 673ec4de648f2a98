#ifndef ORAVO_VISION_REFERENCE_SUPERRESOLUTION_H
#define ORAVO_VISION_REFERENCE_SUPERRESOLUTION_H

#include <opencv2/core.hpp>
#include <vector>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"
#include "vision/superresolution/reference/Point.h"

namespace oravo::vision {

namespace detail {
struct RunAccess;
}

/// The reference pipeline: super-resolution of raw signed 16-bit sensor frames, or of float frames, of one
/// camera. A sliding window of equally sized frames is registered by phase correlation against its newest
/// frame and turned into one image enlarged by the factor F. Non-uniformity corrected (NUC) sensor counts can
/// be turned into radiometric values on the way, by a two-point calibration of every pixel.
///
/// T below is short or float. The two differ in more than the element type:
///
///                  | short                                  | float
///   addFrame       | takes the counts as they are           | repairs bad pixels
///   computeSR      | leaves the image as reconstructed      | refills what was bad on intake
///   out            | truncated toward zero, lowest 16 bits  | as computed
///
/// A window should be filled with frames of one T. computeSR<float> needs float frames, since it refills by
/// the defects noted on their intake.
///
/// Frames are dense, row-major, H rows of W columns; W is even. The enlarged image has trunc(H F) rows of
/// trunc(W F) columns. Setters reject bad values by throwing a C string (const char*) and then change
/// nothing; a NaN is not rejected. Images are allocated at construction. An object is used by one thread at a
/// time. There is no copy construction. After an assignment both objects work on the same engines (parameters
/// included) and images, so that only one of them may go on working.
class ORAVO_EXPORT SuperResolution {
  public:
    /// @param W,H  size of a frame; W even and at least 2, H at least 1
    /// @param N    frames kept, at least 1
    /// @param F    enlargement, at least 1; built for 2. Other integers give true images as well; with a fraction
    ///             columns are sampled at a step of trunc(F) and rows drift sideways, so that the image is
    ///             sheared
    /// Throws the C string "Invalid reference index specified." for an N below 1, and oravo::Exception for an
    /// invalid size or factor.
    SuperResolution(int W, int H, int N, float F);
    SuperResolution(const SuperResolution&) = delete;
    SuperResolution& operator=(const SuperResolution&) = default;  ///< shares engines and images, see above
    ~SuperResolution() = default;

    /// Takes in the newest frame, evicting the oldest when the window is full.
    /// @return 0, or -2 when a bad pixel of a float frame needed a fallback value (the frame is kept all the
    ///         same)
    /// Throws oravo::Exception when more than 10 pixels of a float frame could not be repaired; and "FFT
    /// resulted in infinite values. No processing possible" when the frame's spectrum reaches plus infinity,
    /// a last guard, since plausible values do not get there. The frame then holds its place in the window.
    template <class T>
    int addFrame(const T* frame);

    /// Registers the window, reconstructs the enlarged image, and prints a report of six lines to standard
    /// output, unless the environment held ORAVO_REPORT=off at construction. May be repeated.
    /// @param out  receives the enlarged image. For T = short each value is truncated toward zero to a 32-bit
    ///             integer, of which the lowest 16 bits are stored; a value that no such integer holds, NaN
    ///             among them, is stored as 0.
    /// @return an estimate of the enlargement achieved, 1 + the mean over all pixels of (c - 1) / 4, where c
    ///         counts the frames that are usable there, up to a cap; or -6 when a frame moved by more than a
    ///         tenth of the frame height in x or y; or else -3 when at least half of a frame's pixels are
    ///         unusable. The image is delivered with -6 and -3 as well.
    ///         The cap is trunc(F^2 + 1), 5 for F = 2, of the first pipeline to run with this T in the process,
    ///         and then that of all.
    /// Throws oravo::Exception when no frame was added, or a frame moved by half the frame height or more;
    /// for T = float also when the window does not hold float frames only.
    template <class T>
    float computeSR(T* out);

    /// Whether maximum less minimum of a frame is at least 2. A test for callers; no operation of the class
    /// makes it.
    template <class T>
    bool checkImageStructureQuality(const cv::Mat_<T>& frame);

    /// Calibrates every pixel on two frames of counts with known radiometric values: radiometric = gain nuc +
    /// offset through both points. Where the two counts are equal there is no line, and a gain or offset
    /// outside (-1000, 1000) is not plausible: either is replaced by the mean of those of its left, right,
    /// upper and lower neighbours that lie inside, in scan order, replaced ones included. Without any such
    /// neighbour it becomes NaN, and stays so. Throws oravo::Exception, naming the sizes, when the four images
    /// are not of one size.
    void setNucToRad(const cv::Mat_<short>& nuc1, const cv::Mat_<float>& rad1, const cv::Mat_<short>& nuc2,
                     const cv::Mat_<float>& rad2);

    /// Converts a frame of counts to radiometric values, adds it as a float frame and runs computeSR<float>.
    /// A negative result of the intake is not passed on.
    /// @param nuc  H x W counts
    /// @param out  receives the enlarged image, trunc(H F) x trunc(W F)
    /// Throws oravo::Exception "NucToRad() not initialized" without a calibration for this frame size, and
    /// whatever addFrame and computeSR throw.
    float processFrame2(const short* nuc, float* out);

    /// Widens the plausible range of float frames to come to signed 16-bit counts, or sets it back.
    void setDataIsNUC(bool isNUC);

    /// Empties the window. Buffers, shifts, masks and the history of defects keep their contents, so the
    /// window has to be filled again before the next run.
    void clearFrames();

    /// Copies the masks of the last run into N new matrices of H x W: 1 where the moved frame agrees with the
    /// reference, else 0.
    void getMasks(std::vector<cv::Mat_<unsigned char>>& masks) const;

    /// The whole shift of each frame in the last run, in input pixels, window order: frame(p + d) =
    /// reference(p).
    void getCompleteShifts(std::vector<PointF>& shifts) const;

    /// A copy of the quality map, 3 x 3; empty unless a derived class has computed it.
    void getQuality(cv::Mat_<float>& quality) const;

    /// The most conjugate-gradient steps of a run; 8 at first.
    /// Rejected below 1: "Invalid maximum number of iterations specified."
    void setMaxCGIters(int iterations);
    int getMaxCGIters() const;  ///< the most steps of a run

    /// Standard deviation of the sensor's point-spread function in pixels of the enlarged image; 0.683 at
    /// first. Rejected when not positive: "Invalid standard deviation of the sensor psf specified."
    void setPsfSigma(float sigma);
    float getPsfSigma() const;  ///< in pixels of the enlarged image

    /// Largest registration error at which a pixel is used; 0.0001 at first.
    /// Rejected outside (0, 1]: "Invalid maximum registration error specified."
    void setRegError(float error);
    float getRegError() const;  ///< the largest at which a pixel is used

    /// Relative residue at which the solver stops; 0.007 at first.
    /// Rejected below 1e-6: "Invalid total-variation term weight specified." (the text of the next setter)
    void setRelativeResidue(float residue);
    float getRelativeResidue() const;  ///< at which the solver stops

    /// Weight of the data against total variation; 400 at first.
    /// Rejected below 1: "Invalid total-variation term weight specified."
    void setWeightTV(float weight);
    float getWeightTV() const;  ///< of the data against total variation

  protected:
    /// Copies the latest enlarged image, converted as by computeSR.
    template <class T>
    void saveFrame(T* out) const;

    /// Computes the quality map of the last run: how the frames' sub-pixel positions cover the 2 x 2 phases
    /// of the enlarged grid. Every frame lays down a weight of 1 over the count of frames, divided bilinearly
    /// among the four entries around row 2 y + 1, column 2 x + 1 for its remaining shift (x, y) in
    /// [-0.5, 0.5); what other shifts would lay beyond the map is left out.
    void computeQuality_();

    /// Replaces the latest enlarged image by the plain mean of the moved frames of the last run, which the
    /// solver has left normalised by the reference (standard deviations from its mean). Each low-resolution
    /// pixel covers 2 x 2 enlarged ones whatever the factor; beyond the last row or column, that one is
    /// repeated.
    void simpleCombine();

    /// Fills the radiometric frame: nuc gain + offset.
    /// Throws oravo::Exception "NucToRad() not initialized" when the calibration is not of the size of nuc.
    void NucToRad(const cv::Mat_<short>& nuc);

  private:
    struct ORAVO_HIDDEN State;
    friend struct detail::RunAccess;

    template <class T>
    int loadFrame(const T* frame);

    detail::Body<State> state_;
};

}  // namespace oravo::vision

#endif
