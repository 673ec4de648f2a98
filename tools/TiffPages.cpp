#include "tools/TiffPages.h"

#include <array>
#include <fstream>

#include "tools/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::uint64_t kBitsPerSample = 258;
constexpr std::uint64_t kStripOffsets = 273;
constexpr std::uint64_t kSamplesPerPixel = 277;
constexpr std::uint64_t kStripByteCounts = 279;
constexpr std::uint64_t kTileOffsets = 324;
constexpr std::uint64_t kTileByteCounts = 325;
constexpr std::uint64_t kSampleFormat = 339;

class TiffFile {
  public:
    explicit TiffFile(const std::string& path) : path_(path), file_(path, std::ios::binary) {
        if (!file_) throw inputError(path + ": cannot be opened");
        file_.seekg(0, std::ios::end);
        size_ = static_cast<std::uint64_t>(file_.tellg());
        std::array<char, 2> order{};
        file_.seekg(0);
        file_.read(order.data(), 2);
        const bool little = order[0] == 'I' && order[1] == 'I';
        bigEndian_ = order[0] == 'M' && order[1] == 'M';
        if (!file_ || (!little && !bigEndian_) || size_ < 8) return;
        const std::uint64_t magic = number(2, 2);
        big_ = magic == 43;
        isTiff_ = big_ || magic == 42;
    }

    bool isTiff() const { return isTiff_; }

    std::vector<TiffPage> pages() {
        std::vector<TiffPage> found;
        const std::uint64_t mostPages = size_ / 6;  // more than fit in: the chain of directories is a loop
        std::uint64_t directory = big_ ? number(8, 8) : number(4, 4);
        while (directory != 0) {
            if (found.size() > mostPages) fail();
            found.push_back(page(directory));
        }
        if (found.empty()) throw inputError(path_ + ": holds no image");
        return found;
    }

  private:
    [[noreturn]] void fail() const { throw inputError(path_ + ": truncated or damaged TIFF file"); }

    std::uint64_t number(std::uint64_t position, std::uint64_t bytes) {
        if (position > size_ || bytes > size_ - position) fail();
        std::array<unsigned char, 8> raw{};
        file_.seekg(static_cast<std::streamoff>(position));
        file_.read(reinterpret_cast<char*>(raw.data()), static_cast<std::streamsize>(bytes));
        if (!file_) fail();
        std::uint64_t value = 0;
        for (std::uint64_t i = 0; i < bytes; ++i) {
            value = value << 8 | raw[bigEndian_ ? i : bytes - 1 - i];
        }
        return value;
    }

    /// The values of the directory entry at this position, whole-number types only.
    std::vector<std::uint64_t> values(std::uint64_t entry) {
        constexpr std::array<std::uint64_t, 19> kTypeSizes{0, 1, 1, 2, 4, 8, 1, 1, 2, 4,
                                                           8, 4, 8, 4, 0, 0, 8, 8, 8};
        const std::uint64_t type = number(entry + 2, 2);
        const std::uint64_t width = type < kTypeSizes.size() ? kTypeSizes[type] : 0;
        const std::uint64_t inlineBytes = big_ ? 8 : 4;
        const std::uint64_t count = number(entry + 4, inlineBytes);
        if (width == 0 || count > size_ / width) fail();
        const std::uint64_t field = entry + 4 + inlineBytes;
        const std::uint64_t start = count * width > inlineBytes ? number(field, inlineBytes) : field;
        std::vector<std::uint64_t> result(count);
        for (std::uint64_t i = 0; i < count; ++i) result[i] = number(start + i * width, width);
        return result;
    }

    /// Reads the directory and advances to the next.
    TiffPage page(std::uint64_t& directory) {
        const std::uint64_t entrySize = big_ ? 20 : 12;
        const std::uint64_t entries = number(directory, big_ ? 8 : 2);
        if (entries > size_ / entrySize) fail();
        TiffPage result;
        std::vector<std::uint64_t> offsets;
        std::vector<std::uint64_t> byteCounts;
        std::uint64_t position = directory + (big_ ? 8 : 2);
        for (std::uint64_t i = 0; i < entries; ++i, position += entrySize) {
            const auto first = [&](std::uint64_t& target) {
                const std::vector<std::uint64_t> all = values(position);
                if (!all.empty()) target = all.front();
            };
            const std::uint64_t tag = number(position, 2);
            if (tag == kBitsPerSample) first(result.bitsPerSample);
            if (tag == kSamplesPerPixel) first(result.samplesPerPixel);
            if (tag == kSampleFormat) first(result.sampleFormat);
            if (tag == kStripOffsets || tag == kTileOffsets) offsets = values(position);
            if (tag == kStripByteCounts || tag == kTileByteCounts) byteCounts = values(position);
        }
        if (offsets.empty() || offsets.size() != byteCounts.size()) fail();
        for (std::size_t i = 0; i < offsets.size(); ++i) {
            if (offsets[i] > size_ || byteCounts[i] > size_ - offsets[i]) fail();
        }
        directory = number(position, big_ ? 8 : 4);
        return result;
    }

    std::string path_;
    std::ifstream file_;
    std::uint64_t size_ = 0;
    bool bigEndian_ = false;
    bool big_ = false;
    bool isTiff_ = false;
};

}  // namespace

bool isTiff(const std::string& path) {
    return TiffFile(path).isTiff();
}

std::vector<TiffPage> readTiffPages(const std::string& path) {
    return TiffFile(path).pages();
}

}  // namespace oravo::tools
