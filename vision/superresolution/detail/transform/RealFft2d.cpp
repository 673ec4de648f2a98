#include "vision/superresolution/detail/transform/RealFft2d.h"

#include <algorithm>
#include <string>

#include "vision/superresolution/detail/transform/FftKernels.h"

namespace oravo::vision::detail {

using fft_kernels::kLanes;

FrameSize checkedTransformSize(int width, int height, const CodeLocation& where) {
    const FrameSize size = checkedSize(width, height, where);
    if (width < 1 || height < 1 || width % 2 != 0) {
        raise(ErrorKind::badArgument,
              "Invalid image size " + std::to_string(width) + " x " + std::to_string(height) +
                  " specified, the Fourier transform needs an even width and at least one row.",
              where);
    }
    return size;
}

RealFft2d::RealFft2d(FrameSize size)
    : size_(size),
      rowPlan_(size.width),
      columnPlan_(size.height),
      spectrum_(static_cast<std::size_t>(spectrumWidth()) * static_cast<std::size_t>(size.height)),
      block_(2 * kLanes * static_cast<std::size_t>(std::max(size.width / 2, size.height))),
      bins_(2 * kLanes * static_cast<std::size_t>(size.width / 2)),
      scratch_(std::max(rowPlan_.half().scratchSize(kLanes), columnPlan_.scratchSize(kLanes))) {
}

void RealFft2d::forward(const float* image, std::complex<float>* spectrum) const {
    const fft_kernels::BlockMemory memory{block_.data(), bins_.data(), scratch_.data()};
    fft_kernels::forwardRows(rowPlan_, size_.height, image, spectrum, memory);
    fft_kernels::transformColumns<true>(columnPlan_, spectrumWidth(), spectrum, spectrum, memory);
}

void RealFft2d::backward(const std::complex<float>* spectrum, float* image) const {
    const fft_kernels::BlockMemory memory{block_.data(), bins_.data(), scratch_.data()};
    fft_kernels::transformColumns<false>(columnPlan_, spectrumWidth(), spectrum, spectrum_.data(), memory);
    fft_kernels::backwardRows(rowPlan_, size_.height, spectrum_.data(), image, memory);
}

}  // namespace oravo::vision::detail
