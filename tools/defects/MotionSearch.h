#ifndef ORAVO_TOOLS_DEFECTS_MOTIONSEARCH_H
#define ORAVO_TOOLS_DEFECTS_MOTIONSEARCH_H

#include <cstddef>
#include <functional>
#include <opencv2/core.hpp>
#include <vector>

namespace oravo::tools {

/// Frames of one size by their number; NaN where a pixel has no value.
struct FrameSequence {
    std::size_t count = 0;
    std::function<cv::Mat_<float>(std::size_t)> read;
};

/// What a recording shows of the sensor while the scene moves over it.
struct MotionFindings {
    int windows = 0;                ///< groups of frames that were looked at
    int moving = 0;                 ///< in which the scene moved
    double movement = 0.0;          ///< of the scene in these, in pixels: the median standard deviation
    std::vector<std::size_t> seen;  ///< numbers of the frames of these, ascending
    std::vector<cv::Point> pixels;  ///< that did not follow it, row by row
};

/// Movement, in pixels, beyond which more movement shows nothing further.
constexpr double kAmpleMovement = 0.5;

/// The fewest frames that a search takes, and the smallest side of theirs.
constexpr std::size_t kFewestForMotion = 4;
constexpr int kSmallestForMotion = 8;

/// Looks for pixels whose values do not follow the scene: bad ones stay where they are while it moves, whatever their
/// values; what is hot in the scene moves with it. Groups of frames from all over the recording are each explained by one
/// image (vision::SrPrecise), which finds such pixels by what it cannot explain; those found again and again are bad. Frames
/// of a group lie so far apart in time that the scene moves between them. Holds a dozen frames at a time.
MotionFindings findByMotion(const FrameSequence& frames);

}  // namespace oravo::tools

#endif
