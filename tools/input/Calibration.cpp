#include "tools/input/Calibration.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <numeric>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/input/FrameReader.h"
#include "vision/superresolution/detail/defects/StatusCodes.h"

namespace oravo::tools {
namespace {

using vision::detail::isStatusCode;

constexpr float kLowest = std::numeric_limits<short>::lowest();
constexpr float kHighest = std::numeric_limits<short>::max();

/// The images of a calibration, which lie on the same pixels as the frames.
class CalibrationImages {
  public:
    CalibrationImages(const ReadOptions& reading, cv::Size storedSize)
        : reading_(reading), size_(storedSize) {}

    cv::Mat counts(const std::string& path) const { return read(path, reading_.raw); }

    cv::Mat_<float> temperatures(const std::string& numberOrFile) const {
        char* end = nullptr;
        const double number = std::strtod(numberOrFile.c_str(), &end);
        if (numberOrFile.empty() || *end != '\0') return Decode{}(read(numberOrFile, std::nullopt));
        if (!std::isfinite(number)) {
            throw inputError("temperature " + numberOrFile + " is not a finite number");
        }
        return {reading_.crop ? reading_.crop->size() : size_, static_cast<float>(number)};
    }

  private:
    cv::Mat read(const std::string& path, const std::optional<RawFormat>& raw) const {
        const cv::Mat image = readSingleImage(path, raw);
        if (image.size() == size_) return cropped(image, reading_.crop, path);
        throw inputError(format("%s: is %d x %d pixels, but the frames are %d x %d", path.c_str(), image.cols,
                                image.rows, size_.width, size_.height));
    }

    const ReadOptions& reading_;
    cv::Size size_;
};

}  // namespace

cv::Mat_<short> signedCounts(const cv::Mat_<float>& frame, const std::string& name) {
    cv::Mat_<short> counts(frame.size());
    for (int y = 0; y < frame.rows; ++y) {
        for (int x = 0; x < frame.cols; ++x) {
            const float v = isStatusCode(frame(y, x)) ? 0.0f : frame(y, x);
            if (!(v >= kLowest && v <= kHighest) || v != std::floor(v)) {
                throw inputError(
                    format("%s: %g at column %d, row %d is no signed 16-bit count (a whole number "
                           "from -32768 to 32767; --scale and --offset bring others there)",
                           name.c_str(), static_cast<double>(v), x, y));
            }
            counts(y, x) = static_cast<short>(v);
        }
    }
    return counts;
}

Calibration::Calibration(const std::vector<std::string>& points, const Decode& decode,
                         const ReadOptions& reading, cv::Size storedSize, Findings& findings) {
    const CalibrationImages images(reading, storedSize);
    const auto counts = [&](const std::string& path) {
        return signedCounts(decode(images.counts(path), path), path);
    };
    const cv::Mat_<short> counts1 = counts(points.at(0));
    const cv::Mat_<float> values1 = images.temperatures(points.at(1));
    const cv::Mat_<short> counts2 = counts(points.at(2));
    const cv::Mat_<float> values2 = images.temperatures(points.at(3));
    lines_ = {counts1, values1, counts2, values2, {"tools/input/Calibration", __LINE__, "Calibration"}};
    const auto pixels = static_cast<int>(counts1.total());
    const int same = cv::countNonZero(counts1 == counts2);
    if (2 * same > pixels) {
        throw inputError(
            format("%s and %s hold the same count in %d of %d pixels, which tells no temperature",
                   points[0].c_str(), points[2].c_str(), same, pixels));
    }
    const int level = cv::countNonZero(values1 == values2);
    if (2 * level > pixels) {
        throw inputError(
            format("temperatures %s and %s are equal in %d of %d pixels, so that every count would mean the "
                   "same there",
                   points[1].c_str(), points[3].c_str(), level, pixels));
    }
    const auto hasNoLine = [](float gain, float offset) { return std::isnan(gain) || std::isnan(offset); };
    const int lost = std::inner_product(lines_.gain.begin(), lines_.gain.end(), lines_.offset.begin(), 0,
                                        std::plus<>(), hasNoLine);
    if (2 * lost > pixels) {
        throw inputError(
            format("calibration: in %d of %d pixels the line leaves the range of gains and offsets "
                   "between -1000 and 1000; --offset can bring the counts nearer to 0",
                   lost, pixels));
    }
    if (same > 0) note(format("calibration: %d pixels with equal counts take their neighbours' line", same));
    if (lost > 0) findings.warn(format("calibration: %d pixels have no line and count as defective", lost));
}

cv::Mat_<float> Calibration::operator()(const cv::Mat_<float>& counts, const std::string& name) const {
    cv::Mat_<float> values;
    lines_.apply(signedCounts(counts, name), values);
    std::transform(counts.begin(), counts.end(), values.begin(), values.begin(),
                   [](float before, float after) { return isStatusCode(before) ? before : after; });
    return values;
}

}  // namespace oravo::tools
