#ifndef ORAVO_TOOLS_MEASURE_EDGEFIT_H
#define ORAVO_TOOLS_MEASURE_EDGEFIT_H

#include <opencv2/core.hpp>
#include <vector>

#include "tools/measure/EdgeProfile.h"

namespace oravo::tools {

/// A pixel of a region, from whose centre x and y count, in pixels. Where the edge runs more along the rows than along the
/// columns, x and y are exchanged, so that every edge runs along y.
struct EdgeSample {
    double x, y, value;
    std::size_t place;  ///< of the pixel in its frame, row by row
};

/// An edge as a curve x = c0 + c1 t + c2 t^2 with t = y / reach, with a level on each side that may change in proportion to
/// the distance from the edge and along it, as surfaces do that are not evenly warm.
struct EdgeLine {
    double c0 = 0.0, c1 = 0.0,
           c2 = 0.0;     ///< in pixels; c2 is how far the middle lies beside the chord of the ends
    double reach = 1.0;  ///< largest |y|, in pixels
    /// On the side of lower x: level at the edge, its change by `unit` pixels across, by `reach` pixels along; then the same on
    /// the side of higher x.
    cv::Matx<double, 6, 1> levels;
    double unit = 1.0;  ///< see levels

    double angle() const;  ///< against the y axis, in radians
    /// Of a point, across the edge, in pixels; positive on the side of higher x.
    double distance(double x, double y) const;
    /// What a side's surface would show at a point; side 0 is that of lower x.
    double level(int side, double distance, double y) const;
    double height() const { return levels(3) - levels(0); }
};

/// What a region shows of its strongest edge, before any fit.
struct EdgeRegion {
    std::vector<EdgeSample> samples;  ///< those with a value
    EdgeLine start;                   ///< by gradients
    bool alongRows = false;           ///< the edge runs more along the rows; x and y are exchanged
};

/// The region of a frame, which has at least 5 x 5 pixels and lies within it. The frame's values spread by about 1.
EdgeRegion edgeRegion(const cv::Mat_<float>& frame, cv::Rect region);

/// The least squares fit of an edge seen through optics and pixel. Pixels far off the fit, as defective ones are, are left
/// out.
struct EdgeFit {
    bool converged = false;
    EdgeLine line;
    double optics = 0.0;            ///< standard deviation of the Gaussian, in pixels of the frames
    double pixel = 0.0;             ///< side of the square, as given
    double error = 0.0;             ///< standard error of `optics`, from the misfits
    double noise = 0.0;             ///< root mean square misfit
    std::vector<EdgeSample> used;   ///< those that take part: within zone() pixels of the edge
    std::vector<double> misfit;     ///< of each of them
    std::vector<double> influence;  ///< of each on `optics`: its change when the value changes by 1

    EdgeProfile profile() const { return {optics, pixel, line.angle()}; }
    /// How far from the edge pixels take part: the blur of its foot and some of the level beside it.
    double zone() const;
};

/// @param pixel  side of the square, 0 for a Gaussian alone
EdgeFit fitEdge(const EdgeRegion& region, double pixel);
/// To the same pixels as another fit, with another side of the square, so that the two can be compared.
EdgeFit refitEdge(const EdgeFit& fit, double pixel);

}  // namespace oravo::tools

#endif
