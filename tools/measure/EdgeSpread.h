#ifndef ORAVO_TOOLS_MEASURE_EDGESPREAD_H
#define ORAVO_TOOLS_MEASURE_EDGESPREAD_H

#include <array>
#include <vector>

#include "tools/measure/EdgeFit.h"

namespace oravo::tools {

/// The edge spread function of a camera by the method of ISO 12233: pixels near a slanted edge, sorted by their distance
/// from it into bins of a quarter of a pixel, show the edge four times as finely as the pixel grid does. No shape of blur
/// is assumed. Distances are in pixels of the frames.
class EdgeSpread {
  public:
    static constexpr int kBinsPerPixel = 4;
    static constexpr int kReach = 8;  ///< pixels on each side of the edge
    static constexpr int kBins = 2 * kReach * kBinsPerPixel;

    /// Adds the pixels of a fit, as shares of the edge's height.
    void add(const EdgeFit& fit);

    /// Where bin i has its middle.
    static double distance(int bin) { return (bin + 0.5) / kBinsPerPixel - kReach; }
    bool isEmpty(int bin) const { return count_[at(bin)] == 0.0; }
    /// Mean share of a bin, from 0 to 1 but for noise and overshoots; between its neighbours' where it is empty.
    double level(int bin) const;
    /// The change of level from a bin to the next, per pixel: the line spread function.
    double slope(int bin) const { return (level(bin + 1) - level(bin)) * kBinsPerPixel; }

    /// The modulation transfer function at a frequency in cycles per pixel, up to 1: the line spread function, under
    /// Hamming's window, transformed, without what bins and differences take away.
    double transfer(double frequency) const;

  private:
    static std::size_t at(int bin) { return static_cast<std::size_t>(bin); }

    std::array<double, kBins> sum_{}, count_{};
};

/// How far the shape of edges is from that of a model: misfits in the same bins, of which noise leaves little.
class ShapeMisfit {
  public:
    void add(const EdgeFit& fit);
    /// Root mean square over the bins near the edge, as a share of its height, without what noise leaves.
    double share() const;

  private:
    std::array<double, EdgeSpread::kBins> sum_{}, noise_{}, count_{};
};

}  // namespace oravo::tools

#endif
