#ifndef ORAVO_VISION_DETAIL_PRECISE_PRECISEKERNELS_H
#define ORAVO_VISION_DETAIL_PRECISE_PRECISEKERNELS_H

#include <cstddef>

#include "vision/superresolution/detail/numerics/InstructionSet.h"

namespace oravo::vision::detail::precise {

/// The hot loops of the precise engine. This header, PreciseKernels.cpp and its parts (SplineRuns.h,
/// SampleAndSpreadRuns.h, PriorRows.h) hold plain data and plain loops only: the source is compiled once per instruction
/// set, and nothing in it may be shared between those copies by the linker.
/// Every value is computed by the same operations in the same order on each of them.

/// A SplineImage: element i of phase p of row y is data[((y & mask) factor + p) pitch + i].
struct SplineView {
    float* data = nullptr;
    std::ptrdiff_t pitch = 0;
    int factor = 1;
    int mask = -1;
};

/// Consecutive pixels of a row of a frame whose 4 x 4 coefficients advance by the factor from one to the next.
struct SampleRun {
    int y = 0;
    int first = 0;
    int count = 0;
    int row = 0;     ///< of the grid, topmost of the four
    int column = 0;  ///< of the grid, leftmost of the first pixel's four
    float fractionX = 0.0f,
          fractionY = 0.0f;  ///< of the first pixel between the middle two of its four, from 0 to 1
    float slopeX = 0.0f, slopeY = 0.0f;  ///< change of the fractions from pixel to pixel
};

constexpr int kBlurRadius = 5;

/// Taps of a symmetric filter: taps[i] for the values at distance i.
struct BlurTaps {
    float taps[kBlurRadius + 1] = {};
};

/// Three consecutive rows; values at columns -1 and n are those at 0 and n - 1.
struct RowTriple {
    const float* above = nullptr;
    const float* here = nullptr;
    const float* below = nullptr;
};

/// Weighted differences of a row of an image: first ones to the right and down, second ones in x, y and across.
struct DifferenceRow {
    float* right = nullptr;
    float* down = nullptr;
    float* xx = nullptr;
    float* yy = nullptr;
    float* xy = nullptr;
};

/// Parameters of the prior's weights, 1 / sqrt(floor + square of the differences), times strength.
struct PriorParameters {
    float first = 0.0f;   ///< strength of first differences
    float second = 0.0f;  ///< strength of second differences
    float floor = 0.0f;   ///< square of the difference below which the prior is quadratic
};

struct PreciseKernels {
    /// out[run.first + i] = the spline image at pixel i of the run.
    void (*sample)(const SplineView&, const SampleRun&, float* out);
    /// The same with the derivatives along the grid's columns and rows.
    void (*sampleGradient)(const SplineView&, const SampleRun&, float* out, float* dx, float* dy);
    /// The adjoint: adds values[run.first + i] to the coefficients, spread by the same weights.
    void (*spread)(const SplineView&, const SampleRun&, const float* values);
    /// Samples a run, multiplies by weights[run.first + i], and adds the products to another image: what a solver does most.
    void (*sampleAndSpread)(const SplineView& from, const SampleRun&, const float* weights,
                            const SplineView& to);
    /// out = taps over 2 kBlurRadius + 1 rows, the middle one rows[kBlurRadius].
    void (*blurDown)(const BlurTaps&, const float* const* rows, int n, float* out);
    /// out = taps along a row that is valid kBlurRadius values beyond both ends.
    void (*blurAlong)(const BlurTaps&, const float* row, int n, float* out);
    /// even[i] = row[2 i], odd[i] = row[2 i + 1].
    void (*split)(const float* row, int n, float* even, float* odd);
    void (*join)(const float* even, const float* odd, int n, float* row);
    /// The prior's weights of a row, 1 / 6 of what they add to the diagonal at most.
    void (*priorWeights)(const RowTriple&, const PriorParameters&, int n, float* first, float* second);
    /// The differences of a row times its weights; right, down, xx, yy and xy also get values at -1 and n.
    void (*differences)(const RowTriple&, const float* first, const float* second, int n,
                        const DifferenceRow& out);
    /// out[i] += their adjoint for the middle row of three.
    void (*gatherDifferences)(const DifferenceRow& above, const DifferenceRow& here,
                              const DifferenceRow& below, int n, float* out);
    double (*dot)(const float* a, const float* b, int n);
    /// sums[k] += sum over i of weights[i] columns[r][i] columns[c][i], k counting r = 0 .. count - 1 and c = 0 .. r: what
    /// normal equations are made of.
    void (*gram)(const float* const* columns, int count, const float* weights, int n, double* sums);
    /// residual = right - image, direction = inverse residual; returns residual . direction
    double (*begin)(const float* right, const float* image, const float* inverse, int n, float* residual,
                    float* direction);
    /// estimate += alpha direction, residual -= alpha image; returns residual . (inverse residual)
    double (*step)(float alpha, const float* direction, const float* image, const float* inverse, int n,
                   float* estimate, float* residual);
    /// direction = inverse residual + beta direction
    void (*turn)(float beta, const float* inverse, const float* residual, int n, float* direction);
};

/// The kernels for an instruction set that the machine has.
const PreciseKernels& preciseKernels(InstructionSet set);

/// Those of instructionSet().
const PreciseKernels& preciseKernels();

}  // namespace oravo::vision::detail::precise

#endif
