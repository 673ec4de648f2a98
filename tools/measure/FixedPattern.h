#ifndef ORAVO_TOOLS_MEASURE_FIXEDPATTERN_H
#define ORAVO_TOOLS_MEASURE_FIXEDPATTERN_H

#include <opencv2/core.hpp>
#include <optional>
#include <vector>

namespace oravo::tools {

/// A pattern that stays with the sensor while the scene moves over it: what an image of the scene leaves unexplained of the
/// frames then agrees between frames at the same place of the sensor, and not at the same place of the scene. (Edges that the
/// image does not explain agree at the same place of the scene, noise nowhere.)
///
/// Columns and rows are judged by the means of the remainders along them, pixels by the remainders themselves, each without
/// their mean over some neighbours and without outliers; only pairs of frames count that lie half a pixel apart or more.
struct FixedPattern {
    enum class Kind { columns, rows, pixels };
    Kind kind = Kind::columns;
    double deviation = 0.0;  ///< of its values, at least: the image takes up to four fifths of it for scene
    double share = 0.0;      ///< the same as a share of the frames' contrast

    /// The first of columns, rows and pixels that there is; nothing where none is, or where the frames do not move.
    /// @param frames    that the image was made of
    /// @param shifts    theirs: frame(p + d) = reference(p)
    /// @param image     of twice their size
    /// @param psfSigma  blur in pixels of the image
    static std::optional<FixedPattern> in(const std::vector<cv::Mat_<float>>& frames,
                                          const std::vector<cv::Point2f>& shifts,
                                          const cv::Mat_<float>& image, float psfSigma);
};

}  // namespace oravo::tools

#endif
