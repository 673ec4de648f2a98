#ifndef ORAVO_VISION_DETAIL_PRECISE_SPLINEGRID_H
#define ORAVO_VISION_DETAIL_PRECISE_SPLINEGRID_H

#include <cstddef>
#include <cstring>
#include <vector>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/precise/Motion.h"
#include "vision/superresolution/detail/precise/PreciseKernels.h"

namespace oravo::vision::detail::precise {

/// The image's grid: `factor` times as fine as that of frames of width x height pixels, continued by `margin` pixels
/// on each side. Pixel (column, row) of the grid lies at (column - margin, row - margin) of the image, pixel i of the
/// reference frame at factor i + (factor - 1) / 2 of it.
struct Grid {
    int width = 0, height = 0;  ///< of a frame
    int factor = 2;
    int margin = 0;

    int columns() const { return factor * width + 2 * margin; }
    int rows() const { return factor * height + 2 * margin; }
    /// Where row y of a frame begins in a dense image.
    std::ptrdiff_t rowStart(int y) const { return static_cast<std::ptrdiff_t>(y) * width; }
};

/// An image as coefficients of cubic B-splines, the columns of each row sorted by their remainder modulo the factor,
/// so that what consecutive pixels of a frame read lies side by side. Copies share memory.
class SplineImage {
  public:
    SplineImage() = default;
    explicit SplineImage(const Grid& grid) : SplineImage(grid, grid.rows(), -1) {}
    /// One that keeps `kept` rows, a power of two: rows that lie so far apart share memory.
    SplineImage(const Grid& grid, int kept) : SplineImage(grid, kept, kept - 1) {}

    /// Element i is column factor * i + phase.
    float* row(int row, int phase) const {
        return data_.data() + (static_cast<std::ptrdiff_t>(row & mask_) * factor_ + phase) * pitch_;
    }
    void clearRow(int row) const {
        std::memset(this->row(row, 0), 0, static_cast<std::size_t>(pitch_ * factor_) * sizeof(float));
    }
    SplineView view() const { return {data_.data(), pitch_, factor_, mask_}; }

  private:
    SplineImage(const Grid& grid, int rows, int mask)
        : factor_(grid.factor),
          mask_(mask),
          pitch_((grid.columns() / grid.factor + 16) / 16 * 16),
          data_(static_cast<std::size_t>(pitch_) * static_cast<std::size_t>(grid.factor) *
                    static_cast<std::size_t>(rows) +
                kSlack) {}

    static constexpr std::size_t kSlack = 32;  ///< values beyond the end that whole vectors may touch

    int factor_ = 1;
    int mask_ = -1;
    std::ptrdiff_t pitch_ = 0;
    Buffer<float> data_;
};

/// Where the pixels of a frame lie on the grid; those whose coefficients are not all there are in no run. Rows in order.
/// @param rowStep  only rows 0, rowStep, 2 rowStep and so on
std::vector<SampleRun> sampleRuns(const Grid& grid, const Motion& motion, int rowStep = 1);

}  // namespace oravo::vision::detail::precise

#endif
