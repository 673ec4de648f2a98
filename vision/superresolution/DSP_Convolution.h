#ifndef ORAVO_VISION_DSP_CONVOLUTION_H
#define ORAVO_VISION_DSP_CONVOLUTION_H

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/solver/SparseOperators.h"

namespace oravo::vision {

/// The operators of SrFloatConvolution in integers, for fixed-point signal processors. T is short or int.
///
/// Sizes and sampling are SrFloatConvolution's: an extended image of H + kh - 1 rows of W + kw - 1 columns,
/// lh = trunc(H / f) by lw = trunc(W / f) samples at every 2nd row and every trunc(f)-th column. Images are
/// dense and row-major; masks are one signed byte per pixel, which multiplies its sample. Stored values and
/// running sums wrap modulo 2^(bits of T) unless said otherwise; single products do not overflow.
///
/// Callers own every array passed in; inputs are not written; outputs may not overlap inputs. Copies of an
/// object share its scratch images, which are freed with the last of them, so only one may work at a time.
template <class T>
class ORAVO_EXPORT DSP_Convolution {
  public:
    /// @param W,H    size of the high-resolution image without extension
    /// @param kw,kh  taps of the horizontal and of the vertical kernel, at least 1
    /// @param f      super-resolution factor, at least 1
    /// Throws oravo::Exception, naming the value, for invalid sizes.
    DSP_Convolution(T W, T H, T kw, T kh, float f);

    /// The divisor of every product in validCorrToSparse; 0 at first, to be set before the first call.
    void setFilterScale(T scale);

    /// out = valid correlation sampled on the sparse grid: horizontally T += (in h[k]) / scale, then
    /// vertically out += (T v[k]) / scale, divisions truncating toward zero.
    /// @param in   (H + kh - 1) x (W + kw - 1)
    /// @param horizontalKernel,verticalKernel  kw and kh taps, in units of 1 / scale
    /// @param out  lh x lw, overwritten
    /// Throws oravo::Exception while the filter scale is 0.
    void validCorrToSparse(const T* in, const T* horizontalKernel, const T* verticalKernel, T* out);

    /// out = full convolution of the masked, zero-inserted samples with kernels in Q15 (1 is 2^15).
    ///
    /// Only every 2nd of the 6 taps meets a sample, so each of the four parities of an output pixel is a 3 x
    /// 3 convolution of the samples. Its coefficients are Q15 products of taps, truncated toward zero, and
    /// each one is printed to standard output in two lines of diagnostics. The nine products of coefficient
    /// and sample are summed and divided by 2^15, rounding down:
    ///   short   the sum wraps to 16 bits before, which leaves 0 or -1
    ///   int     the sum wraps to 32 bits before; the quotient saturates to [-32768, 32767]
    /// While no sum, product or coefficient wraps, the result P and the exact convolution R (also clamped, for int) keep to
    ///   -1 - s <= P - R <= s,  s = (sum of |sample| under the nine coefficients) / 2^15
    /// since a coefficient is off by less than one unit, and the quotient by less than one. Rows and columns
    /// that no sample reaches are 0.
    /// @param lowRes,mask  lh x lw
    /// @param horizontalKernel,verticalKernel  6 taps each, Q15
    /// @param out          (H + 5) x (W + 5), overwritten
    /// Throws oravo::Exception unless trunc(f) is 2 and both kernels have 6 taps, and for lw above 32763,
    /// whose rows the 16-bit stride of the 3 x 3 kernel cannot span.
    void fullConvFromSparse(const T* lowRes, const T* horizontalKernel, const T* verticalKernel,
                            const char* mask, T* out);

  private:
    static void ImgConv3x3I16sC16s(const T* in, T* out, short count, short stride, const T* kernel,
                                   short shift);
    void fillBordered(const T* lowRes, const char* mask);

    detail::SparseGrid grid_;
    detail::Buffer<T> intermediate_;
    detail::Buffer<T> bordered_;  ///< the masked samples within a border of two zeros
    detail::Buffer<T> phaseRow_;  ///< one row of outputs of one parity
    T filterScale_ = 0;
};

extern template class DSP_Convolution<short>;
extern template class DSP_Convolution<int>;

}  // namespace oravo::vision

#endif
