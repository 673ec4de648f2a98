#include "tools/formats/RawFile.h"

#include <regex>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

UserError misunderstood(const std::string& text, const std::string& what) {
    return {ExitCode::kUsage, "--raw " + text + ": " + what};
}

}  // namespace

RawFormat parseRawFormat(const std::string& text) {
    // All counts are bounded: the matcher's recursion is as deep as the text it takes is long.
    static const std::regex pattern("([0-9]{1,10})x([0-9]{1,10}):([a-z0-9]{1,20})(?:@([0-9]{1,18}))?");
    std::smatch parts;
    if (!std::regex_match(text, parts, pattern)) {
        throw misunderstood(text, "is not WxH:TYPE or WxH:TYPE@BYTES, such as 640x512:u16le");
    }
    const PixelFormat pixel = parsePixelFormat(parts[3], "--raw " + text + ":");
    const std::uint64_t width = std::stoull(parts[1]);
    const std::uint64_t height = std::stoull(parts[2]);
    if (!isPossibleSize(width, height)) {
        throw misunderstood(text, parts[1].str() + " x " + parts[2].str() + " pixels cannot be");
    }
    const std::uint64_t offset = parts[4].matched ? std::stoull(parts[4]) : 0;
    return {{static_cast<int>(width), static_cast<int>(height)}, pixel, offset};
}

PixelFormat parsePixelFormat(const std::string& type, const std::string& option) {
    const std::optional<PixelFormat> pixel = PixelFormat::named(type);
    if (pixel) return *pixel;
    throw UserError(ExitCode::kUsage,
                    option + " " + type +
                        " is no type; u8 and i8 are, and u16, i16, u32, i32, f32 and f64 with "
                        "the order of their bytes, le or be, behind");
}

FrameLayout rawLayout(const RawFormat& raw, std::uint64_t fileSize, const std::string& name) {
    FrameLayout layout{raw.pixel, raw.size, raw.offset, 0, false};
    const std::uint64_t bytes = layout.frameBytes();
    const std::uint64_t left = fileSize > raw.offset ? fileSize - raw.offset : 0;
    layout.frames = left / bytes;
    if (layout.frames == 0 || left % bytes != 0) {
        const std::string skipped =
            raw.offset == 0 ? ""
                            : format(" behind the first %llu", static_cast<unsigned long long>(raw.offset));
        throw inputError(format(
            "%s: its %llu bytes%s are no whole number of frames of %d x %d pixels of %s (%llu bytes each)",
            name.c_str(), static_cast<unsigned long long>(left), skipped.c_str(), raw.size.width,
            raw.size.height, raw.pixel.name().c_str(), static_cast<unsigned long long>(bytes)));
    }
    return layout;
}

}  // namespace oravo::tools
