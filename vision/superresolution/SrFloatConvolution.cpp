#include "vision/superresolution/SrFloatConvolution.h"

#include "vision/superresolution/detail/numerics/MeanFilter.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/SrFloatConvolution";
constexpr char kConstructor[] = "oravo::vision::SrFloatConvolution::SrFloatConvolution";

}  // namespace

SrFloatConvolution::SrFloatConvolution(int W, int H, int kw, int kh, float f)
    : grid_(detail::fixedRowGrid(W, H, kw, kh, f, {kSource, __LINE__, kConstructor})),
      intermediate_(static_cast<std::size_t>(grid_.extendedHeight) * static_cast<std::size_t>(W)) {
}

void SrFloatConvolution::fullConvFromSparse(const float* lowRes, const float* horizontalKernel,
                                            const float* verticalKernel, const char* mask, float* out) {
    detail::fullConvFromSparse(grid_, lowRes, horizontalKernel, verticalKernel, mask, intermediate_.data(),
                               out);
}

void SrFloatConvolution::validCorrToSparse(const float* in, const float* horizontalKernel,
                                           const float* verticalKernel, float* out) {
    detail::validCorrToSparse(grid_, in, horizontalKernel, verticalKernel, intermediate_.data(), out);
}

void SrFloatConvolution::blurImageMeanFilter(const cv::Mat_<float>& src, int radius, cv::Mat_<float>& dst) {
    const cv::Mat_<float> source = src;  // keeps the pixels when dst is src and has to be recreated
    dst.create(source.rows, source.cols);
    const detail::Buffer<float> scratch(detail::meanFilterScratch(source.cols, source.rows));
    const auto stride = [](const cv::Mat& m) { return static_cast<std::ptrdiff_t>(m.step / sizeof(float)); };
    detail::meanFilter({source.ptr<float>(), source.cols, source.rows, stride(source)}, radius,
                       scratch.data(), {dst.ptr<float>(), dst.cols, dst.rows, stride(dst)});
}

}  // namespace oravo::vision
