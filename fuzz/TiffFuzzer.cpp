/// Any TIFF file: read page by page, or refused by a UserError of one line.

#include "fuzz/MemoryFile.h"
#include "tools/FrameReader.h"
#include "tools/TiffFile.h"
#include "tools/UserError.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace oravo;
    const fuzz::MemoryFile file(data, size);
    if (!tools::isTiff(file.path())) return 0;  // goes to the codecs of OpenCV, which are not ours to test
    try {
        tools::FrameReader reader({file.path()});
        for (std::size_t i = 0; i < reader.count(); ++i) {
            const cv::Mat frame = reader.read(i);
            fuzz::require(!frame.empty() && frame.channels() == 1, "a frame has pixels of one channel");
            cv::sum(frame);  // touches every pixel
        }
    } catch (const tools::UserError& e) {
        fuzz::require(std::strchr(e.what(), '\n') == nullptr, "a failure is told in one line");
    }
    return 0;
}
