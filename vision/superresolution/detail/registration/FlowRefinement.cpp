#include "vision/superresolution/detail/registration/FlowRefinement.h"

#include <algorithm>
#include <limits>

#include "vision/superresolution/detail/numerics/MeanFilter.h"
#include "vision/superresolution/detail/numerics/Reductions.h"

namespace oravo::vision::detail {
namespace {

/// Central differences within the line, one-sided ones at its two ends, 0 where there is no neighbour at all.
/// `previous` and `next` lie one step before and after the pixels; at the ends one of them is the pixel
/// itself.
void differences(const float* previous, const float* next, float factor, int count, float* out) {
    for (int i = 0; i < count; ++i) out[i] = (next[i] - previous[i]) * factor;
}

}  // namespace

FlowRefinement::FlowRefinement(FrameSize size)
    : size_(size), gradX_(size.elements()), gradY_(size.elements()), work_(size) {
}

FlowRefinement::Work::Work(FrameSize size)
    : error(size.elements()),
      smoothedError(size.elements()),
      filterScratch(meanFilterScratch(size.width, size.height)) {
}

void FlowRefinement::setReference(const float* reference) {
    const int width = size_.width;
    const int height = size_.height;
    for (int y = 0; y < height; ++y) {
        const auto row = [&](int r) { return reference + static_cast<std::ptrdiff_t>(r) * width; };
        float* gradX = gradX_.data() + static_cast<std::ptrdiff_t>(y) * width;
        float* gradY = gradY_.data() + static_cast<std::ptrdiff_t>(y) * width;

        const bool inside = y > 0 && y + 1 < height;
        differences(row(std::max(y - 1, 0)), row(std::min(y + 1, height - 1)), inside ? 0.5f : 1.0f, width,
                    gradY);

        const float* pixels = row(y);
        const int last = width - 1;
        if (last < 0) continue;
        differences(pixels, pixels + std::min(1, last), 1.0f, 1, gradX);
        if (last > 1) differences(pixels, pixels + 2, 0.5f, width - 2, gradX + 1);
        differences(pixels + std::max(last - 1, 0), pixels + last, 1.0f, 1, gradX + last);
    }
    const NormalMatrix sums = gradientSums(0, 0, width, height);
    sumGxx_ = static_cast<float>(sums.xx);
    sumGxy_ = static_cast<float>(sums.xy);
    sumGyy_ = static_cast<float>(sums.yy);
}

FlowRefinement::NormalMatrix FlowRefinement::gradientSums(int x, int y, int width, int height) const {
    LaneSum xx;
    LaneSum xy;
    LaneSum yy;
    for (int r = y; r < y + height; ++r) {
        const float* gx = gradX_.data() + static_cast<std::ptrdiff_t>(r) * size_.width + x;
        const float* gy = gradY_.data() + static_cast<std::ptrdiff_t>(r) * size_.width + x;
        xx.add(width, [gx](std::ptrdiff_t i) { return static_cast<double>(gx[i] * gx[i]); });
        xy.add(width, [gx, gy](std::ptrdiff_t i) { return static_cast<double>(gx[i] * gy[i]); });
        yy.add(width, [gy](std::ptrdiff_t i) { return static_cast<double>(gy[i] * gy[i]); });
    }
    return {xx.total(), xy.total(), yy.total()};
}

/// Everything but the overlap: the rows above or below it in full width, and the columns beside it.
FlowRefinement::NormalMatrix FlowRefinement::outside(const Overlap& overlap) const {
    const int rowsOutside = size_.height - overlap.height;
    const int columnsOutside = size_.width - overlap.width;
    const NormalMatrix rows = gradientSums(0, overlap.y > 0 ? 0 : overlap.height, size_.width, rowsOutside);
    const NormalMatrix columns =
        gradientSums(overlap.x > 0 ? 0 : overlap.width, overlap.y, columnsOutside, overlap.height);
    return {rows.xx + columns.xx, rows.xy + columns.xy, rows.yy + columns.yy};
}

/// What lies outside the overlap carries the threshold itself into the mean filter, so that pixels near the
/// border are marked valid less easily.
void FlowRefinement::fillErrorOutside(const Overlap& overlap, const Work& work) const {
    for (int y = 0; y < size_.height; ++y) {
        float* row = work.error.data() + static_cast<std::ptrdiff_t>(y) * size_.width;
        if (y < overlap.y || y >= overlap.y + overlap.height) {
            std::fill_n(row, size_.width, regError);
        } else {
            std::fill_n(row, overlap.x, regError);
            std::fill(row + overlap.x + overlap.width, row + size_.width, regError);
        }
    }
}

cv::Point_<float> FlowRefinement::refineShift(const float* reference, const float* frame,
                                              cv::Point_<int> shift, const Work& work) const {
    const Overlap overlap(size_, shift.x, shift.y);
    if (overlap.empty()) {
        constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
        return {kNone, kNone};
    }
    const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(shift.y) * size_.width + shift.x;
    LaneSum sumX;
    LaneSum sumY;
    for (int y = overlap.y; y < overlap.y + overlap.height; ++y) {
        const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(y) * size_.width + overlap.x;
        const float* R = reference + row;
        const float* F = frame + row + offset;
        const float* gx = gradX_.data() + row;
        const float* gy = gradY_.data() + row;
        sumX.add(overlap.width, [=](std::ptrdiff_t i) { return static_cast<double>((F[i] - R[i]) * gx[i]); });
        sumY.add(overlap.width, [=](std::ptrdiff_t i) { return static_cast<double>((F[i] - R[i]) * gy[i]); });
    }
    const double bX = sumX.total();
    const double bY = sumY.total();

    const NormalMatrix cut = outside(overlap);
    const double a11 = sumGxx_ - cut.xx;
    const double a12 = sumGxy_ - cut.xy;
    const double a22 = sumGyy_ - cut.yy;
    const double determinant = a22 * a11 - a12 * a12;
    const auto u = static_cast<float>((a12 * bY - a22 * bX) / determinant);
    const auto v = static_cast<float>((a12 * bX - a11 * bY) / determinant);

    fillErrorOutside(overlap, work);
    computeError(reference, frame, overlap, offset, u, v, static_cast<float>(1.0 / (a22 + a11)), work);
    const std::ptrdiff_t stride = size_.width;
    meanFilter({work.error.data(), size_.width, size_.height, stride}, regErrBlurRadius,
               work.filterScratch.data(), {work.smoothedError.data(), size_.width, size_.height, stride});
    return {static_cast<float>(shift.x) + u, static_cast<float>(shift.y) + v};
}

void FlowRefinement::computeError(const float* reference, const float* frame, const Overlap& overlap,
                                  std::ptrdiff_t offset, float u, float v, float scale,
                                  const Work& work) const {
    for (int y = overlap.y; y < overlap.y + overlap.height; ++y) {
        const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(y) * size_.width + overlap.x;
        const float* __restrict R = reference + row;
        const float* __restrict F = frame + row + offset;
        const float* __restrict gx = gradX_.data() + row;
        const float* __restrict gy = gradY_.data() + row;
        float* __restrict error = work.error.data() + row;
        for (int i = 0; i < overlap.width; ++i) {
            const float residual = gy[i] * v + u * gx[i] + F[i] - R[i];
            error[i] = residual * residual * scale;
        }
    }
}

}  // namespace oravo::vision::detail
