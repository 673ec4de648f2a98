#ifndef ORAVO_VISION_DETAIL_PRECISE_BLURSHAPE_H
#define ORAVO_VISION_DETAIL_PRECISE_BLURSHAPE_H

#include <cmath>

namespace oravo::vision::detail::precise {

/// The camera's blur in pixels of the image: a Gaussian, and a square over which each pixel of a frame averages.
struct BlurShape {
    // Not explicit: most cameras are described by a Gaussian alone.
    BlurShape(double gaussian, double side = 0.0) : sigma(gaussian), box(side) {}

    /// Standard deviation of both together, along each axis.
    double spread() const { return std::sqrt(sigma * sigma + box * box / 12.0); }

    double sigma;  ///< standard deviation of the Gaussian
    double box;    ///< side of the square; 0 for none
};

}  // namespace oravo::vision::detail::precise

#endif
