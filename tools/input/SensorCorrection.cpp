#include "tools/input/SensorCorrection.h"

#include <cmath>
#include <limits>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "vision/superresolution/detail/defects/StatusCodes.h"

namespace oravo::tools {
namespace {

using vision::detail::isStatusCode;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

[[noreturn]] void refuseSize(const std::string& path, cv::Size found, cv::Size wanted) {
    throw inputError(format("%s: is %d x %d pixels, but the frames are %d x %d", path.c_str(), found.width,
                            found.height, wanted.width, wanted.height));
}

/// The mean of all frames, less its own mean.
cv::Mat_<float> readShutter(const std::string& path, const Decode& decode, const ReadOptions& reading,
                            cv::Size storedSize) {
    FrameReader reader({path}, reading);
    cv::Mat_<double> sum(reader.first().size(), 0.0);
    if (reader.storedSize() != storedSize) refuseSize(path, reader.storedSize(), storedSize);
    for (std::size_t i = 0; i < reader.count(); ++i) {
        const cv::Mat_<float> values = decode(reader.read(i), reader.name(i));
        for (int y = 0; y < sum.rows; ++y) {
            for (int x = 0; x < sum.cols; ++x)
                sum(y, x) += isValue(values(y, x)) ? static_cast<double>(values(y, x)) : kNone;
        }
    }
    double level = 0.0, count = 0.0;
    for (double& value : sum) {
        value /= static_cast<double>(reader.count());
        if (std::isnan(value)) continue;
        level += value;
        count += 1.0;
    }
    if (count == 0.0) throw inputError(path + ": holds no value at all");
    cv::Mat_<float> shutter;
    sum.convertTo(shutter, CV_32F, 1.0, -level / count);
    return shutter;
}

cv::Mat_<float> readPattern(const std::string& path, const ReadOptions& reading, cv::Size storedSize) {
    const cv::Mat image = readSingleImage(path);
    const bool isCropped = reading.crop && image.size() == reading.crop->size();
    if (!isCropped && image.size() != storedSize) refuseSize(path, image.size(), storedSize);
    return Decode{}(isCropped ? image : cropped(image, reading.crop, path));
}

/// What is to be taken off may not put a number in place of a status code.
void takeOff(cv::Mat_<float>& values, const cv::Mat_<float>& what, bool whole) {
    for (int y = 0; y < what.rows; ++y) {
        for (int x = 0; x < what.cols; ++x) {
            float& value = values(y, x);
            if (isStatusCode(value)) continue;
            value -= isValue(what(y, x)) ? what(y, x) : std::numeric_limits<float>::quiet_NaN();
            if (whole) value = std::nearbyint(value);
        }
    }
}

}  // namespace

SensorCorrection::SensorCorrection(const SensorFiles& files, const Decode& decode, const ReadOptions& reading,
                                   cv::Size storedSize) {
    if (!files.shutter.empty()) shutter_ = readShutter(files.shutter, decode, reading, storedSize);
    if (!files.pattern.empty()) pattern_ = readPattern(files.pattern, reading, storedSize);
}

void SensorCorrection::takeOffShutter(cv::Mat_<float>& values, bool whole) const {
    takeOff(values, shutter_, whole);
}

void SensorCorrection::takeOffPattern(cv::Mat_<float>& values, bool whole) const {
    takeOff(values, pattern_, whole);
}

}  // namespace oravo::tools
