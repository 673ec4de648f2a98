#include "tools/formats/PngFile.h"

#include <zlib.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/formats/ForeignFile.h"
#include "tools/formats/FrameFile.h"
#include "tools/formats/NumberText.h"
#include "tools/formats/PixelFormat.h"
#include "tools/formats/PngMetadata.h"
#include "tools/formats/PngStruct.h"
#include "tools/formats/TagLayout.h"

namespace oravo::tools {
namespace {

constexpr std::uint64_t kMostDeflation = 1032;  // a match of 258 bytes takes at least 2 bits
constexpr char kDamaged[] = ": truncated or damaged PNG file";
constexpr int kMost = 65535;

/// Of the kind of pixels that the header states, and of their number.
void check(const PngStruct& reader, std::size_t fileSize, const std::string& name) {
    if (png_get_color_type(reader.png(), reader.info()) == PNG_COLOR_TYPE_PALETTE)
        throw inputError(name + ": holds palette colours, not values; " + kWantedValues);
    const unsigned channels = png_get_channels(reader.png(), reader.info());
    if (channels != 1) {
        throw inputError(format("%s: has %u channels: colours for the eye, not temperatures; %s",
                                name.c_str(), channels, kWantedValues));
    }
    const std::uint64_t width = png_get_image_width(reader.png(), reader.info());
    const std::uint64_t height = png_get_image_height(reader.png(), reader.info());
    const std::uint64_t bits = png_get_bit_depth(reader.png(), reader.info());
    if (!isPossibleSize(width, height) || width * height * bits / 8 > fileSize * kMostDeflation) {
        throw inputError(format(
            "%s: truncated or damaged PNG file: its %zu bytes cannot hold %llu x %llu pixels", name.c_str(),
            fileSize, static_cast<unsigned long long>(width), static_cast<unsigned long long>(height)));
    }
    requireMemory(cv::Size(static_cast<int>(width), static_cast<int>(height)), name);
}

std::vector<png_bytep> rowsOf(const cv::Mat& image) {
    std::vector<png_bytep> rows;
    rows.reserve(static_cast<std::size_t>(image.rows));
    for (int y = 0; y < image.rows; ++y) rows.push_back(const_cast<png_bytep>(image.ptr(y)));
    return rows;
}

cv::Mat countsOf(PngStruct& reader, const std::string& name) {
    const bool wide = png_get_bit_depth(reader.png(), reader.info()) == 16;
    cv::Mat counts(static_cast<int>(png_get_image_height(reader.png(), reader.info())),
                   static_cast<int>(png_get_image_width(reader.png(), reader.info())), wide ? CV_16U : CV_8U);
    std::vector<png_bytep> rows = rowsOf(counts);
    const bool whole = reader.run([&](png_structp png, png_infop info) {
        png_set_expand_gray_1_2_4_to_8(png);
        if (wide && !kMachineIsBigEndian) png_set_swap(png);
        png_set_interlace_handling(png);
        png_read_update_info(png, info);
        png_read_image(png, rows.data());
        png_read_end(png, info);
    });
    if (!whole) throw inputError(name + kDamaged);
    return counts;
}

std::optional<double> parameter(const char* text) {
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(value)) return {};
    return value;
}

/// original = X0 + sample * (X1 - X0) / most, value = p0 + p1 * original / (X1 - X0). None where the file states anything but a
/// straight line.
std::optional<PngCalibration> calibrationOf(const PngStruct& reader, int most) {
    png_charp purpose = nullptr, unit = nullptr;
    png_charpp parameters = nullptr;
    png_int_32 first = 0, last = 0;
    int type = 0, count = 0;
    if (png_get_pCAL(reader.png(), reader.info(), &purpose, &first, &last, &type, &count, &unit,
                     &parameters) == 0 ||
        type != PNG_EQUATION_LINEAR || count != 2 || first == last) {
        return {};
    }
    const double span = static_cast<double>(last) - first;
    const std::optional<double> p0 = parameter(parameters[0]), p1 = parameter(parameters[1]);
    if (!p0 || !p1) return {};
    return PngCalibration{*p1 / most, *p0 + *p1 * first / span, ""};
}

/// The values of counts, where the file says what they are.
cv::Mat calibrated(const cv::Mat& counts, const PngStruct& reader) {
    const std::optional<PngCalibration> calibration =
        calibrationOf(reader, counts.depth() == CV_16U ? kMost : 255);
    if (!calibration) return counts;
    cv::Mat_<double> exact;  // so that the conversion computes in double precision
    counts.convertTo(exact, CV_64F);
    cv::Mat_<float> values;
    exact.convertTo(values, CV_32F, calibration->scale, calibration->offset);
    png_color_16p transparent = nullptr;
    if (png_get_tRNS(reader.png(), reader.info(), nullptr, nullptr, &transparent) != 0 &&
        transparent != nullptr)
        values.setTo(std::nanf(""), counts == static_cast<int>(transparent->gray));
    return values;
}

/// pCAL holds Latin-1: U+0080 to U+00FF take two bytes in UTF-8.
std::string latin1(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x80) {
            result += text[i];
        } else if ((byte & 0xfeu) == 0xc2 && i + 1 < text.size()) {
            result += static_cast<char>((byte & 3u) << 6 | (static_cast<unsigned char>(text[++i]) & 0x3fu));
        } else if ((byte & 0xc0u) != 0x80) {
            result += '?';
        }
    }
    return result;
}

png_text textEntry(std::pair<std::string, std::string>& text) {
    png_text entry{};
    entry.compression = PNG_ITXT_COMPRESSION_NONE;
    entry.key = text.first.data();
    entry.text = text.second.data();
    return entry;
}

/// All that stands before the pixels, with the equation of calibrationOf() for X0 = 0 and X1 = 65535.
struct Head {
    Head(const cv::Mat_<ushort>& counts, const PngCalibration& c, const ImageMetadata& metadata)
        : size(counts.size()),
          hasGaps(cv::countNonZero(counts) < static_cast<int>(counts.total())),
          unit(latin1(c.unit)),
          parameters{numberText(c.offset), numberText(c.scale * kMost)},
          exif(pngExif(metadata)),
          texts(pngTexts(metadata)) {
        texts.insert(texts.begin(), {{"Scale", numberText(c.scale)}, {"Offset", numberText(c.offset)}});
        if (!c.unit.empty()) texts.insert(texts.begin() + 2, {"Unit", c.unit});
        for (auto& text : texts) entries.push_back(textEntry(text));
    }

    void write(png_structp png, png_infop info) {
        png_set_IHDR(png, info, static_cast<png_uint_32>(size.width), static_cast<png_uint_32>(size.height),
                     16, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        char* numbers[] = {parameters[0].data(), parameters[1].data()};
        png_set_pCAL(png, info, "value", 0, kMost, PNG_EQUATION_LINEAR, 2, unit.c_str(), numbers);
        const png_color_16 withoutValue{};
        if (hasGaps) png_set_tRNS(png, info, nullptr, 0, &withoutValue);
        png_set_text(png, info, entries.data(), static_cast<int>(entries.size()));
        if (!exif.empty()) {
            png_set_eXIf_1(png, info, static_cast<png_uint_32>(exif.size()),
                           reinterpret_cast<png_bytep>(exif.data()));
        }
        png_write_info(png, info);
    }

    cv::Size size;
    bool hasGaps;
    std::string unit;
    std::array<std::string, 2> parameters;
    std::string exif;
    std::vector<std::pair<std::string, std::string>> texts;
    std::vector<png_text> entries;
};

}  // namespace

bool isPng(std::string_view start) {
    constexpr std::size_t kMagic = 8;
    return start.size() >= kMagic &&
           png_sig_cmp(reinterpret_cast<png_const_bytep>(start.data()), 0, kMagic) == 0;
}

cv::Mat decodePng(std::string_view bytes, const std::string& name) {
    if (!isPng(bytes)) throw inputError(name + ": is not a PNG file");
    PngStruct reader(bytes, PngStruct::Pixels::read);
    if (!reader.run([](png_structp png, png_infop info) { png_read_info(png, info); }))
        throw inputError(name + kDamaged);
    check(reader, bytes.size(), name);
    return calibrated(countsOf(reader, name), reader);
}

cv::Mat readPng(const std::string& path) {
    return decodePng(contentOfFile(path), path);
}

std::string encodePng(const cv::Mat_<ushort>& counts, const PngCalibration& calibration,
                      const ImageMetadata& metadata) {
    std::string file;
    PngStruct writer(&file);
    Head head(counts, calibration, metadata);
    std::vector<png_bytep> rows = rowsOf(counts);
    const bool written = writer.run([&](png_structp png, png_infop info) {
        // Noise hardly packs: the quickest settings give files as small as any.
        png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
        png_set_compression_level(png, Z_BEST_SPEED);
        png_set_compression_strategy(png, Z_RLE);
        head.write(png, info);
        if (!kMachineIsBigEndian) png_set_swap(png);
        png_write_image(png, rows.data());
        png_write_end(png, nullptr);  // the library would write the EXIF block once more
    });
    CV_Assert(written);
    return file;
}

}  // namespace oravo::tools
