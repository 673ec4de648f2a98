#ifndef ORAVO_VISION_DETAIL_NUMERICS_MEANFILTER_H
#define ORAVO_VISION_DETAIL_NUMERICS_MEANFILTER_H

#include <cstddef>

namespace oravo::vision::detail {

/// A row-major image of floats whose rows begin `stride` elements apart.
template <class T>
struct ImageView {
    T* data = nullptr;
    int width = 0;
    int height = 0;
    std::ptrdiff_t stride = 0;

    T* row(int y) const { return data + stride * y; }
};

/// Number of floats of scratch that meanFilter needs.
std::size_t meanFilterScratch(int width, int height);

/// The mean over the window of (2 radius + 1) x (2 radius + 1) pixels around each pixel, cut at the image
/// border and divided by the number of pixels inside. Separable running sums in single precision: a pass
/// along the rows, then one along the columns. source and target have the same size and may be the same
/// image. Throws oravo::Exception when the radius is negative.
void meanFilter(const ImageView<const float>& source, int radius, float* scratch,
                const ImageView<float>& target);

}  // namespace oravo::vision::detail

#endif
