#include "vision/superresolution/detail/precise/SmoothnessPrior.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr int kKinds = 5;  ///< of differences
constexpr int kSlots = 3;  ///< rows kept at a time

RowTriple around(const PaddedImage& image, int y) {
    return {image.row(mirrored(y - 1, image.rows())), image.row(y), image.row(mirrored(y + 1, image.rows()))};
}

}  // namespace

SmoothnessPrior::SmoothnessPrior(int columns, int rows, const Threads& threads)
    : threads_(threads), first_(columns, rows), second_(columns, rows) {
    for (int slot = 0; slot < threads.count(); ++slot) scratch_.emplace_back(columns, kKinds * kSlots + 1);
}

void SmoothnessPrior::freeze(const PaddedImage& estimate, double strength) {
    threads_.forRows(estimate.rows(), [&](int first, int end, int) {
        for (int y = first; y < end; ++y) estimate.mirrorRow(y);
    });
    const PriorParameters parameters{static_cast<float>(strength), static_cast<float>(strength),
                                     kFloor * kFloor};
    threads_.forRows(estimate.rows(), [&](int first, int end, int) {
        for (int y = first; y < end; ++y) {
            preciseKernels().priorWeights(around(estimate, y), parameters, estimate.columns(), first_.row(y),
                                          second_.row(y));
        }
    });
}

DifferenceRow SmoothnessPrior::differenceRow(const PaddedImage& scratch, int y) {
    const int base = kKinds * (y % kSlots);
    return {scratch.row(base), scratch.row(base + 1), scratch.row(base + 2), scratch.row(base + 3),
            scratch.row(base + 4)};
}

void SmoothnessPrior::addRow(const PaddedImage& v, int y, int slot, bool fresh, float* out) const {
    const int n = v.columns();
    const int rows = v.rows();
    const PreciseKernels& kernels = preciseKernels();
    const PaddedImage& scratch = scratch_[static_cast<std::size_t>(slot)];
    const auto difference = [&](int row) {
        kernels.differences(around(v, row), first_.row(row), second_.row(row), n,
                            differenceRow(scratch, row));
    };
    if (fresh && y > 0) difference(y - 1);
    if (fresh) difference(y);
    if (y + 1 < rows) difference(y + 1);
    const DifferenceRow here = differenceRow(scratch, y);
    // Beyond the first and last row first and mixed differences vanish, second ones are mirrored.
    float* zeros = scratch.row(kKinds * kSlots);
    DifferenceRow above{zeros, zeros, zeros, here.yy, zeros};
    if (y > 0) above = differenceRow(scratch, y - 1);
    const DifferenceRow below = y + 1 < rows ? differenceRow(scratch, y + 1) : here;
    kernels.gatherDifferences(above, here, below, n, out);
}

void SmoothnessPrior::addDiagonal(int y, float* out) const {
    const float* first = first_.row(y);
    const float* second = second_.row(y);
    // Squares of the differences' coefficients: 2 + 2 of first ones; 6 + 6 of second and 2 * 4 of mixed ones.
    for (int i = 0; i < first_.columns(); ++i) out[i] += 4.0f * first[i] + 20.0f * second[i];
}

}  // namespace oravo::vision::detail::precise
