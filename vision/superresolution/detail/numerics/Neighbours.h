#ifndef ORAVO_VISION_DETAIL_NUMERICS_NEIGHBOURS_H
#define ORAVO_VISION_DETAIL_NUMERICS_NEIGHBOURS_H

#include <array>
#include <opencv2/core.hpp>

namespace oravo::vision::detail {

using NeighbourOffsets = std::array<cv::Point_<int>, 4>;

/// Left, right, upper, lower: the order in which neighbours are summed.
inline const NeighbourOffsets kFourNeighbours{{{-1, 0}, {1, 0}, {0, -1}, {0, 1}}};

struct NeighbourSum {
    float sum = 0.0f;
    int count = 0;

    float mean() const { return sum / static_cast<float>(count); }  ///< NaN without any
};

/// The sum of those neighbours of (x, y) that lie inside the image and that `isUsable` accepts.
template <class IsUsable>
NeighbourSum sumOfNeighbours(const cv::Mat_<float>& image, int x, int y, const NeighbourOffsets& offsets,
                             IsUsable isUsable) {
    NeighbourSum result;
    for (const cv::Point_<int>& offset : offsets) {
        const int column = x + offset.x;
        const int row = y + offset.y;
        if (column < 0 || column >= image.cols || row < 0 || row >= image.rows) continue;
        const float neighbour = image.ptr<float>(row)[column];
        if (!isUsable(neighbour)) continue;
        result.sum += neighbour;
        ++result.count;
    }
    return result;
}

}  // namespace oravo::vision::detail

#endif
