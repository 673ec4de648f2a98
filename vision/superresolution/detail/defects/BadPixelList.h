#ifndef ORAVO_VISION_DETAIL_DEFECTS_BADPIXELLIST_H
#define ORAVO_VISION_DETAIL_DEFECTS_BADPIXELLIST_H

#include <opencv2/core.hpp>
#include <set>

#include "vision/superresolution/BadPixel.h"

namespace oravo::vision::detail {

/// Columns of a bad-pixel list. A position is an x column and the y column after it.
constexpr int kListColumns = 10;
constexpr int kPositionColumn = 0;
constexpr int kFirstReplacementColumn = 2;
constexpr int kReplacements = 4;

/// Whether a matrix may be addressed by rows and columns of this type (cv::Mat_ does not keep its type when it
/// is assigned to through a cv::Mat&).
inline bool isPlane(const cv::Mat& matrix, int type) {
    return matrix.type() == type && matrix.dims <= 2;
}

inline bool isBadPixelList(const cv::Mat& list) {
    return isPlane(list, CV_16UC1) && list.cols == kListColumns;
}

/// Whether a list has room for every position of such an image and for its size, the marker.
inline bool fitsList(const cv::Size_<int>& imageSize) {
    constexpr int kMax = 65535;
    return imageSize.width >= 0 && imageSize.width <= kMax && imageSize.height >= 0 &&
           imageSize.height <= kMax;
}

/// x + y * width of all rows, modulo 2^32. A listed position beyond the right edge counts as the one that it
/// wraps to.
std::set<unsigned int> linearPositions(const cv::Mat& list, int imageWidth);

/// computeReplacePixelQuery(n) without those offsets that cannot lead into the image from any listed
/// position.
BadPixel::ReplacementQuery queryFor(const cv::Mat& list, const cv::Size_<int>& imageSize, unsigned int n);

/// Writes the replacement columns of one row; false, with the row untouched, when there is no candidate. The
/// row's other columns are not changed, so rows of a list are independent of each other.
bool chooseReplacements(unsigned short* row, const cv::Size_<int>& imageSize,
                        const BadPixel::ReplacementQuery& query, const std::set<unsigned int>& badPositions);

}  // namespace oravo::vision::detail

#endif
