#include "tools/base/MemoryCheck.h"

#include "support/Exception.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "vision/superresolution/detail/memory/ReservedMemory.h"

namespace oravo::tools {

void requireMemory(std::uint64_t bytes, const std::string& what) {
    try {
        vision::detail::requireMemory(bytes);
    } catch (const Exception&) {
        throw inputError(what + " need more memory than there is");
    }
}

void requireMemory(cv::Size frame, const std::string& name) {
    constexpr std::uint64_t kBytesPerPixel = 20;  // in double precision twice, or once and in single
    requireMemory(
        kBytesPerPixel * static_cast<std::uint64_t>(frame.width) * static_cast<std::uint64_t>(frame.height),
        format("%s: frames of %d x %d pixels", name.c_str(), frame.width, frame.height));
}

}  // namespace oravo::tools
