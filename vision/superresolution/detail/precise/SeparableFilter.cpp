#include "vision/superresolution/detail/precise/SeparableFilter.h"

#include "vision/superresolution/detail/precise/Elementary.h"
namespace oravo::vision::detail::precise {

BlurTaps gaussianTaps(double sigma) {
    double exact[kBlurRadius + 1];
    double sum = 0.0;
    for (int i = 0; i <= kBlurRadius; ++i) {
        exact[i] = exponential(-0.5 * i * i / (sigma * sigma));
        sum += i == 0 ? exact[i] : 2.0 * exact[i];
    }
    BlurTaps taps;
    for (int i = 0; i <= kBlurRadius; ++i) taps.taps[i] = static_cast<float>(exact[i] / sum);
    return taps;
}

BlurTaps splineTaps() {
    BlurTaps taps;
    taps.taps[0] = 4.0f / 6.0f;
    taps.taps[1] = 1.0f / 6.0f;
    return taps;
}

void filterRow(const BlurTaps& taps, const float* const* rows, int n, const PaddedImage& line, float* out) {
    static_assert(PaddedImage::kPad >= kBlurRadius, "rows are read beyond their ends");
    const float* starts[2 * kBlurRadius + 1];
    for (int k = 0; k <= 2 * kBlurRadius; ++k) starts[k] = rows[k] - kBlurRadius;
    preciseKernels().blurDown(taps, starts, n + 2 * kBlurRadius, line.row(0) - kBlurRadius);
    preciseKernels().blurAlong(taps, line.row(0), n, out);
}

PaddedImage filtered(const BlurTaps& taps, const PaddedImage& image, const Threads& threads) {
    image.mirrorPads();
    PaddedImage out(image.columns(), image.rows());
    threads.forRows(image.rows(), [&](int first, int end, int) {
        const PaddedImage line(image.columns(), 1);
        const float* rows[2 * kBlurRadius + 1];
        for (int y = first; y < end; ++y) {
            for (int k = -kBlurRadius; k <= kBlurRadius; ++k)
                rows[k + kBlurRadius] = image.row(mirrored(y + k, image.rows()));
            filterRow(taps, rows, image.columns(), line, out.row(y));
        }
    });
    return out;
}

}  // namespace oravo::vision::detail::precise
