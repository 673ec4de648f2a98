#ifndef ORAVO_VISION_SRFLOATNEON_H
#define ORAVO_VISION_SRFLOATNEON_H

#include <opencv2/core.hpp>
#include <vector>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"

namespace oravo::vision {

namespace detail {
struct RunAccess;
}

class SrFloatNeonRegistration;

/// The pipeline of SrFloat on vector operations (support/neon.h), for hosts that want the vector path; it is
/// instantiated for SrFloatNeonRegistration and works on every machine.
///
/// Frames, window, enlarged image, parameters, statuses and copies are SrFloat's. What differs:
///   - masks are floats, 0 or 1
///   - frames are taken as they are: nothing is repaired on intake, nothing refilled in the enlarged image,
///     so that status codes and NaN flow into registration and reconstruction. One pixel that is infinite, or as
///     large as 1e30, spoils the intensity range of the registration's 8-bit images permanently: every later
///     run of the object returns -998, and only a new object helps
///   - a run prints nothing
///   - the cap of the coverage that counts in the resolution gain is settled by the first run of this class
template <class Registration>
class ORAVO_EXPORT SrFloatNeon {
  public:
    /// @param inputWidth,inputHeight  columns and rows of a frame
    /// @param windowSize  frames kept, at least 1
    /// @param srFactor    enlargement, at least 1; built for 2. Others compute, but rows are sampled at a step of 2
    ///                    whatever the factor, and columns at a step of trunc(srFactor), so that the image is
    ///                    stretched or sheared
    /// Throws the C string "Invalid reference index specified." for a windowSize below 1, and
    /// oravo::Exception for an invalid size or factor.
    SrFloatNeon(int inputWidth, int inputHeight, int windowSize, float srFactor);

    /// Takes in the newest frame, evicting the oldest when the window is full: copies it and prepares it for
    /// registration.
    /// @return 0
    int addFrame(const float* image);
    /// @param image  inputHeight x inputWidth; may be a region of a larger matrix, which is copied first
    /// Throws oravo::Exception, and takes in nothing, when it has another size, as an empty matrix has.
    int addFrame(const cv::Mat_<float>& image);

    /// Registers the window and reconstructs the enlarged image. May be repeated.
    /// @param out  receives the enlarged image; left alone when the registration fails (-998)
    /// @return the gain or status of SrFloat::computeSR, the cap of the gain being this class's own
    /// Throws oravo::Exception when no frame was added, or a frame moved by half the frame height or more.
    /// Between clearFrames and the window's next fill, frames are registered by what was prepared before, and
    /// results mean nothing.
    float computeSR(float* out);
    /// @param out  (re)created as outputHeight x outputWidth; where it has that size it may be a region of a larger
    ///             matrix
    float computeSR(cv::Mat_<float>& out);

    /// Empties the window. Buffers, shifts, masks and prepared frames keep their contents, so the window has
    /// to be filled again before the next run.
    void clearFrames();

    int getInputSize() const;   ///< pixels of an input frame
    int getOutputSize() const;  ///< pixels of the enlarged image
    int getWindowSize() const;  ///< frames kept

    // Parameters: meaning, first values, rejections and their texts are those of SrFloat.

    void setReferenceIndex(int index);               ///< counted back from the newest frame
    int getReferenceIndex() const;                   ///< counted back from the newest frame
    void setMaxCGIters(int iterations);              ///< the most steps of a run
    int getMaxCGIters() const;                       ///< the most steps of a run
    void setPsfSigma(float sigma);                   ///< in pixels of the enlarged image
    float getPsfSigma() const;                       ///< in pixels of the enlarged image
    void setRegError(float error);                   ///< the largest at which a pixel is used
    float getRegError() const;                       ///< the largest at which a pixel is used
    void setRelativeResidue(float residue);          ///< at which the solver stops
    float getRelativeResidue() const;                ///< at which the solver stops
    void setWeightTV(float weight);                  ///< of the data against total variation
    float getWeightTV() const;                       ///< of the data against total variation
    void setMinStructureThreshold(float threshold);  ///< the least range of a structured frame
    float getMinStructureThreshold() const;          ///< the least range of a structured frame

    /// The whole shift of each frame in the last run, in input pixels, window order: frame(p + d) =
    /// reference(p).
    void getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const;

    /// Copies the beginning of the masks of the last run into new matrices, one of inputHeight x inputWidth per
    /// slot: as many bytes as a mask has pixels, which is its first quarter. The rest is 0.
    void getMasks(std::vector<cv::Mat_<float>>& masks) const;

  protected:
    /// Copies the latest reconstruction, getOutputSize() values.
    void saveFrame(float* out) const;

  private:
    struct ORAVO_HIDDEN State;
    friend struct detail::RunAccess;

    int loadFrame(const float* image);

    detail::Body<State> state_;
};

extern template class SrFloatNeon<SrFloatNeonRegistration>;

}  // namespace oravo::vision

#endif
