#ifndef ORAVO_VISION_DETAIL_SOLVER_SPLITROWS_H
#define ORAVO_VISION_DETAIL_SOLVER_SPLITROWS_H

#include "vision/superresolution/detail/solver/SplitImage.h"

// Rows of split images. A part of SolverKernels.cpp, and so compiled once per instruction set: only
// that source may include it.

namespace oravo::vision::detail {
namespace {

// NOLINTBEGIN(misc-definitions-in-headers): one source includes them, and they have no external linkage.

// One row of a split image: its two halves.
struct ConstRow {
    const float* even;
    const float* odd;
};
struct Row {
    float* even;
    float* odd;
};

inline ConstRow rowOf(const SplitLayout& layout, const float* image, int y) {
    const float* even = image + layout.stride * y;
    return {even, even + layout.half};
}

inline Row rowOf(const SplitLayout& layout, float* image, int y) {
    float* even = image + layout.stride * y;
    return {even, even + layout.half};
}

/// Lets the compiler see that a length is a multiple of its widest vector, and leave out the rest of a loop.
inline std::ptrdiff_t wholeBlocks(std::ptrdiff_t n) {
    return n & -static_cast<std::ptrdiff_t>(SplitLayout::kBlock);
}

/// Writes zeros after the columns of a row.
void clearPads(const SplitLayout& layout, Row row) {
    for (std::ptrdiff_t i = layout.evenColumns(); i < layout.half; ++i) row.even[i] = 0.0f;
    for (std::ptrdiff_t i = layout.oddColumns(); i < layout.half; ++i) row.odd[i] = 0.0f;
}

// NOLINTEND(misc-definitions-in-headers)

}  // namespace
}  // namespace oravo::vision::detail

#endif
