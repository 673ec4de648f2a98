#include "tools/formats/RadiometricJpeg.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/formats/JpegSegments.h"
#include "tools/formats/PixelFormat.h"
#include "tools/formats/PngFile.h"

namespace oravo::tools {
namespace {

using nlohmann::json;

constexpr std::string_view kSegment{"FLIR\0", 5};  // what the segments begin with
constexpr char kImage[] = "RawThermalImage", kType[] = "RawThermalImageType";
constexpr char kWidth[] = "RawThermalImageWidth", kHeight[] = "RawThermalImageHeight";
// At most 256 segments of 64 KiB belong together; in base 64 they are longer by a third.
constexpr std::size_t kMostOfAnswer = std::size_t{23} << 20;

std::vector<std::string> askedFor(const std::vector<std::string>& wanted) {
    // Other groups have tags of these names, too, with other units.
    std::vector<std::string> all{"Warning"};
    for (const std::string& tag : wanted) all.push_back("APP1:" + tag);
    for (const char* tag : {kImage, kType, kWidth, kHeight}) all.push_back(std::string("APP1:") + tag);
    return all;
}

/// What exiftool says of one file.
class Answer {
  public:
    Answer(const std::string& text, const std::string& path) : path_(path) {
        const json all = json::parse(text, nullptr, false);
        if (!all.is_array() || all.empty() || !all[0].is_object()) {
            throw inputError(path + ": exiftool gives no tags of it");
        }
        tags_ = all[0];
    }

    /// Those with many digits come as text, and so does what is no number: NaN.
    std::optional<double> number(const std::string& tag) const {
        const auto found = tags_.find(tag);
        if (found == tags_.end()) return std::nullopt;
        if (found->is_number()) return found->get<double>();
        const std::string digits = text(tag);
        char* end = nullptr;
        const double parsed = std::strtod(digits.c_str(), &end);
        return end != digits.c_str() && *end == '\0' ? parsed : std::nan("");
    }

    std::string text(const std::string& tag) const {
        const auto found = tags_.find(tag);
        return found != tags_.end() && found->is_string() ? found->get<std::string>() : std::string();
    }

    /// Bytes come as text in base 64.
    std::string bytes(const std::string& tag) const {
        constexpr std::string_view kMark = "base64:";
        const std::string all = text(tag);
        if (all.compare(0, kMark.size(), kMark) != 0) return all;
        const std::string_view digits = std::string_view(all).substr(kMark.size());
        std::string decoded(digits.size() / 4 * 3, '\0');
        const int size = ::EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()),
                                           reinterpret_cast<const unsigned char*>(digits.data()),
                                           static_cast<int>(digits.size()));
        if (size < 0) throw inputError(path_ + ": exiftool gives a damaged " + tag);
        const std::size_t padding = digits.size() - 1 - digits.find_last_not_of('=');
        decoded.resize(static_cast<std::size_t>(size) - padding);
        return decoded;
    }

  private:
    const std::string& path_;
    json tags_;
};

/// The sum of all steps from a pixel to the next in its row.
double roughness(const cv::Mat_<ushort>& image) {
    double sum = 0.0;
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 1; x < image.cols; ++x) sum += std::abs(int{image(y, x)} - int{image(y, x - 1)});
    }
    return sum;
}

/// Out of the last bytes, before which there may be a header that says nothing new.
cv::Mat_<ushort> uncompressed(const std::string& bytes, bool bigEndian, const Answer& answer,
                              const std::string& path) {
    const double width = answer.number(kWidth).value_or(0.0), height = answer.number(kHeight).value_or(0.0);
    const double wanted = width * height * double{sizeof(ushort)};
    if (!(width >= 1.0 && height >= 1.0 && wanted <= static_cast<double>(bytes.size()))) {
        throw inputError(
            format("%s: its raw thermal image of %g x %g pixels has %zu bytes: truncated or damaged",
                   path.c_str(), width, height, bytes.size()));
    }
    const cv::Size size(static_cast<int>(width), static_cast<int>(height));
    requireMemory(size, path);
    const std::size_t header = bytes.size() - static_cast<std::size_t>(wanted);
    return unpack(bytes.data() + header, size, {'u', sizeof(ushort), bigEndian});
}

cv::Mat_<ushort> countsOf(const Answer& answer, const std::string& path) {
    const std::string bytes = answer.bytes(kImage), type = answer.text(kType);
    if (bytes.empty()) {
        const std::string warning = answer.text("Warning");
        throw inputError(path + ": is a JPEG file without a raw thermal image" +
                         (warning.empty() ? "" : " (" + warning + ")") +
                         "; save its temperatures as TIFF or CSV by the camera's software");
    }
    if (isPng(bytes)) {
        const cv::Mat image = decodePng(bytes, path + ": raw thermal image");
        if (image.depth() != CV_16U)
            throw inputError(path + ": its raw thermal image does not hold counts of 16 bits");
        return inOrderOfCamera(image);
    }
    const double pixels = answer.number(kWidth).value_or(0.0) * answer.number(kHeight).value_or(0.0);
    // The high byte first, for which exiftool has no header.
    const bool bigEndian =
        type == "DAT" && static_cast<double>(bytes.size()) == pixels * double{sizeof(ushort)};
    if (type == "TIFF" || bigEndian) return uncompressed(bytes, bigEndian, answer, path);
    throw inputError(path + ": its raw thermal image is of type " + (type.empty() ? "unknown" : type) +
                     ", which is not read; read are PNG and uncompressed ones of 16 bits (TIFF)");
}

}  // namespace

bool isRadiometricJpeg(const std::string& path) {
    const std::vector<JpegSegment> segments = applicationSegments(path);
    return std::any_of(segments.begin(), segments.end(), [](const JpegSegment& segment) {
        return std::string_view(segment.start).substr(0, kSegment.size()) == kSegment;
    });
}

RadiometricImage readRadiometricJpeg(const std::string& path, const std::vector<std::string>& wanted,
                                     ExifTool& exiftool) {
    const Answer answer(exiftool.tagsOf(path, askedFor(wanted), kMostOfAnswer), path);
    RadiometricImage image{countsOf(answer, path), {}};
    for (const std::string& tag : wanted) {
        if (const std::optional<double> number = answer.number(tag)) image.numbers[tag] = *number;
    }
    return image;
}

cv::Mat_<ushort> inOrderOfCamera(const cv::Mat_<ushort>& image) {
    constexpr double kFarSmoother = 4.0;
    cv::Mat_<ushort> swapped(image.size());
    std::transform(image.begin(), image.end(), swapped.begin(),
                   [](ushort count) { return static_cast<ushort>(count << 8 | count >> 8); });
    return roughness(image) * kFarSmoother < roughness(swapped) ? image.clone() : swapped;
}

}  // namespace oravo::tools
