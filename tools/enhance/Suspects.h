#ifndef ORAVO_TOOLS_ENHANCE_SUSPECTS_H
#define ORAVO_TOOLS_ENHANCE_SUSPECTS_H

#include <optional>
#include <string>
#include <vector>

#include "tools/enhance/Enlarged.h"
#include "tools/enhance/Recording.h"

namespace oravo::tools {

/// Frames that an image is to be made of.
struct FrameWindow {
    Frames frames;
    std::size_t reference;  ///< its place in them
};

/// A frame that spoils the image of its window.
struct Suspect {
    const RecordedFrame* frame;
    std::string reason;  ///< in words that follow "frame 7 "

    std::string text() const;
};

/// The frames of a window that do not fit its reference, by what the image shows of them; the reference alone where these
/// are more than half. Without an image, the frame that is least like the others.
/// @param every  an image is wanted for each frame: the newest may have moved far
std::vector<Suspect> suspectsIn(const FrameWindow& window, const std::optional<Enlarged>& enlarged,
                                bool every);

}  // namespace oravo::tools

#endif
