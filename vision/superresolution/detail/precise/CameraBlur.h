#ifndef ORAVO_VISION_DETAIL_PRECISE_CAMERABLUR_H
#define ORAVO_VISION_DETAIL_PRECISE_CAMERABLUR_H

#include "vision/superresolution/detail/precise/BlurShape.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"
#include "vision/superresolution/detail/precise/SeparableFilter.h"
#include "vision/superresolution/detail/precise/SplineGrid.h"

namespace oravo::vision::detail::precise {

/// The part of the camera's blur that all frames share: between the image and the coefficients of cubic B-splines that
/// frames sample. A spline blurs by itself, with the transfer function sinc^4 (M. Unser, "Splines: a perfect fit for
/// signal and image processing", IEEE Signal Processing Magazine 16(6), 1999); this filter supplies the rest, so that
/// both together are a Gaussian of standard deviation sigma and a box of side b, in pixels of the image, wherever between
/// the pixels of the image a sample lies. Its taps approach exp(-sigma^2 w^2 / 2) sinc(b w / 2) / sinc^4(w / 2) on [-pi, pi]
/// by least squares: for a Gaussian alone within 0.004 of the total response for sigma from 0.65 to 1.8, within 0.1 from
/// 0.3 to 2; with a square within 0.01 for spreads of both from 0.68 to 1.3. At its border the image is mirrored, which keeps the filter its own adjoint.
class CameraBlur {
  public:
    CameraBlur(const Grid& grid, const BlurShape& shape);

    /// The same blur for another thread. (Copies work in the same rows.)
    CameraBlur withRowsOfItsOwn() const;

    /// coefficients = filtered image; fills the image's pads.
    void toCoefficients(const PaddedImage& image, const SplineImage& coefficients) const;
    /// One row of it. The image's pads are filled for the kBlurRadius rows on each side.
    void toRow(const PaddedImage& image, int y, const SplineImage& coefficients) const;

    /// The filter, which is its own adjoint, for one row of an image of the grid.
    /// @param rowAt  returns rows with filled pads, from y - kBlurRadius to y + kBlurRadius where the grid has them
    template <class RowAt>
    void filter(RowAt rowAt, int y, float* out) const {
        const float* rows[2 * kBlurRadius + 1];
        for (int k = -kBlurRadius; k <= kBlurRadius; ++k)
            rows[k + kBlurRadius] = rowAt(mirrored(y + k, grid_.rows()));
        filterRow(taps_, rows, grid_.columns(), line_, out);
    }

    /// A row of coefficients in the order of an image's pixels.
    void joinRow(const SplineImage& coefficients, int y, float* row) const;

    const BlurTaps& taps() const { return taps_; }

  private:
    void splitRow(const float* row, const SplineImage& coefficients, int y) const;

    Grid grid_;
    BlurTaps taps_;
    PaddedImage line_;      ///< for work
    PaddedImage filtered_;  ///< a row
};

}  // namespace oravo::vision::detail::precise

#endif
