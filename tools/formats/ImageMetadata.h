#ifndef ORAVO_TOOLS_FORMATS_IMAGEMETADATA_H
#define ORAVO_TOOLS_FORMATS_IMAGEMETADATA_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace oravo::tools {

// What TIFF files, and the EXIF blocks of JPEG and PNG files, which have the same structure, say about an image beside its
// pixels. Entries are kept as bytes: libtiff turns fractions into floats, where 0/0 ("unknown") and x/0 ("infinite") are lost, and
// EXIF libraries know neither BigTIFF nor pages beyond the first.

/// The type of an entry's elements.
enum class TagType : std::uint16_t {
    byte = 1,
    ascii,
    uint16,
    uint32,
    fraction,  ///< two uint32
    int8,
    undefined,
    int16,
    int32,
    signedFraction,
    float32,
    float64,
    directory,  ///< a uint32, where one lies
    uint64 = 16,
    int64,
    directory64
};

namespace tag {
constexpr std::uint16_t kDescription = 270, kSoftware = 305, kXmp = 700, kExif = 34665, kGps = 34853,
                        kInteroperability = 40965, kMakerNote = 37500, kHistory = 37395,
                        kProcessingSoftware = 11;
}

/// An entry of a directory.
struct Tag {
    TagType type = TagType::byte;
    std::string content;  ///< its elements, in the machine's byte order

    static Tag text(const std::string& text);  ///< of ASCII
    template <class Number>
    static Tag numbers(TagType type, const std::vector<Number>& numbers) {
        return {type,
                std::string(reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(Number))};
    }
    std::string asText() const;
    /// Its elements; none where the type is another one.
    std::vector<double> doubles() const;
    std::vector<std::uint32_t> integers() const;  ///< of 16 or 32 bits
    /// How many elements there are.
    std::uint64_t count() const;
};

using TagDirectory = std::map<std::uint16_t, Tag>;

/// Without entries that state how the file stores its pixels, and without thumbnails.
struct ImageMetadata {
    TagDirectory image;  ///< XMP, IPTC and GeoTIFF's entries, too
    TagDirectory exif, gps, interoperability;
    bool bigEndian = false;  ///< byte order of the file, which maker notes may share
    std::vector<std::pair<std::string, std::string>> texts;  ///< of a PNG file: keyword and text, in UTF-8
    std::vector<std::string> leftOut;                        ///< what could not be read, in words

    bool empty() const { return image.empty() && exif.empty() && gps.empty() && texts.empty(); }
};

/// Bytes of a file, fewer where it ends.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    virtual std::string read(std::uint64_t at, std::uint64_t count) const = 0;
};

/// Reads a directory with those below it, whatever state they are in: what is damaged, beyond the file or of a size that no
/// metadata has is left out.
/// @param bytes      a TIFF file, BigTIFF too, or an EXIF block from its byte order on
/// @param directory  where it lies; none: the first
ImageMetadata readMetadata(const ByteSource& bytes, std::optional<std::uint64_t> directory);
/// Of an EXIF block in memory.
ImageMetadata readMetadata(std::string_view block);

}  // namespace oravo::tools

#endif
