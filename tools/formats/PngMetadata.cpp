#include "tools/formats/PngMetadata.h"

#include <algorithm>

#include "tools/formats/PngStruct.h"
#include "tools/formats/TagLayout.h"

namespace oravo::tools {
namespace {

constexpr char kXmpKeyword[] = "XML:com.adobe.xmp";

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

/// Whether something is left of it when libpng writes it, which makes all else blanks.
bool isKeyword(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte > ' ' && byte < 0x7f) || byte > 0xa0;
    });
}

void addText(ImageMetadata& metadata, const png_text& entry) {
    const std::string keyword = entry.key;
    if (keyword == "Scale" || keyword == "Offset" || keyword == "Unit") return;
    const bool isUtf8 = entry.compression >= PNG_ITXT_COMPRESSION_NONE;
    const std::string_view content(entry.text, isUtf8 ? entry.itxt_length : entry.text_length);
    const std::string text = isUtf8 ? std::string(content) : utf8OfLatin1(content);
    if (keyword == kXmpKeyword) {
        metadata.image[tag::kXmp] = {TagType::byte, text};
    } else if (isKeyword(keyword)) {
        metadata.texts.emplace_back(keyword, text);
    } else {
        metadata.leftOut.emplace_back("a text without keyword");
    }
}

/// Of all that libpng passes over, what would be among the metadata.
void addDamaged(ImageMetadata& metadata, const std::vector<std::string>& warnings) {
    for (const std::string& warning : warnings) {
        for (const char* chunk : {"eXIf", "iTXt", "tEXt", "zTXt"}) {
            if (warning.rfind(chunk, 0) == 0) metadata.leftOut.push_back("chunk " + warning);
        }
    }
}

}  // namespace

ImageMetadata pngMetadata(std::string_view file) {
    PngStruct reader(file, PngStruct::Pixels::skip);
    // What is before any damage is there after it, too.
    reader.run([](png_structp png, png_infop info) {
        png_read_info(png, info);
        png_read_end(png, info);
    });
    ImageMetadata found;
    png_bytep exif = nullptr;
    png_uint_32 size = 0;
    if (png_get_eXIf_1(reader.png(), reader.info(), &size, &exif) != 0)
        found = readMetadata(std::string_view(reinterpret_cast<const char*>(exif), size));
    png_textp texts = nullptr;
    const int count = png_get_text(reader.png(), reader.info(), &texts, nullptr);
    for (int i = 0; i < count; ++i) addText(found, texts[i]);
    addDamaged(found, reader.warnings());
    return found;
}

std::vector<std::pair<std::string, std::string>> pngTexts(const ImageMetadata& metadata) {
    std::vector<std::pair<std::string, std::string>> texts = metadata.texts;
    const auto xmp = metadata.image.find(tag::kXmp);
    if (xmp != metadata.image.end()) texts.emplace_back(kXmpKeyword, xmp->second.content);
    return texts;
}

std::string pngExif(const ImageMetadata& metadata) {
    ImageMetadata tags = metadata;
    tags.image.erase(tag::kXmp);
    return tags.image.empty() && tags.exif.empty() && tags.gps.empty() ? "" : exifBlock(tags);
}

}  // namespace oravo::tools
