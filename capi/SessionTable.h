#ifndef ORAVO_CAPI_SESSIONTABLE_H
#define ORAVO_CAPI_SESSIONTABLE_H

#include <deque>
#include <memory>
#include <opencv2/core.hpp>

#include "support/ImageIO.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/detail/memory/Buffer.h"

namespace oravo::capi {

using Pipeline = vision::SrFloat<vision::SrFloatRegistration2>;

/// One session; free while it has no pipeline.
struct Session {
    int width = 0;
    int height = 0;
    vision::detail::Buffer<float> pixels;  ///< of output
    cv::Mat_<float> output;  ///< the enlarged image, 2 height x 2 width; zeros until the first reconstruction
    std::unique_ptr<Pipeline> pipeline;
    exp::ImageIO log{2};
    int imageCount = 0;

    bool free() const { return pipeline == nullptr; }
};

/// The sessions of the process. A handle is an index; the table never shrinks, and free records are reused.
class SessionTable {
  public:
    /// The handle of the lowest free record, which is appended when there is none.
    int findFree();

    /// The session with this handle, or null when it is free.
    Session* find(int handle);

    Session& operator[](int handle) { return sessions_[static_cast<std::size_t>(handle)]; }

  private:
    std::deque<Session> sessions_;
};

}  // namespace oravo::capi

#endif
