#include "vision/superresolution/detail/choice/MemoryNeeds.h"

namespace oravo::vision::detail {
namespace {

/// Bytes for each pixel of a frame.
struct Needs {
    std::uint64_t base, ofEnlarged, ofFrame;
};

// Peaks of runs at 320 x 240 and 640 x 480 with 1 to 48 frames and all factors, and a tenth more.
constexpr Needs kPrecise{25, 80, 48}, kFloat{35, 60, 30}, kVector{80, 60, 31}, kReference{85, 60, 21};
constexpr std::uint64_t kFixed = std::uint64_t{6} << 20;  ///< what OpenCV and the heap take for any size

const Needs& needsOf(PipelineKind kind) {
    switch (kind) {
        case PipelineKind::precise:
            return kPrecise;
        case PipelineKind::vector:
            return kVector;
        case PipelineKind::reference:
            return kReference;
        default:
            return kFloat;
    }
}

}  // namespace

std::uint64_t memoryNeeded(PipelineKind kind, cv::Size size, int frames, int factor) {
    const auto unsignedOf = [](int number) { return static_cast<std::uint64_t>(number); };
    const Needs& needs = needsOf(kind);
    const std::uint64_t bytes =
        needs.base + needs.ofEnlarged * unsignedOf(factor * factor) + needs.ofFrame * unsignedOf(frames);
    return kFixed + bytes * unsignedOf(size.width) * unsignedOf(size.height);
}

}  // namespace oravo::vision::detail
