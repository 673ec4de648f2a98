#ifndef ORAVO_GSTREAMER_FRAMEFILTER_H
#define ORAVO_GSTREAMER_FRAMEFILTER_H

#include <cstddef>
#include <functional>
#include <opencv2/core.hpp>
#include <string>

#include "tools/enhance/LiveEnhancer.h"
#include "tools/values/Decode.h"

namespace oravo::gstreamer {

/// What the element is set to: the program's options of the same names, with their defaults.
struct FilterOptions {
    tools::PipelineKind kind = tools::PipelineParameters().kind;
    bool rawCounts = false;
    bool guarded = tools::EnhanceParameters().guarded;
    int threads = tools::PipelineParameters().threads;
    tools::Decode decode;
};

/// Rows of 16-bit counts, the low byte first, in foreign memory.
struct CountRows {
    char* bytes;
    std::ptrdiff_t pitch;  ///< bytes from one row to the next
};

/// Frames of 16-bit counts into images of twice their width and height, one for one: `enhance --every` of a stream,
/// without its pipes.
class FrameFilter {
  public:
    /// Throws UserError for a size or options that no image can be made with.
    /// @param warn  gets what is found wrong with frames
    FrameFilter(cv::Size frameSize, const FilterOptions& options,
                std::function<void(const std::string&)> warn);

    /// Throws UserError where the first frame holds no plausible value.
    void enlarge(const CountRows& frame, const CountRows& image);

  private:
    tools::ValueFrame valuesOf(const CountRows& frame);

    cv::Size size_;
    tools::Decode decode_;
    std::function<void(const std::string&)> warn_;
    tools::Findings findings_;
    tools::EnhanceParameters parameters_;
    tools::OutOfRange outside_;
    tools::LiveEnhancer enhancer_;
    std::size_t count_ = 0;  // of frames
};

}  // namespace oravo::gstreamer

#endif
