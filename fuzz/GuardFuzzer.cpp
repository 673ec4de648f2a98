/// Any frames on their way to the enhancer: the measures of the guards are numbers, a repeated frame is
/// recognised, and each window gives an image or the reason why not.

#include <cmath>
#include <iostream>
#include <numeric>

#include "fuzz/Input.h"
#include "tools/base/UserError.h"
#include "tools/enhance/Reconstructor.h"
#include "tools/enhance/StreamGuard.h"
#include "tools/measure/FrameMeasures.h"
#include "tools/measure/Metrics.h"
#include "tools/values/PlausibleRange.h"

namespace oravo::fuzz {
namespace {

using Frame = cv::Mat_<float>;

/// Warnings are not findings.
class Quiet {
  public:
    Quiet() : before_(std::cerr.rdbuf(nullptr)) {}
    ~Quiet() {
        std::cerr.rdbuf(before_);
        std::cerr.clear();
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

  private:
    std::streambuf* before_;
};

Frame shifted(const Frame& frame, int dx, int dy) {
    Frame result(frame.size());
    for (int y = 0; y < frame.rows; ++y) {
        for (int x = 0; x < frame.cols; ++x) {
            result(y, x) =
                frame((y + dy + 2 * frame.rows) % frame.rows, (x + dx + 2 * frame.cols) % frame.cols);
        }
    }
    return result;
}

/// Noise of any magnitude; the frame before it, whole, moved, lifted, or fainter.
Frame next(Input& in, const Frame& before, cv::Size size) {
    Frame frame = before.clone();
    const int change = before.empty() ? 0 : in.between(0, 4);
    if (change == 0) {
        const double magnitude = in.oneOf({1.0, 30.0, 4000.0, 1e6, 1e10, 1e19, 1e30, 1e38});
        frame.create(size);
        in.fill(frame.ptr<float>(), frame.total(), -magnitude, 3.0 * magnitude);
    }
    if (change == 1) frame = shifted(before, in.between(-3, 3), in.between(-3, 3));
    if (change == 2) frame += in.take<float>();
    if (change == 3) frame *= in.oneOf({0.1f, 0.5f, 0.99f, 2.0f});
    return frame;
}

void measure(Input& in, const Frame& a, const Frame& b) {
    const tools::FrameDetail first(a), second(b);
    const cv::Point2f anywhere(in.take<float>(), in.take<float>());
    for (const cv::Point2f shift : {anywhere, cv::Point2f(), cv::Point2f(0.5f, -1.25f)}) {
        require(!std::isnan(tools::misfit(first, second, shift)), "a misfit is a number");
    }
    require(!std::isnan(tools::levelStep(a, b, 0.0)), "a step is a number");
    require(!std::isnan(first.noise) && !std::isnan(first.contrast), "noise and contrast are numbers");
    tools::enlargedBefore(a);
    tools::samePhase({anywhere, {}, {in.take<float>(), in.take<float>()}});
    const float weight = in.oneOf({1.0f, 400.0f, 1e30f});
    const float advised = tools::weightForNoise(std::abs(in.take<double>()), weight);
    require(!(advised < 1.0f || advised > weight), "a weight is from 1 to the given one");
}

void recording(Input& in) {
    tools::EnhanceParameters parameters;
    parameters.kind = in.oneOf(
        {tools::PipelineKind::floatingPoint, tools::PipelineKind::vector, tools::PipelineKind::precise});
    const bool any = parameters.kind == tools::PipelineKind::vector;
    const bool precise = parameters.kind == tools::PipelineKind::precise;
    if (!any && !precise)
        parameters.registration = in.oneOf({tools::Registration::corners, tools::Registration::phase});
    parameters.rawCounts = !any && in.between(0, 1) == 1;
    parameters.chooseWeight = in.between(0, 1) == 1;
    parameters.iterations = 2;
    const bool every = in.between(0, 1) == 1;
    const int least = precise ? 8 : 3;
    const cv::Size size(2 * in.between(4, 20), in.between(least, 40));
    tools::settlePipeline(parameters);
    tools::Findings findings;
    tools::Recording recording(tools::rulesFor(parameters, every), findings);
    const auto reconstructor = tools::makeReconstructor(size, parameters, every, findings, {});
    tools::StreamGuard guard;
    Frame frame, before;
    for (int i = in.between(1, 12); i > 0; --i) {
        frame = next(in, frame, size);
        const Frame plausible = any ? frame : tools::PlausibleRange::of(parameters.rawCounts).within(frame);
        const Frame sound = tools::repaired(plausible);
        guard.look(sound);
        require(guard.look(sound).verdict == tools::StreamGuard::Verdict::repeated, "a repetition is one");
        measure(in, sound, before.empty() ? sound : before);
        before = sound;
        recording.add({frame, plausible, 0}, "frame");
        if (!recording.ready() || !(every || i == 1)) continue;
        tools::Refusal refusal;
        const std::optional<tools::Enlarged> enlarged = reconstructor->run(recording.latest(), refusal);
        require(enlarged.has_value() || !refusal.reason.empty(), "a refusal has a reason");
        if (!enlarged) continue;
        require(enlarged->image.size() == cv::Size(2 * size.width, 2 * size.height),
                "an image has twice the size");
        require(std::is_sorted(enlarged->frames.begin(), enlarged->frames.end()), "frames keep their order");
    }
}

}  // namespace
}  // namespace oravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace oravo;
    fuzz::Input in(data, size);
    const fuzz::Quiet quiet;
    try {
        fuzz::recording(in);
    } catch (const tools::UserError& e) {
        fuzz::require(std::strlen(e.what()) > 0, "a failure has a text");
    }
    return 0;
}
