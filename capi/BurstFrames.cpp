#include "capi/BurstFrames.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "support/CodeLocation.h"
#include "support/FloatBits.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::capi {
namespace {

[[noreturn]] void refuse(const std::string& text) {
    raise(ErrorKind::badArgument, text, {"capi/BurstFrames", __LINE__, "oravo::capi::BurstFrames"});
}

}  // namespace

CallerRows::CallerRows(const void* first, const char* what, std::ptrdiff_t pitch, std::size_t rowBytes,
                       int rows)
    : first_(static_cast<const char*>(first)), pitch_(pitch) {
    if (first == nullptr) refuse(std::string(what) + " is a null pointer.");
    const auto least = static_cast<std::ptrdiff_t>(rowBytes);
    if (pitch == 0) pitch_ = least;
    if (pitch_ < least && pitch_ > -least)
        refuse("pitch is " + std::to_string(pitch) + "; a row has " + std::to_string(rowBytes) + " bytes.");
    const std::ptrdiff_t most = std::numeric_limits<std::ptrdiff_t>::max() / rows;
    if (pitch_ > most || pitch_ < -most)
        refuse("pitch is " + std::to_string(pitch) + "; no memory holds " + std::to_string(rows) +
               " such rows.");
}

void BurstFrames::markOutside(float lowest, float highest) {
    marks_ = true;
    lowest_ = lowest;
    highest_ = highest;
}

void BurstFrames::setBadPixels(const unsigned char* mask, std::ptrdiff_t pitch) {
    if (mask == nullptr) {
        bad_.release();
        return;
    }
    const auto width = static_cast<std::size_t>(size_.width);
    const CallerRows rows(mask, "mask", pitch, width, size_.height);
    bad_.create(size_);
    for (int y = 0; y < size_.height; ++y) std::memcpy(bad_[y], rows.row(y), width);
}

template <class T, class Convert>
const cv::Mat_<float>& BurstFrames::readRows(const T* pixels, const char* what, std::ptrdiff_t pitch,
                                             Convert convert) {
    const auto width = static_cast<std::size_t>(size_.width);
    const CallerRows rows(pixels, what, pitch, width * sizeof(T), size_.height);
    next_.create(size_);
    for (int y = 0; y < size_.height; ++y) {
        const char* from = rows.row(y);
        float* to = next_[y];
        for (std::size_t x = 0; x < width; ++x) {
            T value;
            std::memcpy(&value, from + x * sizeof(T), sizeof(T));  // rows need not be aligned
            to[x] = convert(value);
        }
    }
    markNext();
    return next_;
}

/// Gives bad pixels and, where that is wanted, values outside the limits the codes that all pipelines know.
void BurstFrames::markNext() {
    if (bad_.empty() && !marks_) return;
    for (int y = 0; y < size_.height; ++y) {
        float* row = next_[y];
        for (int x = 0; x < size_.width; ++x) {
            if (marks_ && row[x] < lowest_) row[x] = floatOf(vision::CODE_UNDER_RANGE);
            if (marks_ && row[x] > highest_) row[x] = floatOf(vision::CODE_OVER_RANGE);
            if (!bad_.empty() && bad_(y, x) != 0) row[x] = floatOf(vision::CODE_BAD_PIXEL);
        }
    }
}

const cv::Mat_<float>& BurstFrames::read(const float* pixels, std::ptrdiff_t pitch) {
    return readRows(pixels, "pixels", pitch, [](float value) { return value; });
}

namespace {

auto converter(CountScale scale) {
    if (!std::isfinite(scale.scale) || scale.scale == 0.0)
        refuse("scale is " + std::to_string(scale.scale) + "; it has to be a number other than 0.");
    if (!std::isfinite(scale.offset))
        refuse("offset is " + std::to_string(scale.offset) + "; it has to be a number.");
    return [scale](int count) { return static_cast<float>(scale.scale * count + scale.offset); };
}

}  // namespace

const cv::Mat_<float>& BurstFrames::read(const std::uint16_t* counts, std::ptrdiff_t pitch,
                                         CountScale scale) {
    return readRows(counts, "counts", pitch, converter(scale));
}

const cv::Mat_<float>& BurstFrames::read(const std::int16_t* counts, std::ptrdiff_t pitch, CountScale scale) {
    return readRows(counts, "counts", pitch, converter(scale));
}

void BurstFrames::keep() {
    if (held_.size() < most_) {
        held_.push_back(next_);
        next_ = cv::Mat_<float>();
        return;
    }
    std::rotate(held_.begin(), held_.begin() + 1, held_.end());
    cv::swap(held_.back(), next_);
}

void BurstFrames::clear() {
    held_.clear();
}

}  // namespace oravo::capi
