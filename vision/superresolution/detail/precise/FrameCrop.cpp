#include "vision/superresolution/detail/precise/FrameCrop.h"

#include <algorithm>
#include <cmath>

namespace oravo::vision::detail::precise {
namespace {

// A part that grows slowly with the frames: more pixels improve the choice of the prior's weight less and less, at the same
// cost each.
constexpr double kFewestPixels = 20000.0;
constexpr double kShare = 0.1;
constexpr int kPlaces = 3;  ///< along each side

double structure(const PaddedImage& image) {
    double sum = 0.0;
    for (int y = 1; y < image.rows(); ++y) {
        for (int x = 1; x < image.columns(); ++x) {
            sum += std::abs(image.row(y)[x] - image.row(y)[x - 1]) +
                   std::abs(image.row(y)[x] - image.row(y - 1)[x]);
        }
    }
    return sum;
}

}  // namespace

Grid croppedGrid(const Grid& whole) {
    const double pixels = static_cast<double>(whole.width) * whole.height;
    const double enough = kFewestPixels + kShare * pixels;
    if (pixels <= enough) return whole;
    const double share = std::sqrt(enough / pixels);
    Grid part = whole;
    part.width = std::max(8, static_cast<int>(share * whole.width));
    part.height = std::max(8, static_cast<int>(share * whole.height));
    return part;
}

FrameCrop busiestCrop(const Grid& whole, const PaddedImage& image) {
    FrameCrop best{whole, croppedGrid(whole), 0, 0};
    if (best.part.width == whole.width && best.part.height == whole.height) return best;
    double most = -1.0;
    for (int j = 0; j < kPlaces; ++j) {
        for (int i = 0; i < kPlaces; ++i) {
            FrameCrop crop = best;
            crop.left = i * (whole.width - crop.part.width) / (kPlaces - 1);
            crop.top = j * (whole.height - crop.part.height) / (kPlaces - 1);
            const double found = structure(crop.of(image));
            if (found > most) {
                most = found;
                best = crop;
            }
        }
    }
    return best;
}

Buffer<float> FrameCrop::of(const Buffer<float>& dense) const {
    if (dense.size() == 0) return {};
    Buffer<float> out(static_cast<std::size_t>(part.width) * static_cast<std::size_t>(part.height));
    for (int y = 0; y < part.height; ++y) {
        std::copy_n(dense.data() + static_cast<std::ptrdiff_t>(y + top) * whole.width + left, part.width,
                    out.data() + static_cast<std::ptrdiff_t>(y) * part.width);
    }
    return out;
}

PaddedImage FrameCrop::of(const PaddedImage& image) const {
    PaddedImage out(part.columns(), part.rows());
    for (int y = 0; y < part.rows(); ++y) {
        std::copy_n(image.row(y + part.factor * top) + part.factor * left, part.columns(), out.row(y));
    }
    return out;
}

FrameState FrameCrop::of(const FrameState& frame) const {
    FrameState out = frame;
    out.values = of(frame.values);
    out.present = of(frame.present);
    out.agreement = of(frame.agreement);
    out.weight = of(frame.weight);
    out.misfit = of(frame.misfit);
    out.slope = of(frame.slope);
    out.inside = of(frame.inside);
    // q and p are measured from the centre, which moves by (dx, dy): p = q + t + A q with q + d in place of q.
    const double dx = left + 0.5 * (part.width - whole.width);
    const double dy = top + 0.5 * (part.height - whole.height);
    out.motion.tx = frame.motion.x(dx, dy) - dx;
    out.motion.ty = frame.motion.y(dx, dy) - dy;
    out.runs = sampleRuns(part, out.motion);
    return out;
}

}  // namespace oravo::vision::detail::precise
