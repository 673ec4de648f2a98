#include "tools/CountsWriter.h"

#include <cstring>
#include <opencv2/imgcodecs.hpp>

#include "tools/ImageWriter.h"
#include "tools/TiffPages.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::uint16_t kSampleFormatTag = 339;

/// Little-endian, as the codec writes on every machine that this is built for; 0 beyond the end.
std::uint32_t numberAt(const std::string& bytes, std::size_t at, int length) {
    std::uint32_t value = 0;
    for (int i = length - 1; i >= 0; --i) {
        const std::size_t place = at + static_cast<std::size_t>(i);
        value = value << 8 | (place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0u);
    }
    return value;
}

/// Sets the sample format in the first directory. Entries are 12 bytes: tag, type, length, value.
bool declareSigned(std::string& bytes) {
    if (bytes.compare(0, 4, std::string("II*\0", 4)) != 0) return false;
    const std::size_t directory = numberAt(bytes, 4, 4);
    const std::size_t count = numberAt(bytes, directory, 2);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t entry = directory + 2 + 12 * i;
        if (numberAt(bytes, entry, 2) != kSampleFormatTag || entry + 12 > bytes.size()) continue;
        bytes[entry + 8] = static_cast<char>(TiffPage::kSigned);
        return true;
    }
    return false;
}

}  // namespace

void writeCounts(const std::string& path, const cv::Mat& counts) {
    if (counts.depth() != CV_16S) {
        writeImage(path, counts);
        return;
    }
    // The codec would store signed counts as 8 bits; it takes the same bits as unsigned ones.
    const cv::Mat bits(counts.rows, counts.cols, CV_16UC1, counts.data, counts.step);
    std::vector<uchar> encoded;
    if (!cv::imencode(".tif", bits, encoded)) throw outputError(path + ": cannot be encoded");
    std::string bytes(encoded.begin(), encoded.end());
    if (!declareSigned(bytes)) throw outputError(path + ": signed counts cannot be encoded");
    writeText(path, bytes);
}

}  // namespace oravo::tools
