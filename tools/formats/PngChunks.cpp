#include "tools/formats/PngChunks.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "tools/base/Messages.h"
#include "tools/formats/NumberText.h"

namespace oravo::tools {
namespace {

constexpr std::size_t kNumber = 4;           // bytes of lengths and checksums
constexpr std::size_t kFrame = 3 * kNumber;  // what is around the content of a chunk
constexpr std::size_t kHeaderEnd = 33;       // of the first chunk, which is IHDR
constexpr char kLine = 0;                    // the type of a linear equation in pCAL
constexpr int kMost = 65535;

std::uint32_t numberAt(std::string_view bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < kNumber; ++i) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

std::string numberBytes(std::uint32_t value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xffu);
    return bytes;
}

std::uint32_t checksum(std::string_view bytes) {
    return static_cast<std::uint32_t>(
        ::crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
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

/// Takes what stands before the next zero byte, or the rest.
std::string_view takeField(std::string_view& rest) {
    const std::size_t end = std::min(rest.find('\0'), rest.size());
    const std::string_view field = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return field;
}

std::optional<double> parameter(std::string_view& rest) {
    const std::string text(takeField(rest));
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(value)) return {};
    return value;
}

}  // namespace

std::vector<PngChunk> pngChunks(std::string_view file) {
    std::vector<PngChunk> chunks;
    for (std::size_t at = kPngMagic.size(); at + kFrame <= file.size();) {
        const std::size_t length = numberAt(file, at);
        if (length > file.size() - at - kFrame) break;
        const std::string_view checked = file.substr(at + kNumber, kNumber + length);
        const std::string_view name = checked.substr(0, kNumber);
        if (name == "IEND") break;
        if (name != "IDAT") {
            if (checksum(checked) != numberAt(file, at + 2 * kNumber + length)) break;
            chunks.push_back({std::string(name), std::string(checked.substr(kNumber))});
        }
        at += kFrame + length;
    }
    return chunks;
}

void addPngChunks(std::string& file, const std::vector<PngChunk>& chunks) {
    std::string all;
    for (const PngChunk& chunk : chunks) {
        const std::string checked = chunk.name + chunk.content;
        all += numberBytes(static_cast<std::uint32_t>(chunk.content.size())) + checked +
               numberBytes(checksum(checked));
    }
    file.insert(kHeaderEnd, all);
}

/// original = X0 + sample * (X1 - X0) / (2^bits - 1), value = p0 + p1 * original / (X1 - X0); here X0 = 0 and X1 = 65535.
PngChunk calibrationChunk(const PngCalibration& c) {
    std::string content = "value";
    content += '\0' + numberBytes(0) + numberBytes(kMost) + kLine + char{2};
    content += latin1(c.unit) + '\0' + numberText(c.offset) + '\0' + numberText(c.scale * kMost);
    return {"pCAL", content};
}

std::optional<PngCalibration> calibrationOf(const PngChunk& chunk, unsigned bits) {
    constexpr std::size_t kFixed = 2 * kNumber + 2;
    std::string_view rest = chunk.content;
    takeField(rest);
    if (chunk.name != "pCAL" || rest.size() < kFixed || rest[2 * kNumber] != kLine) return {};
    const auto first = static_cast<std::int32_t>(numberAt(rest, 0));
    const double span = static_cast<double>(static_cast<std::int32_t>(numberAt(rest, kNumber))) - first;
    rest.remove_prefix(kFixed);
    const std::string_view unit = takeField(rest);
    const std::optional<double> p0 = parameter(rest), p1 = parameter(rest);
    if (!p0 || !p1 || span == 0.0) return {};
    return PngCalibration{*p1 / (std::ldexp(1.0, static_cast<int>(bits)) - 1.0), *p0 + *p1 * first / span,
                          utf8OfLatin1(unit)};
}

std::string utf8OfLatin1(std::string_view latin) {
    std::string result;
    for (const char c : latin) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            result += c;
        } else {
            result += static_cast<char>(0xc0u | byte >> 6);
            result += static_cast<char>(0x80u | (byte & 0x3fu));
        }
    }
    return result;
}

PngChunk transparencyChunk(std::uint16_t sample) {
    return {"tRNS", {static_cast<char>(sample >> 8), static_cast<char>(sample & 0xffu)}};
}

PngChunk textChunk(const std::string& keyword, const std::string& text) {
    const std::string plain(4, '\0');  // not compressed, by no method, in no language, no translated keyword
    return {"iTXt", keyword + '\0' + plain + text};
}

}  // namespace oravo::tools
