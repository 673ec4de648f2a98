#include "tools/formats/PgmFile.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>

#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/formats/FrameFile.h"
#include "tools/formats/PixelFormat.h"

namespace oravo::tools {
namespace {

class Tokens {
  public:
    Tokens(std::string_view bytes, const std::string& name) : bytes_(bytes), name_(name) {}

    /// The next unsigned integer, after whitespace and comments (from '#' to the end of the line).
    std::uint32_t number() {
        skip();
        std::uint32_t value = 0;
        const auto [end, fault] = std::from_chars(bytes_.data() + at, bytes_.data() + bytes_.size(), value);
        if (fault != std::errc()) {
            throw inputError(name_ + (at == bytes_.size() ? ": truncated PGM file" : ": damaged PGM file"));
        }
        at = static_cast<std::size_t>(end - bytes_.data());
        return value;
    }
    void skip() {
        for (bool comment = false; at < bytes_.size(); ++at) {
            const char c = bytes_[at];
            comment = c == '#' || (comment && c != '\n');
            if (!comment && std::isspace(static_cast<unsigned char>(c)) == 0) return;
        }
    }

    std::size_t at = 2;  // after the two characters that name the kind

  private:
    std::string_view bytes_;
    std::string name_;
};

struct Header {
    cv::Size size;
    std::uint32_t most;
};

Header headerOf(Tokens& tokens, const std::string& name) {
    const std::uint32_t width = tokens.number();
    const std::uint32_t height = tokens.number();
    const std::uint32_t most = tokens.number();
    if (!isPossibleSize(width, height)) {
        throw inputError(format("%s: %u x %u pixels cannot be", name.c_str(), width, height));
    }
    if (most == 0 || most > 65535) {
        throw inputError(format("%s: %u cannot be the largest value of a PGM file", name.c_str(), most));
    }
    return {{static_cast<int>(width), static_cast<int>(height)}, most};
}

cv::Mat plainPixels(Tokens& tokens, cv::Size size, std::uint32_t most, const std::string& name) {
    cv::Mat_<ushort> image(size);
    for (ushort& pixel : image) {
        const std::uint32_t value = tokens.number();
        if (value > most) {
            throw inputError(format("%s: holds %u, above its largest value %u", name.c_str(), value, most));
        }
        pixel = static_cast<ushort>(value);
    }
    if (most > 255) return cv::Mat(image);
    cv::Mat bytes;
    image.convertTo(bytes, CV_8U);
    return bytes;
}

}  // namespace

bool isPgm(std::string_view start) {
    return start.size() > 2 && start[0] == 'P' && (start[1] == '5' || start[1] == '2') &&
           (std::isspace(static_cast<unsigned char>(start[2])) != 0 || start[2] == '#');
}

cv::Mat decodePgm(std::string_view bytes, const std::string& name) {
    if (!isPgm(bytes)) throw inputError(name + ": is not a PGM file");
    Tokens tokens(bytes, name);
    const Header header = headerOf(tokens, name);
    const bool binary = bytes[1] == '5';
    const PixelFormat pixel{'u', header.most > 255 ? 2 : 1, header.most > 255};
    const FrameLayout layout{pixel, header.size, tokens.at + 1};
    const std::uint64_t held = bytes.size() - std::min<std::uint64_t>(layout.offset, bytes.size());
    // A plain number takes a digit and a space at least.
    const std::uint64_t least = 2 * layout.frameBytes() / static_cast<std::uint64_t>(pixel.bytes) - 1;
    const std::uint64_t needed = binary ? layout.frameBytes() : least;
    if (held < needed) {
        throw inputError(format(
            "%s: truncated PGM file: holds %llu bytes of pixels, %llu are needed at least", name.c_str(),
            static_cast<unsigned long long>(held), static_cast<unsigned long long>(needed)));
    }
    requireMemory(layout.size, name);
    if (!binary) return plainPixels(tokens, layout.size, header.most, name);
    if (held > needed) {
        throw inputError(format("%s: holds %llu bytes after its image", name.c_str(),
                                static_cast<unsigned long long>(held - needed)));
    }
    return layout.frame(bytes.data() + layout.offset);
}

cv::Mat readPgm(const std::string& path) {
    return decodePgm(contentOfFile(path), path);
}

}  // namespace oravo::tools
