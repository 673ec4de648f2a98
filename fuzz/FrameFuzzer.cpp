/// Any file of frames: TIFF, NumPy arrays and PGM by their first bytes, raw dumps whose format a first line "!WxH:TYPE"
/// tells, everything else as a matrix in text. Read frame by frame, or refused by a UserError of one line. Files for
/// the image codecs of OpenCV are not ours to test.

#include "fuzz/MemoryFile.h"
#include "tools/CsvMatrix.h"
#include "tools/FrameReader.h"
#include "tools/NpyFile.h"
#include "tools/PgmFile.h"
#include "tools/TiffFile.h"
#include "tools/UserError.h"

namespace oravo::fuzz {
namespace {

void readFrames(std::string_view bytes, const tools::ReadOptions& options) {
    const MemoryFile file(bytes.data(), bytes.size());
    if (!options.raw && !tools::isNpy(bytes) && !tools::isPgm(bytes) && !tools::isTiff(file.path())) {
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
        fuzz::require(std::strchr(e.what(), '\n') == nullptr, "a failure is told in one line");
    }
    return 0;
}
