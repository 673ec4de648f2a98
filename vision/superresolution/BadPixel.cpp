#include "vision/superresolution/BadPixel.h"

#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <string>
#include <unordered_set>

#include "support/CodeLocation.h"
#include "vision/superresolution/detail/defects/BadPixelList.h"

namespace oravo::vision {
namespace {

using namespace detail;

constexpr char kSource[] = "vision/superresolution/BadPixel";

/// A position as one number which, unlike a linear index, does not depend on a width.
unsigned int packed(const unsigned short* position) {
    return position[0] | static_cast<unsigned int>(position[1]) << 16;
}

std::unordered_set<unsigned int> packedPositions(const cv::Mat& list) {
    std::unordered_set<unsigned int> positions;
    positions.reserve(static_cast<std::size_t>(list.rows));
    for (int i = 0; i < list.rows; ++i) positions.insert(packed(list.ptr<unsigned short>(i)));
    return positions;
}

template <class Predicate>
bool anyReplacement(const unsigned short* row, Predicate predicate) {
    for (int c = kFirstReplacementColumn; c < kListColumns; c += 2) {
        if (predicate(row + c)) return true;
    }
    return false;
}

/// The rows of an old and a new list, one below the other, whose replacement pixels no longer hold.
std::vector<int> staleRows(const cv::Mat& combined, const cv::Mat& oldList, const cv::Mat& newList,
                           const cv::Size_<int>& imageSize) {
    const auto oldPositions = packedPositions(oldList);
    const auto newPositions = packedPositions(newList);
    std::vector<int> stale;
    for (int i = 0; i < combined.rows; ++i) {
        const unsigned short* row = combined.ptr<unsigned short>(i);
        const bool isNew = i >= oldList.rows;
        const auto& others = isNew ? oldPositions : newPositions;
        const bool isStale = anyReplacement(row, [&](const unsigned short* p) {
            const bool unusable =
                p[0] >= imageSize.width || p[1] >= imageSize.height || packed(p) == packed(row);
            return others.count(packed(p)) != 0 || (isNew && unusable);
        });
        if (isStale) stale.push_back(i);
    }
    return stale;
}

cv::Scalar_<double> drawRandomColour() {
    cv::Scalar_<double> colour;
    for (int channel = 0; channel < 3; ++channel) colour[channel] = cv::theRNG().next() & 0xFFU;
    return colour;
}

/// cv::rectangle on corners in place of a cv::Rect, whose area overflows from 46341 x 46341 on.
void drawSquare(cv::Mat& image, int x, int y, unsigned int size, const cv::Scalar_<double>& colour) {
    constexpr unsigned int kFarOutside = 1U << 30;  // no larger square meets an image
    if (size == 0) return;
    const int side = static_cast<int>(std::min(size, kFarOutside));
    const cv::Point corner(x - side / 2, y - side / 2);
    cv::rectangle(image, corner, corner + cv::Point(side - 1, side - 1), colour, /*thickness=*/1,
                  /*lineType=*/8, /*shift=*/0);
}

}  // namespace

BadPixel::BadPixel() = default;

BadPixel::BadPixel(unsigned int y, unsigned int x,
                   const std::vector<cv::Point_<unsigned int>>& replacementPixels,
                   const std::vector<unsigned short>& defectReasons)
    : replacementPixels_(replacementPixels), x_(x), y_(y), defectReasons_(defectReasons) {
}

BadPixel::~BadPixel() = default;

cv::Point_<unsigned int> BadPixel::pos() const {
    return {x_, y_};
}

void BadPixel::pos(unsigned int& y, unsigned int& x) const {
    y = y_;
    x = x_;
}

unsigned int BadPixel::x() const {
    return x_;
}

void BadPixel::set(unsigned int y, unsigned int x) {
    y_ = y;
    x_ = x;
}

void BadPixel::set(const cv::Point_<unsigned int>& p) {
    set(p.x, p.y);
}

void BadPixel::addReplacementPixel(const cv::Point_<unsigned int>& p) {
    replacementPixels_.push_back(p);
}

void BadPixel::addReplacementPixel(unsigned int y, unsigned int x) {
    replacementPixels_.emplace_back(x, y);
}

std::vector<cv::Point_<unsigned int>> BadPixel::getReplacementPixels() const {
    return replacementPixels_;
}

unsigned int BadPixel::getNumberOfReplacementPixels() const {
    return static_cast<unsigned int>(replacementPixels_.size());
}

void BadPixel::clearReplacements() {
    replacementPixels_.clear();
}

void BadPixel::addDefectReasons(const std::vector<unsigned short>& reasons) {
    for (const unsigned short reason : reasons) {
        const bool present =
            std::find(defectReasons_.begin(), defectReasons_.end(), reason) != defectReasons_.end();
        if (!present) defectReasons_.push_back(reason);
    }
}

std::vector<unsigned short> BadPixel::retrieveDefectReasons() const {
    return defectReasons_;
}

bool BadPixel::appendBadPixel(const cv::Mat& newList, cv::Mat& list, cv::Size_<int> imageSize,
                              unsigned int query) {
    if (newList.dims > 2) return false;
    if (list.empty()) list = cv::Mat(0, newList.cols, newList.type());
    if (newList.rows == 0) return true;
    if (!isBadPixelList(newList) || !isBadPixelList(list) || !fitsList(imageSize)) return false;

    cv::Mat combined(list.rows + newList.rows, kListColumns, CV_16UC1);
    if (list.rows > 0) list.copyTo(combined.rowRange(0, list.rows));
    newList.copyTo(combined.rowRange(list.rows, combined.rows));

    const std::vector<int> stale = staleRows(combined, list, newList, imageSize);
    if (!stale.empty()) {
        const ReplacementQuery offsets = queryFor(combined, imageSize, query);
        const std::set<unsigned int> badPositions = linearPositions(combined, imageSize.width);
        for (const int i : stale) {
            chooseReplacements(combined.ptr<unsigned short>(i), imageSize, offsets, badPositions);
        }
    }
    list = combined;
    return true;
}

bool BadPixel::removeBadPixel(cv::Mat_<short>& image, cv::Mat_<unsigned short> list) {
    if (image.empty() || !isPlane(image, CV_16SC1)) return false;
    if (list.rows == 0) return true;
    if (!isBadPixelList(list)) return false;

    const auto isOutside = [&image](const unsigned short* p) {
        return p[0] >= image.cols || p[1] >= image.rows;
    };
    bool allRepaired = true;
    for (int i = 0; i < list.rows; ++i) {
        const unsigned short* row = list.ptr<unsigned short>(i);
        if (isOutside(row + kPositionColumn) || anyReplacement(row, isOutside)) {
            allRepaired = false;
            continue;
        }
        int sum = 0;
        for (int c = kFirstReplacementColumn; c < kListColumns; c += 2) {
            sum += image.ptr<short>(row[c + 1])[row[c]];
        }
        image.ptr<short>(row[1])[row[0]] = static_cast<short>(sum / kReplacements);
    }
    return allRepaired;
}

void BadPixel::drawBadPixels(const cv::Mat& list, cv::Mat_<cv::Vec3b>& image,
                             const cv::Scalar_<double>& colour, unsigned int size, bool randomColour) {
    constexpr char kFunction[] = "oravo::vision::BadPixel::drawBadPixels";
    if (!isBadPixelList(list)) {
        raise(ErrorKind::badArgument, "ERROR: \t >>Unspported BadPixel format!!",
              {kSource, __LINE__, kFunction});
    }
    for (int i = 0; i < list.rows; ++i) {
        const int x = list.ptr<unsigned short>(i)[0];
        const int y = list.ptr<unsigned short>(i)[1];
        if (x >= image.cols || y >= image.rows) {
            raise(ErrorKind::badArgument,
                  "ERROR: \t >>BadPixel [" + std::to_string(y) + "," + std::to_string(x) + "] out of bounds ",
                  {kSource, __LINE__, kFunction});
        }
        drawSquare(image, x, y, size, randomColour ? drawRandomColour() : colour);
    }
}

}  // namespace oravo::vision
