#ifndef ORAVO_TESTS_VISION_SUPERRESOLUTION_BADPIXELLISTS_H
#define ORAVO_TESTS_VISION_SUPERRESOLUTION_BADPIXELLISTS_H

#include <initializer_list>
#include <opencv2/core.hpp>
#include <vector>

/// Bad-pixel lists for the tests of BadPixel.
namespace oravo::vision {

using List = cv::Mat_<ushort>;
inline const cv::Size kSize(9, 7);  // of an image

/// A matrix that is a region of a larger one (OpenCV makes no region of 0 rows that keeps its columns).
template <class T>
cv::Mat_<T> region(int rows, int cols) {
    if (rows == 0) return cv::Mat_<T>(0, cols);
    return cv::Mat_<T>(cv::Mat_<T>(rows + 3, cols + 5, static_cast<T>(7)), cv::Rect(2, 1, cols, rows));
}

inline List listOf(std::initializer_list<cv::Point> positions, cv::Size size = kSize) {
    List list = region<ushort>(static_cast<int>(positions.size()), 10);
    list = 0;
    int i = 0;
    for (const cv::Point& p : positions) {
        const int row[] = {p.x, p.y, size.width, size.height};
        for (int c = 0; c < 4; ++c) list(i, c) = static_cast<ushort>(row[c]);
        ++i;
    }
    return list;
}

inline bool same(const cv::Mat& a, const cv::Mat& b) {
    if (a.size() != b.size() || a.type() != b.type()) return false;
    return a.empty() || cv::norm(a, b, cv::NORM_INF) == 0;
}

inline std::vector<int> row(const List& list, int i) {
    return std::vector<int>(list[i], list[i] + 10);
}

}  // namespace oravo::vision

#endif
