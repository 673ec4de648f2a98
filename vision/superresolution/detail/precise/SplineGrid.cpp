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
    /// One beyond the last pixel that lies in the same cell as pixel i and all between them.
    int endOfCell(int i, int width) const {
        const Place start = at(i);
        const double steps = std::min(stepsWithin(start.x - start.cellX, slopeX_),
                                      stepsWithin(start.y - start.cellY, slopeY_));
        int last = steps < width - 1 - i ? i + static_cast<int>(steps) : width - 1;
        // Rounding may be a pixel off.
        while (!alike(start, at(last))) --last;
        while (last + 1 < width && alike(start, at(last + 1))) ++last;
        return last + 1;
    }
    double slopeX() const { return slopeX_; }
    double slopeY() const { return slopeY_; }

  private:
    static bool alike(const Place& a, const Place& b) { return a.cellX == b.cellX && a.cellY == b.cellY; }
    static double stepsWithin(double fraction, double slope) {
        return slope == 0.0 ? 1e9 : (slope > 0.0 ? 1.0 - fraction : -fraction) / slope;
    }

    int factor_;
    double offset_;
    double startX_ = 0.0, startY_ = 0.0, slopeX_ = 0.0, slopeY_ = 0.0;
};

}  // namespace

std::vector<SampleRun> sampleRuns(const Grid& grid, const Motion& motion, int rowStep) {
    std::vector<SampleRun> runs;
    const int farthest = grid.columns() - 4;  // column that the four of a pixel may begin at
    for (int y = 0; y < grid.height; y += rowStep) {
        const RowPlaces places(grid, motion, y);
        for (int i = 0, end = 0; i < grid.width; i = end) {
            end = places.endOfCell(i, grid.width);
            const int left = places.at(i).cellX - 1, top = places.at(i).cellY - 1;
            if (top < 0 || top + 3 >= grid.rows() || left > farthest) continue;
            const int first = std::max(i, left < 0 ? (grid.factor - 1 - left) / grid.factor : 0);
            const int last = std::min(end - 1, (farthest - left) / grid.factor);
            if (first > last) continue;
            const Place place = places.at(first);
            SampleRun run;
            run.y = y;
            run.first = first;
            run.count = last - first + 1;
            run.row = top;
            run.column = left + grid.factor * first;
            run.fractionX = static_cast<float>(place.x - place.cellX);
            run.fractionY = static_cast<float>(place.y - place.cellY);
            run.slopeX = static_cast<float>(places.slopeX());
            run.slopeY = static_cast<float>(places.slopeY());
            runs.push_back(run);
        }
    }
    return runs;
}

}  // namespace oravo::vision::detail::precise
