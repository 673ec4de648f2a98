#ifndef ORAVO_TOOLS_FORMATS_TAGLAYOUT_H
#define ORAVO_TOOLS_FORMATS_TAGLAYOUT_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "tools/formats/ImageMetadata.h"

namespace oravo::tools {

constexpr bool kMachineIsBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

/// How a file arranges its directories (TIFF 6.0, and BigTIFF with numbers of 64 bits): a number of entries, the entries, and
/// the place of the next directory. An entry has the number of its tag, its type, the count of its elements, and these
/// themselves, or where they lie.
struct TagLayout {
    bool big = false;  ///< BigTIFF
    bool bigEndian = false;

    std::size_t pointerBytes() const { return big ? 8 : 4; }
    std::size_t countBytes() const { return big ? 8 : 2; }
    std::size_t entryBytes() const { return 4 + 2 * pointerBytes(); }
    std::size_t headerBytes() const { return big ? 16 : 8; }
};

/// The size of an element; 0 for types that are not known.
std::size_t elementBytes(std::uint16_t type);

/// The size of the numbers in an element, which byte orders differ in.
std::size_t swappedBytes(std::uint16_t type);

void swapElements(std::string& bytes, std::size_t size);

/// Whether a tag says how a file stores pixels, or what they are to look like, and so is none of another file's.
bool describesPixels(std::uint16_t tag);

/// Puts directories into bytes that lie, or are to lie, at a place in a file.
class TagEncoder {
  public:
    TagEncoder(TagLayout layout, std::uint64_t place) : layout_(layout), place_(place) {}

    /// The metadata, with all that lies below it.
    /// @param own  further entries of its directory, ahead of others of the same number
    void add(const ImageMetadata& metadata, const TagDirectory& own);

    const std::string& bytes() const { return bytes_; }
    /// Where the image's directory lies in the file.
    std::uint64_t directory() const { return directory_; }
    /// Where the place of the next directory is to stand, now 0, in the file.
    std::uint64_t next() const { return next_; }

    std::string header(std::uint64_t first) const;
    std::string number(std::uint64_t value, std::size_t size) const;

  private:
    std::uint64_t addDirectory(const TagDirectory& tags);
    TagDirectory withDirectory(TagDirectory above, std::uint16_t id, const TagDirectory& below);

    TagLayout layout_;
    std::uint64_t place_;
    std::string bytes_;
    std::uint64_t directory_ = 0, next_ = 0;
};

/// As a block of its own, for a PNG file.
std::string exifBlock(const ImageMetadata& metadata);

}  // namespace oravo::tools

#endif
