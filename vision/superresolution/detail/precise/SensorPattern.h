#ifndef ORAVO_VISION_DETAIL_PRECISE_SENSORPATTERN_H
#define ORAVO_VISION_DETAIL_PRECISE_SENSORPATTERN_H

#include <vector>

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// The fixed pattern of a sensor, which stays where it is while the scene moves: what the misfit of all frames has in
/// common at a sensor pixel, as columns, rows and single pixels. Each part is shrunk towards zero as far as noise
/// explains it (the posterior mean of a normal distribution whose variance is what the noise leaves of the observed one),
/// and left out where the pattern cannot be distinguished from noise. What changes slowly over the sensor is left to the
/// scene.
class SensorPattern {
  public:
    SensorPattern(int width, int height, const Threads& threads = Threads())
        : width_(width), height_(height), threads_(threads) {}

    /// Adds what the frames' misfit shows beyond the pattern so far. Takes two frames.
    /// @return whether there is a pattern
    bool update(const std::vector<FrameState>& frames);

    /// Rows x columns of a frame, in the frames' unit; empty while there is none.
    const Buffer<float>& values() const { return values_; }

  private:
    void averageMisfit(const std::vector<FrameState>& frames);
    double noiseVariance(const std::vector<FrameState>& frames) const;
    /// The columns or the rows of the sensor.
    struct Lines {
        bool columns;
        int count, length;

        std::size_t pixel(int line, int at) const {
            const int width = columns ? count : length;
            return static_cast<std::size_t>(columns ? at : line) * static_cast<std::size_t>(width) +
                   static_cast<std::size_t>(columns ? line : at);
        }
    };

    /// The median of each line, and the sum of the variances that noise explains of them.
    std::vector<double> lineLevels(const Lines& lines, double noise, double& explained) const;
    bool addLines(bool columns, double noise);
    bool addPixels(double noise, double frames);

    template <class Body>
    void forEachPixel(const Body& body) const;

    int width_, height_;
    Threads threads_;
    Buffer<float> values_;
    std::vector<float> common_;  ///< mean misfit and pattern so far
    std::vector<float> weight_;
    std::vector<float> pattern_;  ///< being made
};

}  // namespace oravo::vision::detail::precise

#endif
