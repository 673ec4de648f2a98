#include "tools/formats/PngFile.h"

#include <cstdint>
#include <opencv2/imgcodecs.hpp>

#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/StandardErrorSilencer.h"
#include "tools/base/UserError.h"
#include "tools/formats/ForeignFile.h"
#include "tools/formats/FrameFile.h"
#include "tools/formats/PixelFormat.h"

namespace oravo::tools {
namespace {

constexpr std::string_view kMagic = "\x89PNG\r\n\x1a\n";
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

}  // namespace

bool isPng(std::string_view start) {
    return start.substr(0, kMagic.size()) == kMagic;
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
    return image;
}

cv::Mat readPng(const std::string& path) {
    return decodePng(contentOfFile(path), path);
}

}  // namespace oravo::tools
