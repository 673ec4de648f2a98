#include "tools/formats/PngMetadata.h"

#include <zlib.h>

#include <algorithm>
#include <optional>

#include "tools/formats/TagLayout.h"

namespace oravo::tools {
namespace {

constexpr char kXmpKeyword[] = "XML:com.adobe.xmp";
constexpr std::size_t kMostText = 16u << 20;  // bytes

std::optional<std::string> inflated(std::string_view packed) {
    std::string text;
    std::string piece(1u << 16, '\0');
    z_stream stream{};
    if (::inflateInit(&stream) != Z_OK) return {};
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));  // zlib only reads it
    stream.avail_in = static_cast<uInt>(packed.size());
    int state = Z_OK;
    while (state == Z_OK && text.size() <= kMostText) {
        stream.next_out = reinterpret_cast<Bytef*>(piece.data());
        stream.avail_out = static_cast<uInt>(piece.size());
        state = ::inflate(&stream, Z_NO_FLUSH);
        text.append(piece, 0, piece.size() - stream.avail_out);
    }
    ::inflateEnd(&stream);
    return state == Z_STREAM_END ? std::optional(text) : std::nullopt;
}

/// The text of a chunk after its keyword; none where it is damaged.
std::optional<std::string> textOf(const std::string& chunk, std::string_view rest) {
    if (chunk == "tEXt") return utf8OfLatin1(rest);
    if (chunk == "zTXt") {
        const std::optional<std::string> text = rest.empty() ? std::nullopt : inflated(rest.substr(1));
        return text ? std::optional(utf8OfLatin1(*text)) : std::nullopt;
    }
    if (rest.size() < 2) return {};
    const bool packed = rest[0] != 0;
    rest.remove_prefix(2);
    for (int field = 0; field < 2; ++field) {  // the language, and the keyword in it
        const std::size_t end = rest.find('\0');
        if (end == std::string_view::npos) return {};
        rest.remove_prefix(end + 1);
    }
    return packed ? inflated(rest) : std::string(rest);
}

void addText(ImageMetadata& metadata, const PngChunk& chunk) {
    const std::string keyword = chunk.content.substr(0, chunk.content.find('\0'));
    if (keyword == "Scale" || keyword == "Offset" || keyword == "Unit") return;
    const std::string_view content = chunk.content;
    const std::optional<std::string> text = keyword.size() < content.size()
                                                ? textOf(chunk.name, content.substr(keyword.size() + 1))
                                                : std::nullopt;
    if (!text) {
        metadata.leftOut.push_back("text \"" + keyword + "\"");
    } else if (keyword == kXmpKeyword) {
        metadata.image[tag::kXmp] = {TagType::byte, *text};
    } else {
        metadata.texts.emplace_back(keyword, *text);
    }
}

}  // namespace

ImageMetadata pngMetadata(std::string_view file) {
    const std::vector<PngChunk> chunks = pngChunks(file);
    ImageMetadata found;
    for (const PngChunk& chunk : chunks) {
        if (chunk.name == "eXIf") found = readMetadata(chunk.content);
    }
    for (const PngChunk& chunk : chunks) {
        if (chunk.name == "tEXt" || chunk.name == "zTXt" || chunk.name == "iTXt") addText(found, chunk);
    }
    return found;
}

std::vector<PngChunk> metadataChunks(const ImageMetadata& metadata) {
    std::vector<PngChunk> chunks;
    ImageMetadata tags = metadata;
    const auto xmp = tags.image.find(tag::kXmp);
    if (xmp != tags.image.end()) {
        chunks.push_back(textChunk(kXmpKeyword, xmp->second.content));
        tags.image.erase(xmp);
    }
    for (const auto& [keyword, text] : metadata.texts) chunks.push_back(textChunk(keyword, text));
    if (!tags.image.empty() || !tags.exif.empty() || !tags.gps.empty()) {
        chunks.push_back({"eXIf", exifBlock(tags)});
    }
    return chunks;
}

}  // namespace oravo::tools
