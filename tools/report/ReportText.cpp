#include "tools/report/ReportText.h"

#include <cmath>
#include <cstdint>
#include <opencv2/imgcodecs.hpp>

#include "tools/base/Messages.h"

namespace oravo::tools {

std::string counted(std::size_t count, const char* what) {
    return format("%zu %s%s", count, what, count == 1 ? "" : "s");
}

std::string figure(double value, const std::string& unit, int digits) {
    if (!std::isfinite(value)) return "unknown";
    return format("%.*g", digits, value) + (unit.empty() ? "" : " " + unit);
}

std::string percent(double share) {
    if (std::isnan(share)) return "unknown";
    const double value = 100.0 * share;
    // 99.97 % must not print as 100.0 %.
    return value > 99.95 && value < 100.0 ? ">99.9 %" : format("%.1f %%", value);
}

std::string base64(const std::vector<uchar>& bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (i + k < bytes.size() ? bytes[i + k] : 0u);
        for (std::size_t k = 0; k < 4; ++k) {
            text += i + k > bytes.size() ? '=' : kDigits[group >> (18 - 6 * k) & 63];
        }
    }
    return text;
}

std::string pngAddress(const cv::Mat& picture) {
    std::vector<uchar> bytes;
    cv::imencode(".png", picture, bytes, {cv::IMWRITE_PNG_COMPRESSION, 9});
    return "data:image/png;base64," + base64(bytes);
}

}  // namespace oravo::tools
