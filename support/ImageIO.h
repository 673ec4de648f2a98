#ifndef ORAVO_SUPPORT_IMAGEIO_H
#define ORAVO_SUPPORT_IMAGEIO_H

#include <opencv2/core.hpp>

#include "support/Export.h"

namespace oravo::exp {

/// The image log that a session offers its input frames to.
///
/// A log is constructed closed, and this version of the library has no operation that opens one: it declines
/// every image. Sessions ask isOpen() first, so that logging costs nothing.
class ORAVO_EXPORT ImageIO {
  public:
    /// @param format  chooses among log back ends; without meaning while there is none.
    explicit ImageIO(int format);

    bool isOpen() const;  ///< never, in this version
    void close();         ///< closes the log; a closed one stays closed

    /// Writes one image; true when it was written. A closed log writes nothing and returns false.
    bool operator<<(const cv::Mat& image);

  private:
    bool open_ = false;
};

}  // namespace oravo::exp

#endif
