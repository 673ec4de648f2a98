#include <algorithm>
#include <array>
#include <cstring>

#include "tools/base/Messages.h"
#include "tools/formats/ImageMetadata.h"
#include "tools/formats/TagLayout.h"

namespace oravo::tools {
namespace {

constexpr std::uint64_t kMostTags = 4096;          // of a directory
constexpr std::uint64_t kMostContent = 16u << 20;  // of a tag: bytes
constexpr std::uint64_t kMostContentOfAll = 64u << 20;

class BlockBytes final : public ByteSource {
  public:
    explicit BlockBytes(std::string_view block) : block_(block) {}
    std::string read(std::uint64_t at, std::uint64_t count) const override {
        return at < block_.size() ? std::string(block_.substr(at, count)) : std::string();
    }

  private:
    std::string_view block_;
};

class Reader {
  public:
    explicit Reader(const ByteSource& bytes) : bytes_(bytes) {
        const std::string start = bytes.read(0, 16);
        if (start.size() < 8) return;
        layout_.bigEndian = start[0] == 'M';
        layout_.big = number(start.substr(2, 2)) == 43;
        first_ = layout_.big ? number(start.substr(8)) : number(start.substr(4, 4));
        known_ = (start.substr(0, 2) == "II" || start.substr(0, 2) == "MM") &&
                 (layout_.big || number(start.substr(2, 2)) == 42);
    }

    ImageMetadata all(std::optional<std::uint64_t> place) {
        ImageMetadata found;
        found.bigEndian = layout_.bigEndian;
        if (!known_) {
            left_.push_back("what is no EXIF block");
        } else {
            found.image = directory(place.value_or(first_), "the directory of tags");
            found.exif = below(found.image, tag::kExif, "the EXIF directory");
            found.gps = below(found.image, tag::kGps, "the GPS directory");
            found.interoperability =
                below(found.exif, tag::kInteroperability, "the interoperability directory");
        }
        for (TagDirectory* each : {&found.image, &found.exif}) {
            for (auto entry = each->begin(); entry != each->end();) {
                entry = describesPixels(entry->first) ? each->erase(entry) : std::next(entry);
            }
        }
        found.leftOut = std::move(left_);
        return found;
    }

  private:
    std::uint64_t number(std::string_view bytes) const {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const auto byte = static_cast<unsigned char>(bytes[layout_.bigEndian ? i : bytes.size() - 1 - i]);
            value = value << 8 | byte;
        }
        return value;
    }

    /// The directory that an entry leads to, which is taken out.
    TagDirectory below(TagDirectory& above, std::uint16_t id, const char* name) {
        const auto entry = above.find(id);
        if (entry == above.end()) return {};
        const Tag pointer = entry->second;
        above.erase(entry);
        std::uint64_t place = 0;
        if (pointer.count() == 1 && pointer.content.size() <= sizeof place && pointer.content.size() >= 4) {
            place = number(swapped(pointer.content, pointer.content.size()));
        }
        return directory(place, name);
    }

    std::string swapped(std::string bytes, std::size_t element) const {
        if (layout_.bigEndian != kMachineIsBigEndian) swapElements(bytes, element);
        return bytes;
    }

    TagDirectory directory(std::uint64_t place, const char* name) {
        const std::string head = bytes_.read(place, layout_.countBytes());
        const std::uint64_t count = number(head);
        const std::string entries =
            place == 0 || count > kMostTags
                ? ""
                : bytes_.read(place + layout_.countBytes(), count * layout_.entryBytes());
        if (head.size() < layout_.countBytes() || count == 0 ||
            entries.size() < count * layout_.entryBytes()) {
            left_.push_back(name);
            return {};
        }
        TagDirectory found;
        for (std::size_t at = 0; at < entries.size(); at += layout_.entryBytes()) {
            const std::string_view entry = std::string_view(entries).substr(at, layout_.entryBytes());
            const auto id = static_cast<std::uint16_t>(number(entry.substr(0, 2)));
            if (found.count(id) != 0 || describesPixels(id)) continue;
            if (std::optional<Tag> content = read(entry)) {
                found[id] = std::move(*content);
            } else {
                left_.push_back(format("tag %u", static_cast<unsigned>(id)));
            }
        }
        return found;
    }

    std::optional<Tag> read(std::string_view entry) {
        const auto type = static_cast<std::uint16_t>(number(entry.substr(2, 2)));
        const std::size_t element = elementBytes(type);
        const std::size_t value = layout_.pointerBytes();
        const std::uint64_t count = number(entry.substr(4, value));
        if (element == 0 || count > kMostContent / element) return {};
        const std::uint64_t size = element * count;
        const std::string_view inside = entry.substr(4 + value, value);
        content_ += size;
        if (content_ > kMostContentOfAll) return {};
        std::string content =
            size <= value ? std::string(inside.substr(0, size)) : bytes_.read(number(inside), size);
        if (content.size() < size) return {};
        return Tag{static_cast<TagType>(type), swapped(std::move(content), swappedBytes(type))};
    }

    const ByteSource& bytes_;
    TagLayout layout_;
    std::uint64_t first_ = 0;
    bool known_ = false;
    std::uint64_t content_ = 0;  // bytes, of all tags
    std::vector<std::string> left_;
};

}  // namespace

ImageMetadata readMetadata(const ByteSource& bytes, std::optional<std::uint64_t> directory) {
    return Reader(bytes).all(directory);
}

ImageMetadata readMetadata(std::string_view block) {
    return readMetadata(BlockBytes(block), {});
}

}  // namespace oravo::tools
