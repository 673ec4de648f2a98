/// Any file of frames: TIFF, NumPy arrays, PGM and PNG by their first bytes, raw dumps whose format a first
/// line "!WxH:TYPE" states, everything else as a matrix in text. Read frame by frame, or refused by a UserError
/// of one line.

#include "fuzz/MemoryFile.h"
#include "tools/base/UserError.h"
#include "tools/formats/CsvMatrix.h"
#include "tools/formats/FileMetadata.h"
#include "tools/formats/NpyFile.h"
#include "tools/formats/PgmFile.h"
#include "tools/formats/PngFile.h"
#include "tools/formats/PngMetadata.h"
#include "tools/formats/TagLayout.h"
#include "tools/formats/TiffFile.h"
#include "tools/input/FrameReader.h"
#include "tools/output/EnlargedMetadata.h"

namespace oravo::fuzz {
namespace {

std::uint32_t checkSum(std::string_view bytes) {
    std::uint32_t sum = ~0u;
    for (const char c : bytes) {
        sum ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ ((sum & 1u) != 0 ? 0xEDB88320u : 0u);
    }
    return ~sum;
}

/// The PNG file with the check sums of its chunks set right: without them its decoder would not get far.
std::string withCheckSums(std::string_view png) {
    std::string bytes(png);
    for (std::size_t at = 8; bytes.size() - at >= 12;) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i) length = length << 8 | static_cast<unsigned char>(bytes[at + i]);
        if (length > bytes.size() - at - 12) break;
        const std::uint32_t sum = checkSum(png.substr(at + 4, length + 4));
        for (std::size_t i = 0; i < 4; ++i)
            bytes[at + 8 + length + i] = static_cast<char>(sum >> (24 - 8 * i));
        at += length + 12;
    }
    return bytes;
}

bool isFrameFile(std::string_view bytes, const std::string& path) {
    return tools::isNpy(bytes) || tools::isPgm(bytes) || tools::isPng(bytes) || tools::isTiff(path);
}

/// What a file says beside its pixels can be written wherever it is read.
void readMetadata(const std::string& path) {
    const tools::FileMetadata file(path);
    for (const std::size_t image : {0u, 1u}) {
        const tools::ImageMetadata found = tools::onGrid(file.of(image), {2, {1, 1}, {8, 6}});
        if (found.image.empty()) continue;
        const tools::ImageMetadata again = tools::readMetadata(tools::exifBlock(found));
        require(again.leftOut.empty() && again.image.size() == found.image.size(),
                "tags are read as they are written");
        const std::string png = tools::encodePng(cv::Mat_<ushort>(1, 1, ushort{7}), {}, found);
        require(tools::pngMetadata(png).image.size() == found.image.size(), "PNG files hold all tags");
    }
}

void readFrames(std::string_view bytes, const tools::ReadOptions& options) {
    const std::string withSums = tools::isPng(bytes) ? withCheckSums(bytes) : std::string(bytes);
    const MemoryFile file(withSums.data(), withSums.size());
    readMetadata(file.path());
    if (!options.raw && !isFrameFile(bytes, file.path())) {
        require(!tools::decodeCsv(bytes, "text").empty(), "a matrix has numbers");
        return;
    }
    tools::FrameReader reader({file.path()}, options);
    for (std::size_t i = 0; i < std::min<std::size_t>(reader.count(), 20); ++i) {
        const cv::Mat frame = reader.read(i);
        require(!frame.empty() && frame.channels() == 1, "a frame has pixels of one channel");
        cv::sum(frame);  // touches every pixel
    }
}

void readAny(std::string_view bytes) {
    tools::ReadOptions options;
    if (bytes.substr(0, 1) == "!") {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size() - 1);
        options.raw = tools::parseRawFormat(std::string(bytes.substr(1, end - 1)));
        bytes.remove_prefix(end + 1);
    }
    readFrames(bytes, options);
}

}  // namespace
}  // namespace oravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace oravo;
    try {
        fuzz::readAny({reinterpret_cast<const char*>(data), size});
    } catch (const tools::UserError& e) {
        fuzz::require(std::strchr(e.what(), '\n') == nullptr, "a failure is reported in one line");
    }
    return 0;
}
