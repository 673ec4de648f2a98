#include "vision/superresolution/detail/choice/MemoryNeeds.h"

#include "vision/superresolution/detail/numerics/Threads.h"

namespace oravo::vision::detail {
namespace {

/// Bytes for each pixel of a frame.
struct Needs {
    std::uint64_t base, ofEnlarged, ofFrame, ofThread;
};

// Peaks of runs at 320 x 240 and 640 x 480 with 1 to 48 frames and all factors, and a tenth more.
constexpr Needs kPrecise{25, 80, 48, 60}, kFloat{35, 60, 30, 14}, kVector{80, 60, 31, 0},
    kReference{85, 60, 21, 0};
constexpr std::uint64_t kStack = std::uint64_t{1} << 20;  ///< what a thread takes for any size
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

std::uint64_t memoryNeeded(PipelineKind kind, cv::Size size, int frames, int factor, int threads) {
    const auto unsignedOf = [](int number) { return static_cast<std::uint64_t>(number); };
    const Needs& needs = needsOf(kind);
    const std::uint64_t bytes =
        needs.base + needs.ofEnlarged * unsignedOf(factor * factor) + needs.ofFrame * unsignedOf(frames);
    const std::uint64_t pixels = unsignedOf(size.width) * unsignedOf(size.height);
    return kFixed + bytes * pixels +
           unsignedOf(Threads::settled(threads) - 1) * (kStack + needs.ofThread * pixels);
}

}  // namespace oravo::vision::detail
