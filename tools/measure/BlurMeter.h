#ifndef ORAVO_TOOLS_MEASURE_BLURMETER_H
#define ORAVO_TOOLS_MEASURE_BLURMETER_H

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/measure/EdgeFit.h"
#include "tools/measure/EdgeSpread.h"

namespace oravo::tools {

/// A model of the camera's blur and how well it explains the edges. Lengths are in pixels of the frames.
struct BlurModel {
    double pixel =
        0.0;  ///< side of the square that a pixel averages over; 0: the Gaussian stands for it, too
    double optics = 0.0;  ///< standard deviation of the Gaussian
    double error = 0.0;   ///< standard error of it
    double misfit =
        0.0;  ///< of the edge's shape: root mean square, as a share of the edge's height, noise deducted

    /// Standard deviation of all blur, and its standard error.
    double spread() const;
    double spreadError() const { return error * optics / spread(); }
};

/// An edge of one frame that was measured.
struct MeasuredEdge {
    cv::Rect region;
    bool alongRows = false;
    double degrees = 0.0;  ///< against the rows or columns, whichever is nearer
    double low = 0.0, high = 0.0;
    double noise = 0.0;    ///< standard deviation of the frame's noise there
    double sagitta = 0.0;  ///< by which the edge is curved, in pixels
};

struct BlurMeasurement {
    BlurModel gaussian, box;
    bool boxFitsBetter = false;  ///< beyond what noise can bring about
    EdgeSpread spread;           ///< of all frames
    MeasuredEdge edge;           ///< of the first frame that has one
    int frames = 0;              ///< that were given
    int used = 0;                ///< that show an edge
    const BlurModel& best() const { return boxFitsBetter ? box : gaussian; }
};

/// Measures a camera's blur from slanted edges, frame by frame; memory does not grow with their number.
///
/// Each frame's edge is fitted on its own. The estimate is their mean, weighted by their errors. Its error takes the
/// misfits of one sensor pixel in all frames together, so that a fixed pattern does not pass for noise that more frames average
/// out, and is not below what the frames' own results scatter by.
class BlurMeter {
  public:
    /// @param region  where to look for the edge; none: everywhere, for the sharpest straight edge
    explicit BlurMeter(std::optional<cv::Rect> region);

    /// @param frame  of one size; NaN where there is no value
    /// @return why the frame was of no use; empty where it was
    std::string add(const cv::Mat_<float>& frame);

    /// Of the frames so far, at least one of which was of use.
    BlurMeasurement result() const;

  private:
    /// What the fits of one model add up to.
    struct Sums {
        void add(const EdgeFit& fit, cv::Size size);
        /// @param frames  how many the sums are over
        BlurModel model(double pixel, int frames) const;

        double weight = 0.0, optics = 0.0, squares = 0.0;
        ShapeMisfit shape;
        cv::Mat_<double> deviation;  ///< of the weighted sum of results, by the misfits of each sensor pixel
    };
    struct Measured;

    Measured measure(const cv::Mat_<float>& frame, cv::Rect region) const;
    Measured sharpest(const cv::Mat_<float>& frame) const;

    std::optional<cv::Rect> region_, last_;
    Sums gaussian_, box_;
    double evidence_ =
        0.0;  ///< log likelihood ratio of the model with a box, as if all misfits were independent
    double alone_ = 0.0;  ///< sum of weights of the frames, as if they were
    BlurMeasurement measured_;
};

/// Why a fit says nothing about the camera's blur; empty where it does.
std::string whyUseless(const EdgeRegion& region, const EdgeFit& fit);

/// Regions of a frame that seem to hold one straight slanted edge, the most promising ones first.
std::vector<cv::Rect> edgeCandidates(const cv::Mat_<float>& frame);

}  // namespace oravo::tools

#endif
