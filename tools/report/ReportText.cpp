#include "tools/report/ReportText.h"

#include <cmath>
#include <cstdint>
#include <opencv2/imgcodecs.hpp>

#include "tools/base/Messages.h"

namespace oravo::tools {
namespace {

/// The length of the UTF-8 character that starts here; 0 where none does.
std::size_t characterLength(const std::string& text, std::size_t at) {
    const auto first = static_cast<unsigned char>(text[at]);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    if (at + length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80) return 0;
    }
    return length;
}

}  // namespace

std::string htmlText(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = characterLength(text, at);
        const char c = text[at];
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else if (c == '>') {
            result += "&gt;";
        } else if (c == '"') {
            result += "&quot;";
        } else if (c == '\'') {
            result += "&#39;";
        } else if (length == 0 || (length == 1 && (c < ' ' || c == 0x7F))) {
            result += '?';
        } else {
            result += text.substr(at, length);
        }
        at += length == 0 ? 1 : length;
    }
    return result;
}

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
