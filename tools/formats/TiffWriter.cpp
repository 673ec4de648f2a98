#include "tools/formats/TiffWriter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>

#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::uint64_t kMostInClassic = 4'000'000'000;  // 4 GiB, less room for directories
constexpr std::size_t kAlignment = 8;

enum SampleFormat : std::uint16_t { kUnsigned = 1, kSigned, kFloatingPoint };

SampleFormat sampleFormat(int depth) {
    if (depth == CV_32F || depth == CV_64F) return kFloatingPoint;
    return depth == CV_8U || depth == CV_16U ? kUnsigned : kSigned;
}

Tag shortNumber(std::size_t value) {
    return Tag::numbers(TagType::uint16, std::vector{static_cast<std::uint16_t>(value)});
}

Tag longNumber(std::uint64_t value, bool big) {
    if (big) return Tag::numbers(TagType::uint64, std::vector{value});
    return Tag::numbers(TagType::uint32, std::vector{static_cast<std::uint32_t>(value)});
}

/// How the pixels of a page are stored: one strip, from `place` on.
TagDirectory storage(const cv::Mat& image, std::uint64_t place, bool big) {
    constexpr std::uint16_t kUncompressed = 1, kZeroIsBlack = 1, kOneSample = 1, kOnePlane = 1;
    return {{256, longNumber(static_cast<std::uint64_t>(image.cols), false)},
            {257, longNumber(static_cast<std::uint64_t>(image.rows), false)},
            {258, shortNumber(8 * image.elemSize1())},
            {259, shortNumber(kUncompressed)},
            {262, shortNumber(kZeroIsBlack)},
            {273, longNumber(place, big)},
            {277, shortNumber(kOneSample)},
            {278, longNumber(static_cast<std::uint64_t>(image.rows), false)},
            {279, longNumber(image.total() * image.elemSize(), big)},
            {284, shortNumber(kOnePlane)},
            {339, shortNumber(sampleFormat(image.depth()))}};
}

}  // namespace

TiffWriter::TiffWriter(const std::string& path, const std::string& target, std::uint64_t expectedBytes)
    : target_(target) {
    layout_.big = expectedBytes > kMostInClassic;
    errno = 0;
    file_.reset(std::fopen(path.c_str(), "wbe"));
    require(file_ != nullptr);
}

void TiffWriter::require(bool success) const {
    if (success) return;
    const int reason = errno;
    throw outputError(target_ + ": cannot be written" +
                      (reason != 0 ? std::string(": ") + std::strerror(reason) : std::string()));
}

void TiffWriter::write(std::string_view bytes) {
    if (!layout_.big && bytes.size() > std::numeric_limits<std::uint32_t>::max() - size_) {
        throw outputError(target_ + ": cannot be written: its images and their metadata exceed 4 GiB");
    }
    errno = 0;
    require(std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size());
    size_ += bytes.size();
}

void TiffWriter::writeAt(std::uint64_t place, std::string_view bytes) {
    errno = 0;
    require(::fseeko(file_.get(), static_cast<off_t>(place), SEEK_SET) == 0 &&
            std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size() &&
            ::fseeko(file_.get(), 0, SEEK_END) == 0);
}

void TiffWriter::begin(const ImageMetadata& metadata) {
    const bool follows = metadata.exif.count(tag::kMakerNote) != 0;
    layout_.bigEndian = follows ? metadata.bigEndian : kMachineIsBigEndian;
    write(TagEncoder(layout_, 0).header(0));
    link_ = layout_.headerBytes() - layout_.pointerBytes();
}

void TiffWriter::writePixels(const cv::Mat& image) {
    const cv::Mat dense = image.isContinuous() ? image : image.clone();
    const std::string_view pixels(dense.ptr<char>(), dense.total() * dense.elemSize());
    if (layout_.bigEndian == kMachineIsBigEndian) return write(pixels);
    std::string swapped(pixels);
    swapElements(swapped, image.elemSize1());
    write(swapped);
}

void TiffWriter::add(const cv::Mat& image, const ImageMetadata& metadata) {
    CV_Assert(image.channels() == 1 && !image.empty() && image.depth() != CV_32S);
    if (link_ == 0) begin(metadata);
    write(std::string((kAlignment - size_ % kAlignment) % kAlignment, '\0'));
    const std::uint64_t strip = size_;
    writePixels(image);
    TagEncoder page(layout_, size_);
    page.add(metadata, storage(image, strip, layout_.big));
    write(page.bytes());
    writeAt(link_, page.number(page.directory(), layout_.pointerBytes()));
    link_ = page.next();
}

void TiffWriter::close() {
    errno = 0;
    require(std::fclose(file_.release()) == 0);
}

}  // namespace oravo::tools
