#include "vision/superresolution/detail/precise/CameraBlur.h"

#include "vision/superresolution/detail/precise/Elementary.h"
#include "vision/superresolution/detail/precise/SmallSystem.h"

namespace oravo::vision::detail::precise {
namespace {

/// sin x / x for x up to 2 pi, by sin x = 2 sin(x / 2) cos(x / 2), twice.
double boxResponse(double x) {
    if (!(x > 0.0)) return 1.0;
    const double quarter = sine(0.25 * x), eighth = sine(0.125 * x);
    return (1.0 - 2.0 * quarter * quarter) * (1.0 - 2.0 * eighth * eighth) * quarter / (0.25 * x);
}

/// Least squares over frequencies; low ones count most, so that the sum of the taps and their second moment come out right.
BlurTaps designTaps(const BlurShape& shape) {
    constexpr int kSteps = 4096;
    constexpr double kLowest = 0.01;
    SmallSystem system;
    system.n = kBlurRadius + 1;
    for (int i = 0; i < kSteps; ++i) {
        const double w = kPi * (i + 0.5) / kSteps;
        const double half = sine(0.5 * w);
        const double sinc = half / (0.5 * w);
        const double gaussian = exponential(-0.5 * shape.sigma * shape.sigma * w * w);
        const double response = gaussian * boxResponse(0.5 * shape.box * w) / (sinc * sinc * sinc * sinc);
        const double cosine = 1.0 - 2.0 * half * half;
        // cos (n + 1) w = 2 cos w cos n w - cos (n - 1) w; all but the first count twice.
        double row[SmallSystem::kMost] = {1.0, 2.0 * cosine};
        for (int n = 2; n <= kBlurRadius; ++n) {
            row[n] = 2.0 * cosine * row[n - 1] - (n == 2 ? 2.0 : row[n - 2]);
        }
        const double root = 1.0 / (w * w + kLowest);
        system.add(row, response, root * root);
    }
    system.decompose();
    system.solve(system.right);
    double sum = system.right[0];
    for (int n = 1; n <= kBlurRadius; ++n) sum += 2.0 * system.right[n];
    BlurTaps taps;
    for (int n = 0; n <= kBlurRadius; ++n) taps.taps[n] = static_cast<float>(system.right[n] / sum);
    return taps;
}

}  // namespace

CameraBlur::CameraBlur(const Grid& grid, const BlurShape& shape)
    : grid_(grid), taps_(designTaps(shape)), line_(grid.columns(), 1), filtered_(grid.columns(), 1) {
}

CameraBlur CameraBlur::withRowsOfItsOwn() const {
    CameraBlur blur(*this);
    blur.line_ = PaddedImage(grid_.columns(), 1);
    blur.filtered_ = PaddedImage(grid_.columns(), 1);
    return blur;
}

void CameraBlur::toCoefficients(const PaddedImage& image, const SplineImage& coefficients) const {
    image.mirrorPads();
    for (int y = 0; y < image.rows(); ++y) toRow(image, y, coefficients);
}

void CameraBlur::toRow(const PaddedImage& image, int y, const SplineImage& coefficients) const {
    filter([&image](int row) { return image.row(row); }, y, filtered_.row(0));
    splitRow(filtered_.row(0), coefficients, y);
}

void CameraBlur::splitRow(const float* row, const SplineImage& coefficients, int y) const {
    const int n = grid_.columns();
    if (grid_.factor == 2) {
        preciseKernels().split(row, n, coefficients.row(y, 0), coefficients.row(y, 1));
        return;
    }
    for (int i = 0; i < n; ++i) coefficients.row(y, i % grid_.factor)[i / grid_.factor] = row[i];
}

void CameraBlur::joinRow(const SplineImage& coefficients, int y, float* row) const {
    const int n = grid_.columns();
    if (grid_.factor == 2) {
        preciseKernels().join(coefficients.row(y, 0), coefficients.row(y, 1), n, row);
        return;
    }
    for (int i = 0; i < n; ++i) row[i] = coefficients.row(y, i % grid_.factor)[i / grid_.factor];
}

}  // namespace oravo::vision::detail::precise
