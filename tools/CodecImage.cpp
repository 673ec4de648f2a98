#include "tools/CodecImage.h"

#include <cstdint>
#include <opencv2/imgcodecs.hpp>

#include "tools/FrameFile.h"
#include "tools/Messages.h"
#include "tools/PixelFormat.h"
#include "tools/StandardErrorSilencer.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::uint64_t kMostDeflation = 1032;  // a match of 258 bytes takes at least 2 bits

std::uint64_t bigEndian(std::string_view bytes, std::size_t at) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

bool isPng(std::string_view bytes) {
    return bytes.substr(0, 8) == "\x89PNG\r\n\x1a\n";
}

void checkPng(std::string_view bytes, const std::string& name) {
    constexpr std::size_t kHeader =
        26;  // signature, length and name of the first chunk, sizes, bits, colours
    if (bytes.size() < kHeader) throw inputError(name + ": truncated PNG file");
    const std::uint64_t width = bigEndian(bytes, 16);
    const std::uint64_t height = bigEndian(bytes, 20);
    const auto bits = static_cast<unsigned char>(bytes[24]);
    const bool possible =
        isPossibleSize(width, height) && width * height * bits / 8 <= bytes.size() * kMostDeflation;
    if (possible) return;
    throw inputError(format("%s: truncated or damaged PNG file: its %zu bytes cannot hold %llu x %llu pixels",
                            name.c_str(), bytes.size(), static_cast<unsigned long long>(width),
                            static_cast<unsigned long long>(height)));
}

}  // namespace

cv::Mat decodeByCodec(std::string_view bytes, const std::string& name) {
    if (bytes.empty()) throw inputError(name + ": is empty");
    if (isPng(bytes)) checkPng(bytes, name);
    cv::Mat image;
    try {
        const StandardErrorSilencer silencer;
        // The codec only reads what this header, which cannot say const, points to.
        const cv::Mat encoded(1, static_cast<int>(bytes.size()), CV_8U, const_cast<char*>(bytes.data()));
        image = cv::imdecode(encoded, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception& e) {
        throw inputError(name + ": cannot be read: " + e.err);
    }
    if (image.empty()) {
        throw inputError(name +
                         (isPng(bytes) ? ": truncated or damaged PNG file" : ": cannot be read as an image"));
    }
    if (image.channels() != 1) {
        throw inputError(format("%s: has %d channels; frames have one", name.c_str(), image.channels()));
    }
    return image;
}

cv::Mat readByCodec(const std::string& path) {
    return decodeByCodec(contentOfFile(path), path);
}

}  // namespace oravo::tools
