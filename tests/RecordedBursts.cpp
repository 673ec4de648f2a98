#include "tests/RecordedBursts.h"

#include <cstdlib>
#include <stdexcept>

#ifdef ORAVO_HAVE_IMGCODECS
#include <opencv2/imgcodecs.hpp>
#endif

namespace oravo::test {
namespace {

cv::Mat readImage(const std::string& file) {
#ifdef ORAVO_HAVE_IMGCODECS
    return cv::imread(file, cv::IMREAD_UNCHANGED);
#else
    throw std::runtime_error("built without image codecs, so that " + file + " cannot be read");
#endif
}

}  // namespace

std::string whyNoRecordings() {
#ifdef ORAVO_HAVE_IMGCODECS
    return std::getenv("ORAVO_TEST_DATA") == nullptr ? "ORAVO_TEST_DATA names no folder of recordings" : "";
#else
    return "built without image codecs";
#endif
}

std::string recordingFolder(const std::string& burst) {
    return std::string(std::getenv("ORAVO_TEST_DATA")) + "/bursts/" + burst;
}

Image recordedFrame(const std::string& burst, int i) {
    const std::string file = recordingFolder(burst) + cv::format("/frame_%03d.tif", i);
    const cv::Mat stored = readImage(file);
    if (stored.empty()) throw std::runtime_error("cannot read " + file);
    Image frame;
    stored.convertTo(frame, CV_32F);
    return frame;
}

std::vector<Image> recordedWindow(const std::string& burst) {
    std::vector<Image> frames;
    for (int i = 0; i < 5; ++i) frames.push_back(recordedFrame(burst, i));
    return frames;
}

}  // namespace oravo::test
