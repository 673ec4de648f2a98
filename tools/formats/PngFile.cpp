#include "tools/formats/PngFile.h"

#include <cmath>
#include <cstdint>
#include <opencv2/imgcodecs.hpp>

#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/StandardErrorSilencer.h"
#include "tools/base/UserError.h"
#include "tools/formats/ForeignFile.h"
#include "tools/formats/FrameFile.h"
#include "tools/formats/NumberText.h"
#include "tools/formats/PixelFormat.h"

namespace oravo::tools {
namespace {

constexpr std::uint64_t kMostDeflation = 1032;  // a match of 258 bytes takes at least 2 bits

struct Header {
    std::uint64_t width;
    std::uint64_t height;
    unsigned bits;
    unsigned colours;

    bool isPalette() const { return (colours & 1u) != 0; }
    unsigned channels() const { return ((colours & 2u) != 0 ? 3 : 1) + ((colours & 4u) != 0 ? 1 : 0); }
};

/// The first chunk, which has to be the header: 4 bytes of length, 4 of name, then its content.
Header headerOf(std::string_view bytes, const std::string& name) {
    constexpr std::size_t kEnd = 26;
    if (bytes.size() < kEnd) throw inputError(name + ": truncated PNG file");
    if (bytes.substr(12, 4) != "IHDR") throw inputError(name + ": truncated or damaged PNG file");
    const auto byte = [&](std::size_t at) { return static_cast<unsigned>(static_cast<uchar>(bytes[at])); };
    const auto number = [&](std::size_t at) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < 4; ++i) value = value << 8 | byte(at + i);
        return value;
    };
    return {number(16), number(20), byte(24), byte(25)};
}

void check(const Header& header, std::size_t fileSize, const std::string& name) {
    if (header.isPalette()) throw inputError(name + ": holds palette colours, not values; " + kWantedValues);
    if (header.channels() != 1) {
        throw inputError(format("%s: has %u channels: colours for the eye, not temperatures; %s",
                                name.c_str(), header.channels(), kWantedValues));
    }
    const bool possible = isPossibleSize(header.width, header.height) &&
                          header.width * header.height * header.bits / 8 <= fileSize * kMostDeflation;
    if (!possible) {
        throw inputError(
            format("%s: truncated or damaged PNG file: its %zu bytes cannot hold %llu x %llu pixels",
                   name.c_str(), fileSize, static_cast<unsigned long long>(header.width),
                   static_cast<unsigned long long>(header.height)));
    }
    requireMemory(cv::Size(static_cast<int>(header.width), static_cast<int>(header.height)), name);
}

/// The values of counts, where the file says what they are.
cv::Mat calibrated(const cv::Mat& counts, const std::vector<PngChunk>& chunks) {
    std::optional<PngCalibration> calibration;
    int withoutValue = -1;
    for (const PngChunk& chunk : chunks) {
        if (chunk.name == "pCAL")
            calibration = calibrationOf(chunk, 8 * static_cast<unsigned>(counts.elemSize1()));
        if (chunk.name == "tRNS" && chunk.content.size() == 2) {
            withoutValue = static_cast<uchar>(chunk.content[0]) << 8 | static_cast<uchar>(chunk.content[1]);
        }
    }
    if (!calibration) return counts;
    cv::Mat_<double> exact;  // so that the conversion computes in double precision
    counts.convertTo(exact, CV_64F);
    cv::Mat_<float> values;
    exact.convertTo(values, CV_32F, calibration->scale, calibration->offset);
    if (withoutValue >= 0) values.setTo(std::nanf(""), counts == withoutValue);
    return values;
}

}  // namespace

bool isPng(std::string_view start) {
    return start.substr(0, kPngMagic.size()) == kPngMagic;
}

cv::Mat decodePng(std::string_view bytes, const std::string& name) {
    // Anything else would go to whatever decoder of the codecs recognises it.
    if (!isPng(bytes)) throw inputError(name + ": is not a PNG file");
    check(headerOf(bytes, name), bytes.size(), name);
    cv::Mat image;
    try {
        const StandardErrorSilencer silencer;
        // The codec only reads what this header, which cannot say const, points to.
        const cv::Mat encoded(1, static_cast<int>(bytes.size()), CV_8U, const_cast<char*>(bytes.data()));
        image = cv::imdecode(encoded, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception& e) {
        throw inputError(name + ": cannot be read: " + e.err);
    }
    if (image.empty()) throw inputError(name + ": truncated or damaged PNG file");
    if (image.channels() != 1) {
        throw inputError(format("%s: has %d channels; frames have one", name.c_str(), image.channels()));
    }
    return calibrated(image, pngChunks(bytes));
}

cv::Mat readPng(const std::string& path) {
    return decodePng(contentOfFile(path), path);
}

std::string encodePng(const cv::Mat_<ushort>& counts, const PngCalibration& c,
                      const ImageMetadata& metadata) {
    std::vector<uchar> bytes;
    cv::imencode(".png", counts, bytes);
    std::string file(bytes.begin(), bytes.end());
    std::vector<PngChunk> chunks{calibrationChunk(c), textChunk("Scale", numberText(c.scale)),
                                 textChunk("Offset", numberText(c.offset))};
    if (!c.unit.empty()) chunks.push_back(textChunk("Unit", c.unit));
    if (cv::countNonZero(counts) < static_cast<int>(counts.total())) chunks.push_back(transparencyChunk(0));
    for (PngChunk& chunk : metadataChunks(metadata)) chunks.push_back(std::move(chunk));
    addPngChunks(file, chunks);
    return file;
}

}  // namespace oravo::tools
