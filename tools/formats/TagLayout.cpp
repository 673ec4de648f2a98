#include "tools/formats/TagLayout.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace oravo::tools {
namespace {

/// By type; 0 where there is none of that number.
constexpr std::array<std::uint8_t, 19> kElementBytes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};

bool isFraction(std::uint16_t type) {
    return type == static_cast<std::uint16_t>(TagType::fraction) ||
           type == static_cast<std::uint16_t>(TagType::signedFraction);
}

template <class Number>
std::vector<Number> numbersIn(const std::string& content) {
    std::vector<Number> numbers(content.size() / sizeof(Number));
    if (!numbers.empty()) std::memcpy(numbers.data(), content.data(), numbers.size() * sizeof(Number));
    return numbers;
}

}  // namespace

std::size_t elementBytes(std::uint16_t type) {
    return type < kElementBytes.size() ? kElementBytes[type] : 0;
}

std::size_t swappedBytes(std::uint16_t type) {
    return isFraction(type) ? 4 : elementBytes(type);
}

void swapElements(std::string& bytes, std::size_t size) {
    for (std::size_t at = 0; at + size <= bytes.size(); at += size) {
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        std::reverse(first, first + static_cast<std::ptrdiff_t>(size));
    }
}

/// 254 to 259 kind of image, size, bits, compression; 262 to 266 photometry, dithering, bit order; 273, 277 to 281 strips,
/// samples, extremes; 284 planes; 288 to 293 free bytes, grey curve, fax; 297 page; 301 transfer curve; 317 predictor;
/// 320 to 342 colours, tiles, directories below, inks, sample formats; 347 to 532 JPEG, thumbnails, YCbCr; 33920 Intergraph's
/// matrix, which GeoTIFF has replaced; 34675 colour profile; 37121 and 37122 JPEG's components and bits; 50706 and 50707
/// the claim to be a digital negative; 37724 layers; 50838 and 50839 the layout of a stack of images.
bool describesPixels(std::uint16_t tag) {
    constexpr std::pair<std::uint16_t, std::uint16_t> kRanges[] = {
        {254, 259},     {262, 266},     {273, 273},     {277, 281},     {284, 284},     {288, 293},
        {297, 297},     {301, 301},     {317, 317},     {320, 342},     {347, 347},     {512, 532},
        {33920, 33920}, {34675, 34675}, {37121, 37122}, {37724, 37724}, {50706, 50707}, {50838, 50839}};
    return std::any_of(std::begin(kRanges), std::end(kRanges),
                       [&](const auto& range) { return tag >= range.first && tag <= range.second; });
}

Tag Tag::text(const std::string& text) {
    return {TagType::ascii, text + '\0'};
}

std::string Tag::asText() const {
    return content.substr(0, content.find('\0'));
}

std::vector<double> Tag::doubles() const {
    return type == TagType::float64 ? numbersIn<double>(content) : std::vector<double>();
}

std::vector<std::uint32_t> Tag::integers() const {
    if (type == TagType::uint32 || type == TagType::fraction) return numbersIn<std::uint32_t>(content);
    if (type != TagType::uint16) return {};
    const std::vector<std::uint16_t> narrow = numbersIn<std::uint16_t>(content);
    return {narrow.begin(), narrow.end()};
}

std::uint64_t Tag::count() const {
    const std::size_t bytes = elementBytes(static_cast<std::uint16_t>(type));
    return bytes != 0 ? content.size() / bytes : 0;
}

std::string TagEncoder::number(std::uint64_t value, std::size_t size) const {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i) {
        bytes += static_cast<char>(value >> 8 * (layout_.bigEndian ? size - 1 - i : i) & 0xffu);
    }
    return bytes;
}

std::string TagEncoder::header(std::uint64_t first) const {
    std::string bytes = layout_.bigEndian ? "MM" : "II";
    bytes += number(layout_.big ? 43 : 42, 2);
    if (layout_.big) bytes += number(8, 2) + number(0, 2);
    return bytes + number(first, layout_.pointerBytes());
}

/// The entries, and after them the contents that do not fit into one.
std::uint64_t TagEncoder::addDirectory(const TagDirectory& tags) {
    constexpr std::size_t kAlignment = 8;
    bytes_.resize(bytes_.size() + (kAlignment - (place_ + bytes_.size()) % kAlignment) % kAlignment);
    const std::uint64_t start = place_ + bytes_.size();
    const std::size_t pointer = layout_.pointerBytes();
    const std::size_t length = layout_.countBytes() + tags.size() * layout_.entryBytes() + pointer;
    std::string entries = number(tags.size(), layout_.countBytes()), contents;
    for (const auto& [id, content] : tags) {
        const auto type = static_cast<std::uint16_t>(content.type);
        std::string bytes = content.content;
        if (layout_.bigEndian != kMachineIsBigEndian) swapElements(bytes, swappedBytes(type));
        entries += number(id, 2) + number(type, 2) + number(content.count(), pointer);
        if (bytes.size() <= pointer) {
            bytes.resize(pointer);
            entries += bytes;
        } else {
            entries += number(start + length + contents.size(), pointer);
            contents += bytes;
            contents.resize((contents.size() + 1) / 2 * 2);  // they begin at even places
        }
    }
    next_ = start + entries.size();
    bytes_ += entries + number(0, pointer) + contents;
    return start;
}

TagDirectory TagEncoder::withDirectory(TagDirectory above, std::uint16_t id, const TagDirectory& below) {
    if (below.empty()) return above;
    const std::uint64_t place = addDirectory(below);
    above[id] = layout_.big ? Tag::numbers<std::uint64_t>(TagType::directory64, {place})
                            : Tag::numbers(TagType::uint32, std::vector{static_cast<std::uint32_t>(place)});
    return above;
}

void TagEncoder::add(const ImageMetadata& metadata, const TagDirectory& own) {
    TagDirectory image = own;
    image.insert(metadata.image.begin(), metadata.image.end());
    image = withDirectory(image, tag::kExif,
                          withDirectory(metadata.exif, tag::kInteroperability, metadata.interoperability));
    directory_ = addDirectory(withDirectory(image, tag::kGps, metadata.gps));
}

std::string exifBlock(const ImageMetadata& metadata) {
    const TagLayout layout{false, metadata.bigEndian};
    TagEncoder encoder(layout, layout.headerBytes());
    encoder.add(metadata, {});
    return encoder.header(encoder.directory()) + encoder.bytes();
}

}  // namespace oravo::tools
