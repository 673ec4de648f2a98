#ifndef ORAVO_TESTS_PLAIN_PLAINBADPIXEL_H
#define ORAVO_TESTS_PLAIN_PLAINBADPIXEL_H

#include <map>
#include <opencv2/core.hpp>
#include <vector>

/// BadPixel's searches as loops in their defined order: one visit to the image per isolated value, one search
/// of the whole list per candidate. Arguments have to be valid.
namespace oravo::plain {

using Query = std::vector<std::multimap<float, cv::Point>>;

bool neighbourSearch(const cv::Mat_<short>& image, cv::Mat_<int>& histogram, cv::Mat_<ushort>& list, int lo,
                     int hi, int maxCount, int span);
Query replacePixelQuery(int n);
bool chooseReplacements(cv::Mat_<ushort>& list, int row, cv::Size size, const Query& query);
void append(const cv::Mat_<ushort>& newList, cv::Mat_<ushort>& list, cv::Size size, int n);

}  // namespace oravo::plain

#endif
