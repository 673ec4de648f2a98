#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "support/CodeLocation.h"
#include "support/FloatBits.h"
#include "vision/superresolution/detail/Status.h"
#include "vision/superresolution/detail/defects/RowScans.h"
#include "vision/superresolution/detail/numerics/Neighbours.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/SuperResolutionBadPixelHandling";
constexpr int kMostUnrepairable = 10;

enum DefectClass : unsigned char {
    kValid,
    kUnderRangeCode,
    kOverRangeCode,
    kNoValue,
    kBelowRange,
    kAboveRange
};

std::uint32_t codeOf(unsigned char defectClass) {
    if (defectClass == kUnderRangeCode) return CODE_UNDER_RANGE;
    if (defectClass == kOverRangeCode) return CODE_OVER_RANGE;
    return CODE_BAD_PIXEL;
}

/// Codes that are refilled after a reconstruction. CODE_INVALID is never written there.
bool isRefillable(float value) {
    const std::uint32_t bits = bitsOf(value);
    return bits == CODE_OVER_RANGE || bits == CODE_UNDER_RANGE || bits == CODE_BAD_PIXEL;
}

/// Writes the code into the 7 x 7 block around column floor(X), row floor(Y), as far as it lies inside.
void writeBlock(cv::Mat_<float>& image, float X, float Y, std::uint32_t code) {
    constexpr float kReach = 3.0f;
    const float value = floatOf(code);
    const float x0 = std::floor(X) - kReach;
    if (!(x0 < static_cast<float>(image.cols))) return;  // also keeps the conversions below within int
    const int firstColumn = std::max(static_cast<int>(x0), 0);
    const int lastColumn = std::min(static_cast<int>(x0) + 6, image.cols - 1);
    const int firstRow = std::max(static_cast<int>(std::floor(Y) - kReach), 0);
    const int lastRow = std::min(static_cast<int>(std::floor(Y) + kReach), image.rows - 1);
    for (int row = firstRow; row <= lastRow; ++row) {
        float* pixels = image.ptr<float>(row);
        for (int column = firstColumn; column <= lastColumn; ++column) pixels[column] = value;
    }
}

/// The value of a defect that its neighbours cannot replace.
float fallbackFor(unsigned char defectClass, float frameMin, float frameMax) {
    switch (defectClass) {
        case kOverRangeCode:
        case kAboveRange:
            return frameMax;
        case kUnderRangeCode:
        case kBelowRange:
            return frameMin;
        default:
            return 0.0f;
    }
}

/// The sample of a frame that lies under an enlarged pixel; false when that is outside the frame.
bool samplePosition(int enlargedPosition, float shift, int size, int& position) {
    const double exact = enlargedPosition * 0.5 + static_cast<double>(shift);
    // Truncation takes (-1, 0) to 0; written so that a NaN or a huge shift stays outside.
    if (!(exact > -1.0 && exact < size)) return false;
    position = static_cast<int>(exact);
    return true;
}

bool areOfOneSize(const std::vector<cv::Mat>& maps, const std::vector<cv::Mat_<float>>& frames) {
    const cv::Size size = maps[0].size();
    for (std::size_t i = 0; i < maps.size(); ++i) {
        if (maps[i].size() != size || frames[i].size() != size) return false;
    }
    return true;
}

/// Gives an enlarged pixel the mean of the frames' samples that lie under it and were valid; without any it keeps its code.
void refill(float& pixel, int column, int row, const std::vector<cv::Mat>& defectMaps,
            const std::vector<cv::Point_<float>>& shifts, const std::vector<cv::Mat_<float>>& frames) {
    float sum = 0.0f;
    int count = 0;
    for (std::size_t i = 0; i < defectMaps.size(); ++i) {
        int x = 0;
        int y = 0;
        if (!samplePosition(column, shifts[i].x, frames[i].cols, x)) continue;
        if (!samplePosition(row, shifts[i].y, frames[i].rows, y)) continue;
        if (defectMaps[i].ptr<unsigned char>(y)[x] != kValid) continue;
        sum += frames[i].ptr<float>(y)[x];
        ++count;
    }
    if (count > 0) pixel = sum / static_cast<float>(count);
}

std::string sizeText(const cv::Mat& image) {
    return std::to_string(image.cols) + " x " + std::to_string(image.rows) + " pixels";
}

/// Whether another header refers to the same pixels, as after a copy of their owner.
bool isShared(const cv::Mat& map) {
    return map.u != nullptr && map.u->refcount > 1;
}

}  // namespace

SuperResolutionBadPixelHandling::SuperResolutionBadPixelHandling(unsigned int maxDefectMaps)
    : maxDefectMaps_(maxDefectMaps), neighbourOffsets_(detail::kFourNeighbours) {
    defectMaps_.reserve(std::clamp(maxDefectMaps_, 1U, 64U));
}

SuperResolutionBadPixelHandling::~SuperResolutionBadPixelHandling() = default;

void SuperResolutionBadPixelHandling::setDataIsNUC(bool isNUC) {
    dataIsNUC_ = isNUC;
    minValue_ = isNUC ? -32768.0f : defaults::kLowestValue;
    maxValue_ = isNUC ? 32767.0f : defaults::kHighestValue;
}

unsigned char SuperResolutionBadPixelHandling::classify(float value) const {
    switch (bitsOf(value)) {
        case CODE_OVER_RANGE:
            return kOverRangeCode;
        case CODE_UNDER_RANGE:
            return kUnderRangeCode;
        case CODE_BAD_PIXEL:
        case CODE_INVALID:
            return kNoValue;
        default:
            break;
    }
    if (std::isnan(value)) return kNoValue;
    if (value > maxValue_) return kAboveRange;
    if (value < minValue_) return kBelowRange;
    return kValid;
}

int SuperResolutionBadPixelHandling::detectAndReplaceBadPixel(cv::Mat_<float>& frame) {
    float frameMin = 0.0f, frameMax = 0.0f;
    bool isRangeKnown = false;
    cv::Mat& defects = openDefectMap(frame.rows, frame.cols);

    int result = status::ok;
    int unrepairable = 0;
    for (int y = 0; y < frame.rows; ++y) {
        float* pixels = frame.ptr<float>(y);
        unsigned char* classes = defects.ptr<unsigned char>(y);
        if (!detail::mayHoldBadPixel(pixels, frame.cols, minValue_, maxValue_)) {
            std::fill_n(classes, frame.cols, static_cast<unsigned char>(kValid));
            continue;
        }
        for (int x = 0; x < frame.cols; ++x) {
            classes[x] = classify(pixels[x]);
            if (classes[x] == kValid) continue;
            if (!isRangeKnown) getMinMaxVal(frame, frameMin, frameMax, nullptr, nullptr);
            isRangeKnown = true;  // of the frame as it came; most have no bad pixel, and need none
            float mean = 0.0f;
            if (getReplacementValue_(frame, x, y, mean)) {
                pixels[x] = mean;
                continue;
            }
            if (classes[x] != kOverRangeCode && classes[x] != kUnderRangeCode) result = status::fallbackPixel;
            if (classes[x] == kNoValue) ++unrepairable;
            pixels[x] = fallbackFor(classes[x], frameMin, frameMax);
        }
    }
    if (unrepairable > kMostUnrepairable) {
        raise(
            Exception::Kind::tooManyDefects, "Too many defect pixels. No processing possible.",
            {kSource, __LINE__, "oravo::vision::SuperResolutionBadPixelHandling::detectAndReplaceBadPixel"});
    }
    return result;
}

/// The newest defect map, for a frame of this size. A full history rolls: the newest map takes over the memory
/// of the oldest, unless a copy of this object still refers to it.
cv::Mat& SuperResolutionBadPixelHandling::openDefectMap(int rows, int cols) {
    if (defectMaps_.size() < std::max(maxDefectMaps_, 1U)) {
        defectMaps_.emplace_back();
    } else {
        std::rotate(defectMaps_.begin(), defectMaps_.begin() + 1, defectMaps_.end());
    }
    // When there is no memory for a map, an empty one keeps its place in the history.
    cv::Mat& newest = defectMaps_.back();
    if (newest.size() != cv::Size(cols, rows) || isShared(newest)) {
        newest.release();
        newest = cv::Mat(rows, cols, CV_8U);
    }
    return newest;
}

void SuperResolutionBadPixelHandling::getMinMaxVal(const cv::Mat_<float>& frame, float& minVal, float& maxVal,
                                                   cv::Point_<int>* minLoc, cv::Point_<int>* maxLoc) const {
    minVal = maxValue_;
    maxVal = minValue_;
    for (int y = 0; y < frame.rows; ++y) {
        const float* pixels = frame.ptr<float>(y);
        if (minLoc == nullptr && maxLoc == nullptr &&
            !detail::mayHoldBadPixel(pixels, frame.cols, minValue_, maxValue_)) {
            detail::widen(pixels, frame.cols, minVal, maxVal);
            continue;
        }
        for (int x = 0; x < frame.cols; ++x) {
            if (!isValid(pixels[x])) continue;
            if (pixels[x] > maxVal) {
                maxVal = pixels[x];
                if (maxLoc != nullptr) *maxLoc = {x, y};
            }
            if (pixels[x] < minVal) {
                minVal = pixels[x];
                if (minLoc != nullptr) *minLoc = {x, y};
            }
        }
    }
}

bool SuperResolutionBadPixelHandling::getReplacementValue_(const cv::Mat_<float>& frame, int x, int y,
                                                           float& value) const {
    const detail::NeighbourSum valid = detail::sumOfNeighbours(
        frame, x, y, neighbourOffsets_, [this](float neighbour) { return isValid(neighbour); });
    if (valid.count > 0) value = valid.mean();
    const bool atBorder = x == 0 || y == 0 || x == frame.cols - 1 || y == frame.rows - 1;
    return valid.count == 4 || (valid.count == 3 && atBorder);
}

void SuperResolutionBadPixelHandling::maskBadPixel(cv::Mat_<float>& image,
                                                   const std::vector<cv::Point_<float>>& shifts) {
    if (shifts.size() != defectMaps_.size()) {
        raise(ErrorKind::notReady, "maskBadPixel(): number of shifts ist not equal to number of defectMaps",
              {kSource, __LINE__, "oravo::vision::SuperResolutionBadPixelHandling::maskBadPixel"});
    }
    if (image.cols == 0) return;
    for (std::size_t i = 0; i < defectMaps_.size(); ++i) {
        const cv::Mat& defects = defectMaps_[i];
        for (int r = 0; r < defects.rows; ++r) {
            const unsigned char* classes = defects.ptr<unsigned char>(r);
            if (!detail::holdsDefect(classes, defects.cols)) continue;
            for (int c = 0; c < defects.cols; ++c) {
                if (classes[c] == kValid) continue;
                const float Y = 2.0f * (static_cast<float>(r) - shifts[i].y);
                const float X = 2.0f * (static_cast<float>(c) - shifts[i].x);
                // X has no upper bound, unlike Y: a block beyond the right edge may still reach inside.
                if (Y >= 0.0f && Y < static_cast<float>(image.rows) && X >= 0.0f) {
                    writeBlock(image, X, Y, codeOf(classes[c]));
                }
            }
        }
    }
}

void SuperResolutionBadPixelHandling::replaceMaskedPixel(cv::Mat_<float>& image,
                                                         const std::vector<cv::Point_<float>>& shifts,
                                                         const std::vector<cv::Mat_<float>>& frames) {
    requireRefillable(shifts, frames);
    replaceMaskedRows(image, shifts, frames, 0, image.rows);
}

void SuperResolutionBadPixelHandling::requireRefillable(const std::vector<cv::Point_<float>>& shifts,
                                                        const std::vector<cv::Mat_<float>>& frames) const {
    constexpr char kFunction[] = "oravo::vision::SuperResolutionBadPixelHandling::replaceMaskedPixel";
    if (defectMaps_.empty())
        raise(ErrorKind::notReady, "bad pixel masks not initalized", {kSource, __LINE__, kFunction});
    if (shifts.size() < defectMaps_.size() || frames.size() < defectMaps_.size()) {
        raise(ErrorKind::notReady,
              "replaceMaskedPixel(): number of shifts or frames is smaller than number of defectMaps",
              {kSource, __LINE__, kFunction});
    }
    if (!areOfOneSize(defectMaps_, frames)) {
        raise(ErrorKind::badArgument, "replaceMaskedPixel(): frames and defectMaps differ in size",
              {kSource, __LINE__, kFunction});
    }
}

void SuperResolutionBadPixelHandling::replaceMaskedRows(cv::Mat_<float>& image,
                                                        const std::vector<cv::Point_<float>>& shifts,
                                                        const std::vector<cv::Mat_<float>>& frames, int first,
                                                        int end) const {
    for (int r = first; r < end; ++r) {
        float* pixels = image.ptr<float>(r);
        if (!detail::mayHoldCode(pixels, image.cols)) continue;
        for (int c = 0; c < image.cols; ++c) {
            if (isRefillable(pixels[c])) refill(pixels[c], c, r, defectMaps_, shifts, frames);
        }
    }
}

void SuperResolutionBadPixelHandling::colorBadPixel(const cv::Mat_<float>& image, cv::Mat_<cv::Vec3b>& view) {
    if (view.rows < image.rows || view.cols < image.cols) {
        raise(ErrorKind::badArgument,
              "colorBadPixel(): view of " + sizeText(view) + " is smaller than image of " + sizeText(image),
              {kSource, __LINE__, "oravo::vision::SuperResolutionBadPixelHandling::colorBadPixel"});
    }
    for (int r = 0; r < image.rows; ++r) {
        const float* pixels = image.ptr<float>(r);
        cv::Vec3b* colours = view.ptr<cv::Vec3b>(r);
        for (int c = 0; c < image.cols; ++c) {
            const std::uint32_t bits = bitsOf(pixels[c]);
            if (bits == CODE_OVER_RANGE) colours[c] = cv::Vec3b(0, 0, 255);
            if (bits == CODE_UNDER_RANGE) colours[c] = cv::Vec3b(255, 0, 0);
        }
    }
}

}  // namespace oravo::vision
