#ifndef ORAVO_TOOLS_ENHANCE_RECONSTRUCTOR_H
#define ORAVO_TOOLS_ENHANCE_RECONSTRUCTOR_H

#include <functional>
#include <memory>
#include <optional>

#include "tools/base/Guard.h"
#include "tools/enhance/Enlarged.h"
#include "tools/enhance/Recording.h"

namespace oravo::tools {

/// Makes images of frames that belong together. What is wrong with them goes to its findings.
class Reconstructor {
  public:
    Reconstructor() = default;
    Reconstructor(const Reconstructor&) = delete;
    Reconstructor& operator=(const Reconstructor&) = delete;
    virtual ~Reconstructor() = default;

    /// An image of the newest frames of a pool, or none and the reason.
    virtual std::optional<Enlarged> run(const Frames& pool, Refusal& refusal) = 0;
};

/// How a recording is divided for a pipeline.
RecordingRules rulesFor(const EnhanceParameters& parameters, bool every);

/// The way of a pipeline from frames to images. Throws UserError for parameters that the library refuses.
/// @param every     an image is wanted for each frame, not just one for the recording
/// @param findings  has to outlive the result
/// @param progress  is called now and then with the share of an image that is done, 0 to 1; may be empty
std::unique_ptr<Reconstructor> makeReconstructor(cv::Size frameSize, const EnhanceParameters& parameters,
                                                 bool every, Findings& findings,
                                                 std::function<void(double)> progress);

}  // namespace oravo::tools

#endif
