#include "gstreamer/FrameFilter.h"

#include <utility>

#include "tools/base/UserError.h"
#include "tools/formats/PixelFormat.h"

namespace oravo::gstreamer {
namespace {

const tools::PixelFormat kCounts{'u', 2, false};

tools::EnhanceParameters parametersFor(const FilterOptions& options, cv::Size size) {
    if (options.decode.scale == 0.0) throw tools::inputError("scale: is 0; all counts would have one value");
    tools::EnhanceParameters parameters;
    parameters.kind = options.kind;
    parameters.rawCounts = options.rawCounts;
    parameters.guarded = options.guarded;
    parameters.threads = options.threads;
    tools::settlePipeline(parameters);
    tools::requireUsableSize(size, parameters, "caps");
    return parameters;
}

}  // namespace

FrameFilter::FrameFilter(cv::Size frameSize, const FilterOptions& options,
                         std::function<void(const std::string&)> warn)
    : size_(frameSize),
      decode_(options.decode),
      warn_(std::move(warn)),
      findings_(warn_),
      parameters_(parametersFor(options, frameSize)),
      outside_(tools::plausibleFor(parameters_)),
      enhancer_(frameSize, parameters_, findings_) {
}

void FrameFilter::enlarge(const CountRows& frame, const CountRows& image) {
    const tools::ValueFrame values = valuesOf(frame);
    const auto picture = enhancer_.next(values, tools::format("frame %zu", count_));
    ++count_;
    const cv::Mat_<double> numbers = decode_.stored(picture.image);
    for (int y = 0; y < numbers.rows; ++y) {
        tools::pack(numbers.row(y), kCounts, image.bytes + y * image.pitch);
    }
}

tools::ValueFrame FrameFilter::valuesOf(const CountRows& frame) {
    cv::Mat stored(size_, CV_16U);
    for (int y = 0; y < size_.height; ++y) {
        tools::unpack(frame.bytes + y * frame.pitch, {size_.width, 1}, kCounts).copyTo(stored.row(y));
    }
    tools::ValueFrame values = outside_.take(decode_(stored), count_, "");
    const std::string where =
        " outside " + outside_.rangeText() + ", the most extreme is " + outside_.extremeText();
    if (count_ == 0 && values.allOutside()) {
        throw tools::inputError("all pixels lie" + where +
                                "; set nuc for raw counts, or scale and offset to decode them to degrees");
    }
    if (values.outside > 0 && outside_.frames == 1) {
        warn_(tools::format("frame %zu: %zu pixels lie", count_, values.outside) + where +
              "; such pixels count as defects");
    }
    return values;
}

}  // namespace oravo::gstreamer
