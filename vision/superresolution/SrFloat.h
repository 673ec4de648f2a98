#ifndef ORAVO_VISION_SRFLOAT_H
#define ORAVO_VISION_SRFLOAT_H

#include <opencv2/core.hpp>
#include <vector>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"

namespace oravo::vision {

namespace detail {
struct RunAccess;
}

class SrFloatRegistration1;
class SrFloatRegistration2;

/// The super-resolution pipeline on float frames: a sliding window of equally sized frames, repaired and
/// prepared as they arrive, which a run turns into one image enlarged by the super-resolution factor.
///
/// Registration is the strategy that aligns the frames; SrFloat is instantiated for SrFloatRegistration2
/// (tracked corners) and SrFloatRegistration1 (phase correlation; even widths only).
///
/// Frames are dense, row-major, 32-bit float, inputHeight rows of inputWidth columns, temperatures or
/// radiances in the host's unit; pixels may carry status codes (SuperResolutionBadPixelHandling.h). The
/// enlarged image has trunc(inputHeight srFactor) rows and trunc(inputWidth srFactor) columns.
///
/// A run prints a report of six lines to standard output unless the environment holds ORAVO_REPORT=off when the
/// object is constructed.
///
/// Setters reject bad values by throwing a C string (const char*) and then change nothing; a NaN is not
/// rejected. Everything is allocated at construction. An object is used by one thread at a time. Copies take
/// over parameters and the order of the window and share every image, so that only one of them may go on
/// working.
template <class Registration>
class ORAVO_EXPORT SrFloat {
  public:
    /// @param inputWidth,inputHeight  columns and rows of a frame
    /// @param windowSize  frames kept, at least 1
    /// @param srFactor    enlargement, at least 1; built for 2. Others compute, but rows are sampled at a step of 2
    ///                    whatever the factor, and columns at a step of trunc(srFactor), so that the image is
    ///                    stretched or sheared
    /// Throws the C string "Invalid reference index specified." for a windowSize below 1, and
    /// oravo::Exception for an invalid size or factor.
    SrFloat(int inputWidth, int inputHeight, int windowSize, float srFactor);

    /// Takes in the newest frame, evicting the oldest when the window is full: copies it, repairs its bad
    /// pixels and prepares it for registration.
    /// @return 0, or -2 when a bad pixel needed a fallback value (the frame is kept all the same)
    /// Throws oravo::Exception when more than 10 pixels could not be repaired (the frame is kept even then),
    /// and cv::Exception when frames have no pixels.
    int addFrame(const float* image);
    /// @param image  inputHeight x inputWidth; may be a region of a larger matrix, which is copied first
    /// Throws oravo::Exception, and takes in nothing, when it has another size, as an empty matrix has.
    int addFrame(const cv::Mat_<float>& image);

    /// Registers the window, reconstructs the enlarged image and repairs it, and reports the times of its stages
    /// (above). May be repeated.
    /// @param out  receives the enlarged image; left alone when the registration fails
    /// @return on success an estimate of the resolution gain, 1 + the mean over all pixels of (c - 1) / 4, where
    ///         c counts the frames that are usable there, up to a cap: at most 2 for five frames. -998 when the
    ///         registration failed; -6 when a frame moved by more than a tenth of the frame height in x or y;
    ///         else -3 when at least half of a frame's pixels are unusable. The image is delivered with -6 and
    ///         -3 as well.
    ///         The cap is trunc(srFactor^2 + 1), 5 for factor 2, of the first pipeline with this Registration to
    ///         run in the process, then that of all, so that their gains are on one scale.
    /// Throws oravo::Exception when no frame was added, or a frame moved by half the frame height or more; and
    /// between clearFrames and the window's next fill.
    float computeSR(float* out);
    /// @param out  (re)created as outputHeight x outputWidth; where it has that size it may be a region of a larger
    ///             matrix
    float computeSR(cv::Mat_<float>& out);

    /// Empties the window. Buffers, shifts, masks, prepared frames and the history of defects keep their
    /// contents, so the window has to be filled again before the next run. Until then computeSR throws an
    /// oravo::Exception about a number that does not match: "Registration of 0 frames against frame 0
    /// requested, but ..." at first; then "maskBadPixel(): number of shifts ist not equal to number of
    /// defectMaps", or, when a full window was run before, "replaceMaskedPixel(): number of shifts or frames is
    /// smaller than number of defectMaps".
    void clearFrames();

    int getInputSize() const;   ///< pixels of an input frame
    int getOutputSize() const;  ///< pixels of the enlarged image
    int getWindowSize() const;  ///< frames kept

    /// Which frame of the window is the reference, counted back from the newest; 0 at first.
    /// Rejected outside [0, windowSize): "Invalid reference index specified."
    void setReferenceIndex(int index);
    int getReferenceIndex() const;  ///< counted back from the newest frame

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

    /// The range (maximum less minimum) that a frame must show to count as structured; 2 at first. The
    /// pipeline only keeps it for its host.
    void setMinStructureThreshold(float threshold);
    float getMinStructureThreshold() const;  ///< the least range of a structured frame

    /// Threads that share the work on one image, 1 to 64; 0 stands for one on each processor that the process may use; 1 at
    /// first, which starts none. Results have the same bits for every number. With SrFloatRegistration1 and at factors
    /// other than 2 much of the work remains the calling thread's. (OpenCV's own threads are set by cv::setNumThreads().)
    /// Rejected outside [0, 64]: "Invalid number of threads specified."
    void setThreads(int threads);
    int getThreads() const;  ///< as set

    /// Widens the plausible range of frames to come to signed 16-bit counts, or sets it back.
    void setDataIsNUC(bool isNUC);

    /// The whole shift of each frame in the last run, in input pixels, window order: frame(p + d) =
    /// reference(p).
    void getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const;

    /// Copies the masks of the last run into new matrices, one of inputHeight x inputWidth per slot: 1 where the
    /// moved frame agrees with the reference, else 0.
    void getMasks(std::vector<cv::Mat_<unsigned char>>& masks) const;

  protected:
    /// Copies the latest reconstruction, getOutputSize() values.
    void saveFrame(float* out) const;

  private:
    struct ORAVO_HIDDEN State;
    friend struct detail::RunAccess;

    int loadFrame(const float* image);

    detail::Body<State> state_;
};

extern template class SrFloat<SrFloatRegistration1>;
extern template class SrFloat<SrFloatRegistration2>;

}  // namespace oravo::vision

#endif
