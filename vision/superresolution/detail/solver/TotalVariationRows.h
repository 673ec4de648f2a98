#ifndef ORAVO_VISION_DETAIL_SOLVER_TOTALVARIATIONROWS_H
#define ORAVO_VISION_DETAIL_SOLVER_TOTALVARIATIONROWS_H

#include "vision/superresolution/detail/solver/SolverKernels.h"
#include "vision/superresolution/detail/solver/SplitRows.h"

// The total-variation term of the operator, row by row. A part of SolverKernels.cpp, and so compiled once per
// instruction set: only that source may include it.

namespace oravo::vision::detail {
namespace {

// NOLINTBEGIN(misc-definitions-in-headers): one source includes them, and they have no external linkage.

inline float straightWeight(const LinkParameters& p, float difference) {
    const float u = __builtin_fabsf(difference);
    const float atMost = u >= p.inverseEpsilon ? p.inverseEpsilon : u;
    return p.negativeInverseWeight / (u <= p.epsilon ? p.epsilon : atMost);
}

inline float obliqueWeight(const LinkParameters& p, float inverseRootTwo, float difference) {
    return 0.5f * straightWeight(p, difference * inverseRootTwo);
}

/// The links of one row, each stored at its upper or left pixel.
struct LinkRow {
    Row east;
    Row south;
    Row southEast;
    Row southWest;
};

inline LinkRow linkRow(const SplitLayout& layout, const SplitLinks& links, int y) {
    float* first = links.memory + 4 * layout.stride * (y + 1);
    return {rowOf(layout, first, 0), rowOf(layout, first, 1), rowOf(layout, first, 2),
            rowOf(layout, first, 3)};
}

/// Computes the links of row y, which point to the right and into row y + 1. Those of the last column read the zeros after
/// it, and are cleared afterwards.
void freezeRow(const SplitLayout& layout, const float* x, const LinkParameters& p, const SplitLinks& links,
               int y) {
    const float inverseRootTwo = 1.0f / __builtin_sqrtf(2.0f);
    const ConstRow here = rowOf(layout, x, y);
    const ConstRow below = rowOf(layout, x, y + 1);
    const int evens = layout.evenColumns();
    const int odds = layout.oddColumns();
    const auto [e, s, se, sw] = linkRow(layout, links, y);

#pragma GCC ivdep
    for (int i = 0; i < evens; ++i) e.even[i] = straightWeight(p, here.odd[i] - here.even[i]);
#pragma GCC ivdep
    for (int i = 0; i < odds; ++i) e.odd[i] = straightWeight(p, here.even[i + 1] - here.odd[i]);
    e.even[evens - 1] = 0.0f;
    if (y + 1 == layout.rows()) return;  // the other links of the last row stay zero, as they were allocated
#pragma GCC ivdep
    for (int i = 0; i < evens; ++i) s.even[i] = straightWeight(p, below.even[i] - here.even[i]);
#pragma GCC ivdep
    for (int i = 0; i < odds; ++i) s.odd[i] = straightWeight(p, below.odd[i] - here.odd[i]);
#pragma GCC ivdep
    for (int i = 0; i < evens; ++i)
        se.even[i] = obliqueWeight(p, inverseRootTwo, below.odd[i] - here.even[i]);
#pragma GCC ivdep
    for (int i = 0; i < odds; ++i)
        se.odd[i] = obliqueWeight(p, inverseRootTwo, below.even[i + 1] - here.odd[i]);
    se.even[evens - 1] = 0.0f;
#pragma GCC ivdep
    for (int i = 0; i < evens; ++i)
        sw.even[i] = obliqueWeight(p, inverseRootTwo, below.odd[i - 1] - here.even[i]);
#pragma GCC ivdep
    for (int i = 0; i < odds; ++i) sw.odd[i] = obliqueWeight(p, inverseRootTwo, below.even[i] - here.odd[i]);
    sw.even[0] = 0.0f;
}

/// Row y of L v, from the links of rows y and y - 1. The diagonal is the negated sum of all links of a pixel.
void stencilRow(const SplitLayout& layout, const SplitLinks& links, const float* v, int y, Row out) {
    const ConstRow above = rowOf(layout, v, y - 1);
    const ConstRow here = rowOf(layout, v, y);
    const ConstRow below = rowOf(layout, v, y + 1);
    const auto [e, s, se, sw] = linkRow(layout, links, y);
    const LinkRow n = linkRow(layout, links, y - 1);
    const std::ptrdiff_t count = wholeBlocks(layout.half);
#pragma GCC ivdep
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const float west = e.odd[i - 1];
        const float between = e.even[i];
        const float east = e.odd[i];
        const float evenNorth = n.south.even[i];
        const float evenNorthWest = n.southEast.odd[i - 1];
        const float evenNorthEast = n.southWest.odd[i];
        const float evenDiagonal = -(west + between + evenNorth + s.even[i] + evenNorthWest + se.even[i] +
                                     evenNorthEast + sw.even[i]);
        const float oddNorth = n.south.odd[i];
        const float oddNorthWest = n.southEast.even[i];
        const float oddNorthEast = n.southWest.even[i + 1];
        const float oddDiagonal =
            -(between + east + oddNorth + s.odd[i] + oddNorthWest + se.odd[i] + oddNorthEast + sw.odd[i]);
        const float even = evenDiagonal * here.even[i] + between * here.odd[i] + west * here.odd[i - 1] +
                           s.even[i] * below.even[i] + evenNorth * above.even[i] + se.even[i] * below.odd[i] +
                           evenNorthWest * above.odd[i - 1] + sw.even[i] * below.odd[i - 1] +
                           evenNorthEast * above.odd[i];
        const float odd = oddDiagonal * here.odd[i] + east * here.even[i + 1] + between * here.even[i] +
                          s.odd[i] * below.odd[i] + oddNorth * above.odd[i] + se.odd[i] * below.even[i + 1] +
                          oddNorthWest * above.even[i] + sw.odd[i] * below.even[i] +
                          oddNorthEast * above.even[i + 1];
        out.even[i] = even;
        out.odd[i] = odd;
    }
}

// NOLINTEND(misc-definitions-in-headers)

}  // namespace
}  // namespace oravo::vision::detail

#endif
