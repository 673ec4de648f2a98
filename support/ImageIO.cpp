#include "support/ImageIO.h"

namespace oravo::exp {

ImageIO::ImageIO(int /*format*/) {
}

bool ImageIO::isOpen() const {
    return open_;
}

void ImageIO::close() {
    open_ = false;
}

bool ImageIO::operator<<(const cv::Mat&) {
    return open_;
}

}  // namespace oravo::exp
