/// The bilateral total-variation super-resolution of OpenCV's superres module, for comparison with addImage: an
/// endless burst of the same frames, one enlarged image for each. Only the factor and the number of frames are
/// set (2 frames to each side make 5); all other parameters keep their defaults.

#include <opencv2/superres.hpp>

#include "bench/Workload.h"

namespace oravo::bench {
namespace {

/// The frames of a workload in turn, in 8 bits, which is what the module's optical flow takes.
class EndlessBurst : public cv::superres::FrameSource {
  public:
    explicit EndlessBurst(const Workload& load) {
        for (const Image& frame : load.frames) {
            frames_.emplace_back();
            cv::normalize(frame, frames_.back(), 0.0, 255.0, cv::NORM_MINMAX, CV_8U);
        }
    }
    void nextFrame(cv::OutputArray frame) override { frames_[next_++ % frames_.size()].copyTo(frame); }
    void reset() override { next_ = 0; }

  private:
    std::vector<cv::Mat> frames_;
    std::size_t next_ = 0;
};

void peer(benchmark::State& state) {
    const Workload load(state);
    const cv::Ptr<cv::superres::SuperResolution> method = cv::superres::createSuperResolution_BTVL1();
    method->setScale(2);
    method->setTemporalAreaRadius(2);
    method->setInput(cv::makePtr<EndlessBurst>(load));
    cv::Mat enlarged;
    method->nextFrame(enlarged);  // sets up, and fills the window
    for (auto _ : state) method->nextFrame(enlarged);
}

BENCHMARK(peer)->Args({320, 240})->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace oravo::bench
