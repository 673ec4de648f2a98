#include "tools/input/Calibration.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/input/FrameReader.h"
#include "vision/superresolution/detail/defects/StatusCodes.h"
#include "vision/superresolution/detail/numerics/Quantiles.h"

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

/// What each pixel counts at two known temperatures.
struct KnownPoints {
    cv::Mat_<short> counts1;
    cv::Mat_<float> values1;
    cv::Mat_<short> counts2;
    cv::Mat_<float> values2;
};

KnownPoints readPoints(const std::vector<std::string>& points, const Decode& decode,
                       const CalibrationImages& images) {
    const auto counts = [&](const std::string& path) {
        return signedCounts(decode(images.counts(path), path), path);
    };
    KnownPoints known;
    known.counts1 = counts(points.at(0));
    known.values1 = images.temperatures(points.at(1));
    known.counts2 = counts(points.at(2));
    known.values2 = images.temperatures(points.at(3));
    return known;
}

/// Throws where most pixels have equal counts or equal temperatures.
void requireDifferentPoints(const KnownPoints& known, const std::vector<std::string>& points) {
    const auto pixels = static_cast<int>(known.counts1.total());
    const int same = cv::countNonZero(known.counts1 == known.counts2);
    if (2 * same > pixels) {
        throw inputError(
            format("%s and %s hold the same count in %d of %d pixels, which tells no temperature",
                   points[0].c_str(), points[2].c_str(), same, pixels));
    }
    const int level = cv::countNonZero(known.values1 == known.values2);
    if (2 * level > pixels) {
        throw inputError(
            format("temperatures %s and %s are equal in %d of %d pixels, so that every count would mean the "
                   "same there",
                   points[1].c_str(), points[3].c_str(), level, pixels));
    }
}

/// Counts per degree; NaN where both temperatures are equal.
cv::Mat_<float> responseOf(const KnownPoints& known) {
    cv::Mat_<float> response(known.counts1.size());
    for (int y = 0; y < response.rows; ++y) {
        for (int x = 0; x < response.cols; ++x) {
            const float degrees = known.values2(y, x) - known.values1(y, x);
            const int counts = known.counts2(y, x) - known.counts1(y, x);
            response(y, x) = degrees != 0.0f ? static_cast<float>(counts) / degrees
                                             : std::numeric_limits<float>::quiet_NaN();
        }
    }
    return response;
}

float medianOf(const cv::Mat_<float>& image) {
    std::vector<float> values;
    std::copy_if(image.begin(), image.end(), std::back_inserter(values),
                 [](float v) { return std::isfinite(v); });
    return vision::detail::upperMedian(std::move(values));
}

/// 255 at pixels that are stuck, noise apart: whose counts are equal, or change by less than a tenth of the usual.
cv::Mat_<uchar> withoutResponse(const KnownPoints& known) {
    constexpr float kLeastResponse = 0.1f;  // of the usual one
    const cv::Mat_<float> response = responseOf(known);
    const float usual = medianOf(response);
    cv::Mat_<uchar> stuck(response.size());
    std::transform(response.begin(), response.end(), stuck.begin(), [usual](float own) -> uchar {
        const bool weak = usual > 0.0f ? own < kLeastResponse * usual : own > kLeastResponse * usual;
        return weak || own == 0.0f || std::isnan(own) ? 255 : 0;
    });
    return stuck;
}

/// 255 at pixels whose line misses the points that it was laid through: it was out of range, and replaced.
cv::Mat_<uchar> withoutLine(const vision::detail::TwoPointCalibration& lines, const KnownPoints& known) {
    constexpr float kNear = 0.01f;  // of the difference between both temperatures
    cv::Mat_<float> again1, again2;
    lines.apply(known.counts1, again1);
    lines.apply(known.counts2, again2);
    cv::Mat_<uchar> missed(known.counts1.size());
    for (int y = 0; y < missed.rows; ++y) {
        for (int x = 0; x < missed.cols; ++x) {
            const float value1 = known.values1(y, x), value2 = known.values2(y, x);
            // Rounding of a line's offset, which may be as large as 1000.
            const float bound = kNear * std::abs(value2 - value1) + 1e-3f;
            const bool hits =
                std::abs(again1(y, x) - value1) <= bound && std::abs(again2(y, x) - value2) <= bound;
            missed(y, x) = hits ? 0 : 255;
        }
    }
    return missed;
}

void reportDefects(int silent, int lost, int pixels, Findings& findings) {
    if (2 * lost > pixels) {
        throw inputError(
            format("calibration: in %d of %d pixels the line leaves the range of gains and offsets "
                   "between -1000 and 1000; --offset can bring the counts nearer to 0",
                   lost, pixels));
    }
    if (silent > 0) {
        note(format(
            "calibration: %d pixels hardly respond to temperature, or not at all, and count as defective",
            silent));
    }
    if (lost > 0) {
        findings.warn(
            format("calibration: the line of %d pixels leaves the range of gains and offsets; they count as "
                   "defective",
                   lost));
    }
}

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
    const KnownPoints known = readPoints(points, decode, {reading, storedSize});
    lines_ = {known.counts1,
              known.values1,
              known.counts2,
              known.values2,
              {"tools/input/Calibration", __LINE__, "Calibration"}};
    requireDifferentPoints(known, points);
    const cv::Mat_<uchar> stuck = withoutResponse(known);
    defective_ = stuck | withoutLine(lines_, known);
    const int silent = cv::countNonZero(stuck), lost = cv::countNonZero(defective_) - silent;
    reportDefects(silent, lost, static_cast<int>(defective_.total()), findings);
}

cv::Mat_<float> Calibration::operator()(const cv::Mat_<float>& counts, const std::string& name) const {
    cv::Mat_<float> values;
    lines_.apply(signedCounts(counts, name), values);
    std::transform(counts.begin(), counts.end(), values.begin(), values.begin(),
                   [](float before, float after) { return isStatusCode(before) ? before : after; });
    for (int y = 0; y < values.rows; ++y) {
        for (int x = 0; x < values.cols; ++x) {
            if (defective_(y, x) != 0 && !isStatusCode(counts(y, x)))
                values(y, x) = std::numeric_limits<float>::quiet_NaN();
        }
    }
    return values;
}

}  // namespace oravo::tools
