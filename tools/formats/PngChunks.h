#ifndef ORAVO_TOOLS_FORMATS_PNGCHUNKS_H
#define ORAVO_TOOLS_FORMATS_PNGCHUNKS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace oravo::tools {

// What a PNG file holds beside its pixels (W3C, Portable Network Graphics, 3rd edition): chunks of a length of 4 bytes, a
// name of 4, the content, and a checksum of 4; numbers have their highest byte first. OpenCV reads and writes none of them.

constexpr std::string_view kPngMagic = "\x89PNG\r\n\x1a\n";

struct PngChunk {
    std::string name;
    std::string content;
};

/// The chunks of a file, without those of pixels, up to the first that is damaged, by its checksum too.
std::vector<PngChunk> pngChunks(std::string_view file);

/// Adds chunks to a file, ahead of its pixels.
void addPngChunks(std::string& file, const std::vector<PngChunk>& chunks);

/// What counts stand for: value = offset + scale * count.
struct PngCalibration {
    double scale = 1.0;
    double offset = 0.0;
    std::string unit;  ///< in UTF-8; may be empty
};

/// As chunk pCAL, for samples of 16 bits.
PngChunk calibrationChunk(const PngCalibration& calibration);
/// For samples of this many bits; none where the chunk states anything but a straight line.
std::optional<PngCalibration> calibrationOf(const PngChunk& chunk, unsigned bits);

std::string utf8OfLatin1(std::string_view text);

/// As chunk tRNS: the sample, of 16 bits and grey, that stands for no value.
PngChunk transparencyChunk(std::uint16_t sample);

/// A text in UTF-8 under a keyword in ASCII, uncompressed.
PngChunk textChunk(const std::string& keyword, const std::string& text);

}  // namespace oravo::tools

#endif
