// Enlarges the middle one of five frames twofold with OpenCV's module superres, for comparison (scripts/quality.sh).
//
//   superres_peer OUT.tif FRAME FRAME FRAME FRAME FRAME
//
// The method is total variation in its bilateral form with dense optical flow (createSuperResolution_BTVL1), at its
// default settings but for the number of frames. It samples the scene at the frames' pixel centres: result pixel 2 i
// lies where pixel i of the middle frame does. The method leaves out some pixels along the border; here they carry no
// value.

#include <iostream>
#include <limits>
#include <opencv2/superres.hpp>

#include "tools/input/FrameReader.h"
#include "tools/output/ImageWriter.h"
#include "tools/values/Decode.h"

namespace {

using namespace oravo::tools;

constexpr double kWhite = 255.0;
constexpr int kRadius = 2;  // frames on each side of the middle one

/// The method takes and gives pictures of 8 bits.
class Frames final : public cv::superres::FrameSource {
  public:
    Frames(FrameReader* reader, double lowest, double highest)
        : reader_(reader), lowest_(lowest), highest_(highest) {}

    void nextFrame(cv::OutputArray frame) override {
        if (next_ == reader_->count()) return frame.release();
        const double scale = kWhite / (highest_ - lowest_);
        reader_->read(next_++).convertTo(frame, CV_8U, scale, -lowest_ * scale);
    }
    void reset() override { next_ = 0; }

  private:
    FrameReader* reader_;
    double lowest_;
    double highest_;
    std::size_t next_ = 0;
};

cv::Mat enlarged(FrameReader& reader) {
    double lowest = 0.0, highest = 0.0;
    cv::minMaxLoc(reader.read(kRadius), &lowest, &highest);
    const auto method = cv::superres::createSuperResolution_BTVL1();
    method->setScale(2);
    method->setTemporalAreaRadius(kRadius);
    method->setInput(cv::makePtr<Frames>(&reader, lowest, highest));
    cv::Mat result;
    for (int i = 0; i <= kRadius; ++i) method->nextFrame(result);
    cv::Mat values;
    result.convertTo(values, CV_32F, (highest - lowest) / kWhite, lowest);
    const int border = (2 * reader.read(0).rows - values.rows) / 2;
    cv::Mat whole;
    cv::copyMakeBorder(values, whole, border, border, border, border, cv::BORDER_CONSTANT,
                       cv::Scalar(std::numeric_limits<double>::quiet_NaN()));
    return whole;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 + 2 * kRadius + 1) {
        std::cerr << "usage: superres_peer OUT.tif FRAME FRAME FRAME FRAME FRAME\n";
        return 1;
    }
    try {
        FrameReader reader(std::vector<std::string>(argv + 2, argv + argc));
        writeImage(argv[1], enlarged(reader));
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "superres_peer: " << e.what() << '\n';
        return 1;
    }
}
