#include "tests/plain/PlainPrecise.h"

#include <cmath>

#include "vision/superresolution/detail/numerics/LaneSum.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"

namespace oravo::plain {
namespace {

using vision::detail::precise::kBlurRadius;
using vision::detail::precise::mirrored;

constexpr int kRestart = 64;  ///< pixels after which a run's fractions are computed anew

struct Weights {
    float at[4], slope[4];
};

/// The cubic B-spline's pieces at the four coefficients around fraction t, and their derivatives.
Weights weightsAt(float fraction, float slope, int i) {
    const int start = i / kRestart * kRestart;
    const float t = (fraction + slope * static_cast<float>(start)) + slope * static_cast<float>(i - start),
                s = 1.0f - t;
    constexpr float kSixth = 1.0f / 6.0f;
    return {{s * s * s * kSixth, (4.0f - 6.0f * (t * t) + 3.0f * (t * t) * t) * kSixth,
             (4.0f - 6.0f * (s * s) + 3.0f * (s * s) * s) * kSixth, t * t * t * kSixth},
            {-0.5f * s * s, 0.5f * t * (3.0f * t - 4.0f), -0.5f * s * (3.0f * s - 4.0f), 0.5f * t * t}};
}

float along(const Plane& c, int row, int column, const float* w) {
    return w[0] * c(row, column) + w[1] * c(row, column + 1) + w[2] * c(row, column + 2) +
           w[3] * c(row, column + 3);
}

/// The differences of an image at one pixel.
struct Differences {
    Differences(const Plane& v, int y, int x) {
        const auto at = [&v](int j, int i) { return v(mirrored(j, v.rows), mirrored(i, v.cols)); };
        const float here = at(y, x);
        right = at(y, x + 1) - here;
        down = at(y + 1, x) - here;
        xx = at(y, x - 1) - 2.0f * here + at(y, x + 1);
        yy = at(y - 1, x) - 2.0f * here + at(y + 1, x);
        xy = here - at(y, x + 1) - at(y + 1, x) + at(y + 1, x + 1);
    }
    float right, down, xx, yy, xy;
};

}  // namespace

SplineValue sampleSpline(const Plane& coefficients, int factor, const SampleRun& run, int i) {
    const Weights x = weightsAt(run.fractionX, run.slopeX, i), y = weightsAt(run.fractionY, run.slopeY, i);
    SplineValue sum;
    for (int r = 0; r < 4; ++r) {
        const int row = run.row + r, column = run.column + factor * i;
        sum.value += y.at[r] * along(coefficients, row, column, x.at);
        sum.dx += y.at[r] * along(coefficients, row, column, x.slope);
        sum.dy += y.slope[r] * along(coefficients, row, column, x.at);
    }
    return sum;
}

void spreadSpline(Plane& coefficients, int factor, const SampleRun& run, const float* values) {
    for (int start = 0; start < run.count; start += kRestart) {
        for (int r = 0; r < 4; ++r) {
            for (int c = 0; c < 4; ++c) {
                for (int i = start; i < std::min(run.count, start + kRestart); ++i) {
                    const Weights x = weightsAt(run.fractionX, run.slopeX, i),
                                  y = weightsAt(run.fractionY, run.slopeY, i);
                    coefficients(run.row + r, run.column + factor * i + c) +=
                        x.at[c] * (y.at[r] * values[run.first + i]);
                }
            }
        }
    }
}

void sampleAndSpread(const Plane& from, int factor, const SampleRun& run, const float* weights, Plane& to) {
    const bool still = factor == 2 && run.slopeX == 0.0f && run.slopeY == 0.0f;
    std::vector<float> products(static_cast<std::size_t>(run.first + run.count));
    float* product = products.data() + run.first;
    for (int i = 0; i < run.count; ++i) {
        const Weights x = weightsAt(run.fractionX, run.slopeX, i),
                      y = weightsAt(run.fractionY, run.slopeY, i);
        const int column = run.column + factor * i;
        float value = sampleSpline(from, factor, run, i).value;
        if (still) {
            const auto down = [&](int c) {
                return y.at[0] * from(run.row, column + c) + y.at[1] * from(run.row + 1, column + c) +
                       y.at[2] * from(run.row + 2, column + c) + y.at[3] * from(run.row + 3, column + c);
            };
            value = x.at[0] * down(0) + x.at[1] * down(1) + x.at[2] * down(2) + x.at[3] * down(3);
        }
        product[i] = weights[run.first + i] * value;
    }
    if (factor != 2) return spreadSpline(to, factor, run, products.data());
    const int block = still ? 512 : kRestart;
    for (int start = 0; start < run.count; start += block) {
        const int end = std::min(run.count, start + block);
        const auto part = [&](int i, int r, int c) {
            if (i < start || i >= end) return 0.0f;
            const float along = weightsAt(run.fractionX, run.slopeX, i).at[c] * product[i];
            return still ? along : weightsAt(run.fractionY, run.slopeY, i).at[r] * along;
        };
        for (int i = start; i <= end; ++i) {
            for (int r = 0; r < 4; ++r) {
                for (int c = 0; c < 2; ++c) {
                    const float sum = part(i, r, c) + part(i - 1, r, c + 2);
                    const float down = weightsAt(run.fractionY, 0.0f, 0).at[r];
                    to(run.row + r, run.column + 2 * i + c) += still ? down * sum : sum;
                }
            }
        }
    }
}

Plane blurred(const Plane& image, const BlurTaps& taps, bool alongRows) {
    Plane out(image.size());
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            const auto at = [&](int k) {
                return alongRows ? image(y, mirrored(x + k, image.cols))
                                 : image(mirrored(y + k, image.rows), x);
            };
            float sum = taps.taps[0] * at(0);
            for (int k = 1; k <= kBlurRadius; ++k) sum += taps.taps[k] * (at(-k) + at(k));
            out(y, x) = sum;
        }
    }
    return out;
}

SmoothnessPrior::SmoothnessPrior(const Plane& estimate, const PriorParameters& parameters)
    : first(estimate.size()), second(estimate.size()) {
    for (int y = 0; y < estimate.rows; ++y) {
        for (int x = 0; x < estimate.cols; ++x) {
            const Differences d(estimate, y, x);
            first(y, x) =
                parameters.first / std::sqrt(parameters.floor + d.right * d.right + d.down * d.down);
            second(y, x) = parameters.second /
                           std::sqrt(parameters.floor + d.xx * d.xx + d.yy * d.yy + 2.0f * d.xy * d.xy);
        }
    }
}

void SmoothnessPrior::addProduct(const Plane& v, Plane& out) const {
    // Each weighted difference goes back to the pixels that it was taken of; beyond the border first and diagonal ones
    // vanish, and second ones are mirrored, as the pixels are.
    const auto weighted = [&](int y, int x) {
        Differences d(v, mirrored(y, v.rows), mirrored(x, v.cols));
        const float w1 = first(mirrored(y, v.rows), mirrored(x, v.cols)),
                    w2 = second(mirrored(y, v.rows), mirrored(x, v.cols));
        const bool beyond = x < 0 || y < 0;
        d.right = beyond ? 0.0f : w1 * d.right;
        d.down = beyond ? 0.0f : w1 * d.down;
        d.xx = w2 * d.xx;
        d.yy = w2 * d.yy;
        d.xy = beyond ? 0.0f : 2.0f * w2 * d.xy;
        return d;
    };
    for (int y = 0; y < v.rows; ++y) {
        for (int x = 0; x < v.cols; ++x) {
            const Differences here = weighted(y, x), left = weighted(y, x - 1), above = weighted(y - 1, x);
            const Differences right = weighted(y, x + 1), below = weighted(y + 1, x),
                              corner = weighted(y - 1, x - 1);
            const float slopes = (left.right - here.right) + (above.down - here.down);
            const float bends =
                (left.xx - 2.0f * here.xx + right.xx) + (above.yy - 2.0f * here.yy + below.yy);
            out(y, x) += slopes + bends + ((here.xy - left.xy) - (above.xy - corner.xy));
        }
    }
}

double laneDot(const std::vector<float>& a, const std::vector<float>& b) {
    vision::detail::LaneSum sum;
    sum.add(static_cast<std::ptrdiff_t>(a.size()), [&](std::ptrdiff_t i) {
        return static_cast<double>(a[static_cast<std::size_t>(i)]) *
               static_cast<double>(b[static_cast<std::size_t>(i)]);
    });
    return sum.total();
}

}  // namespace oravo::plain
