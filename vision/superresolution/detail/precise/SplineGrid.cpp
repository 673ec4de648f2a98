#include "vision/superresolution/detail/precise/SplineGrid.h"

#include <algorithm>
#include <cmath>

namespace oravo::vision::detail::precise {
namespace {

/// A pixel of a frame on the grid, relative to factor times its own column.
struct Place {
    double x, y;
    int cellX, cellY;  ///< floors
};

class RowPlaces {
  public:
    RowPlaces(const Grid& grid, const Motion& motion, int y)
        : factor_(grid.factor), offset_(0.5 * (grid.factor - 1) + grid.margin) {
        const double centreX = 0.5 * (grid.width - 1);
        const double centreY = 0.5 * (grid.height - 1);
        const double qy = y - centreY;
        startX_ = factor_ * (motion.x(-centreX, qy) + centreX) + offset_;
        startY_ = factor_ * (motion.y(-centreX, qy) + centreY) + offset_;
        slopeX_ = factor_ * motion.axx;
        slopeY_ = factor_ * motion.ayx;
    }

    Place at(int i) const {
        const double x = startX_ + slopeX_ * i;
        const double y = startY_ + slopeY_ * i;
        return {x, y, static_cast<int>(std::floor(x)), static_cast<int>(std::floor(y))};
    }
    double slopeX() const { return slopeX_; }
    double slopeY() const { return slopeY_; }

  private:
    int factor_;
    double offset_;
    double startX_ = 0.0, startY_ = 0.0, slopeX_ = 0.0, slopeY_ = 0.0;
};

}  // namespace

std::vector<SampleRun> sampleRuns(const Grid& grid, const Motion& motion) {
    std::vector<SampleRun> runs;
    const int columns = grid.columns();
    const int rows = grid.rows();
    for (int y = 0; y < grid.height; ++y) {
        const RowPlaces places(grid, motion, y);
        const bool level = places.slopeX() == 0.0 && places.slopeY() == 0.0;
        bool open = false;
        for (int i = 0; i < grid.width; ++i) {
            const Place place = places.at(i);
            const int left = place.cellX - 1;
            const int top = place.cellY - 1;
            const int column = left + grid.factor * i;
            if (column < 0 || column + 3 >= columns || top < 0 || top + 3 >= rows) {
                open = false;
                continue;
            }
            if (open && runs.back().column - grid.factor * runs.back().first == left &&
                runs.back().row == top) {
                ++runs.back().count;
                continue;
            }
            SampleRun run;
            run.y = y;
            run.first = i;
            run.count = 1;
            run.row = top;
            run.column = column;
            run.fractionX = static_cast<float>(place.x - place.cellX);
            run.fractionY = static_cast<float>(place.y - place.cellY);
            run.slopeX = static_cast<float>(places.slopeX());
            run.slopeY = static_cast<float>(places.slopeY());
            open = true;
            if (level) {
                // All pixels from here on have the same fractions, as far as the grid reaches.
                run.count = std::min(grid.width - i, (columns - 4 - column) / grid.factor + 1);
                i += run.count - 1;
            }
            runs.push_back(run);
        }
    }
    return runs;
}

}  // namespace oravo::vision::detail::precise
