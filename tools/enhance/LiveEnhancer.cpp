#include "tools/enhance/LiveEnhancer.h"

#include "tools/base/Messages.h"
#include "tools/measure/Metrics.h"

namespace oravo::tools {

LiveEnhancer::LiveEnhancer(cv::Size frameSize, const EnhanceParameters& parameters, Findings& findings)
    : findings_(findings),
      enlargedSize_(frameSize * Pipeline::kFactor),
      recording_(rulesFor(parameters, /*every=*/true), findings),
      reconstructor_(makeReconstructor(frameSize, parameters, /*every=*/true, findings, {})) {
}

LiveEnhancer::Picture LiveEnhancer::next(const ValueFrame& frame, const std::string& name) {
    ++count_;
    findings_.nextFrame();
    // A camera that sends each frame twice would else show a sharp picture and a soft one in turns.
    if (!recording_.add(frame, name)) return {shown_, Origin::repeated, std::nullopt};
    Picture picture = pictureOf(frame);
    shown_ = picture.image;
    return picture;
}

LiveEnhancer::Picture LiveEnhancer::pictureOf(const ValueFrame& frame) {
    Picture picture;
    std::string doubt;
    if (recording_.ready()) {
        Refusal refusal;
        picture.enlarged = reconstructor_->run(recording_.latest(), refusal);
        doubt = picture.enlarged ? picture.enlarged->warning
                                 : "bicubic enlargement in place of an image: " + refusal.reason;
    }
    if (!doubt.empty())
        findings_.warn(Guard{"result", count_ - 1, format("frame %zu: ", count_ - 1) + doubt, ""});
    if (picture.enlarged) {
        picture.origin = Origin::enlarged;
        picture.image = picture.enlarged->image;
    } else {
        picture.image = bicubic(repaired(frame.plausible), enlargedSize_);
    }
    return picture;
}

}  // namespace oravo::tools
