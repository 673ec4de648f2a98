#ifndef ORAVO_TOOLS_OUTPUT_RAWSINK_H
#define ORAVO_TOOLS_OUTPUT_RAWSINK_H

#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "tools/formats/PixelFormat.h"

namespace oravo::tools {

/// Raw images on standard output, each there in full as soon as it is written. While an object lives, a reader that has
/// gone raises no signal.
class RawSink {
  public:
    /// Throws UserError where standard output is a terminal.
    explicit RawSink(const PixelFormat& format);
    ~RawSink();
    RawSink(const RawSink&) = delete;
    RawSink& operator=(const RawSink&) = delete;

    /// Writes an image, see pack(). A signal that ends the process waits for the last of its bytes, a second one does not.
    /// False where nobody reads any more. Throws UserError where it cannot be written.
    bool write(const cv::Mat_<double>& numbers);

    /// How many numbers of the latest image lie outside the range of the format, which holds the nearest ones instead.
    std::size_t clipped() const { return clipped_; }

  private:
    PixelFormat format_;
    std::vector<char> bytes_;  // of one image
    std::size_t clipped_ = 0;  // of the latest image
    void (*before_)(int);      // what a reader that has gone did
};

}  // namespace oravo::tools

#endif
