#include "tests/plain/PlainMinimization.h"

#include <algorithm>
#include <cmath>

namespace oravo::plain {
namespace {

float erf(float z) {
    if (z == 0.0f) return 0.0f;
    const float a = 0.1400123f;
    const float exponent = -z * z * (1.2732395f + a * z * z) / (1.0f + a * z * z);
    const double root = std::sqrt(1.0 - std::exp(static_cast<double>(exponent)));
    return static_cast<float>(z < 0.0f ? -root : root);
}

}  // namespace

Vector basePsf(float sigma, float f) {
    const int ks = static_cast<int>(3.0f * f);
    Vector taps(static_cast<std::size_t>(ks), 0.0f);
    const float s = std::sqrt(2.0f) * sigma;
    float sum = 0.0f;
    int j = 0;
    do {
        const float mass = 0.5f * (erf(static_cast<float>(j + 1) / s) - erf(static_cast<float>(j) / s));
        taps.at(static_cast<std::size_t>(ks / 2 + j)) = mass;
        taps.at(static_cast<std::size_t>(ks / 2 - j - 1)) = mass;
        sum = sum + mass + mass;
        ++j;
    } while (f > static_cast<float>(j));
    for (float& tap : taps) tap /= sum;
    return taps;
}

Vector shiftedPsf(const Vector& p, float shift) {
    Vector h(p.size(), 0.0f);
    for (std::size_t i = 0; i < p.size(); ++i) {
        if (shift < 0.0f && i > 0) h[i] = (-shift) * p[i - 1] + (1.0f + shift) * p[i];
        if (shift >= 0.0f && i + 1 < p.size()) h[i] = shift * p[i + 1] + (1.0f - shift) * p[i];
    }
    return h;
}

void TotalVariation::freeze(const Vector& x, float weightTV, float epsilon) {
    const float rootHalf = 1.0f / std::sqrt(2.0f);
    const auto at = [this](int row, int col) { return static_cast<std::size_t>(row * width + col); };
    const auto w = [&](float t) {
        const float u = std::abs(t);
        const float clamped =
            epsilon < u && u < 1.0f / epsilon ? u : (u <= epsilon ? epsilon : 1.0f / epsilon);
        return (-1.0f / weightTV) / clamped;
    };
    for (Vector* links : {&east, &south, &southWest, &southEast, &diagonal}) links->assign(x.size(), 0.0f);
    for (int r = 0; r < height; ++r) {
        for (int c = 0; c < width; ++c) {
            const std::size_t i = at(r, c);
            const bool left = c == 0, right = c == width - 1, bottom = r == height - 1;
            if (!right) east[i] = w(x[at(r, c + 1)] - x[i]);
            if (!bottom) south[i] = w(x[at(r + 1, c)] - x[i]);
            if (!bottom && !right) southEast[i] = 0.5f * w((x[at(r + 1, c + 1)] - x[i]) * rootHalf);
            if (!bottom && !left) southWest[i] = 0.5f * w((x[at(r + 1, c - 1)] - x[i]) * rootHalf);
        }
    }
    if (firstFromSecond) {
        east[0] = w(x[2] - x[1]);
        south[0] = w(x[at(1, 1)] - x[1]);
        southEast[0] = 0.5f * w((x[at(1, 2)] - x[1]) * rootHalf);
    }
    for (int r = 0; r < height; ++r) {
        for (int c = 0; c < width; ++c) {
            const std::size_t i = at(r, c);
            float sum = 0.0f;
            if (c > 0) sum += east[i - 1];
            sum += east[i];
            if (r > 0) sum += south[at(r - 1, c)];
            sum += south[i];
            if (r > 0 && c > 0) sum += southEast[at(r - 1, c - 1)];
            sum += southEast[i];
            if (r > 0 && c < width - 1) sum += southWest[at(r - 1, c + 1)];
            sum += southWest[i];
            diagonal[i] = -sum;
        }
    }
}

void TotalVariation::apply(const Vector& v, Vector& out) const {
    const int n = width * height;
    const auto term = [&](const Vector& weights, int weight, int neighbour) {
        if (weight < 0 || neighbour < 0 || neighbour >= n) return 0.0f;
        return weights[static_cast<std::size_t>(weight)] * v[static_cast<std::size_t>(neighbour)];
    };
    for (int i = 0; i < n; ++i) {
        float sum = term(diagonal, i, i);
        sum += term(east, i, i + 1);
        sum += term(east, i - 1, i - 1);
        sum += term(south, i, i + width);
        sum += term(south, i - width, i - width);
        sum += term(southEast, i, i + width + 1);
        sum += term(southEast, i - width - 1, i - width - 1);
        sum += term(southWest, i, i + width - 1);
        sum += term(southWest, i - width + 1, i - width + 1);
        out[static_cast<std::size_t>(i)] = sum;
    }
}

Minimization::Minimization(int lw, int lh, float f, bool reference)
    : convolution{static_cast<int>(static_cast<float>(lw) * f),
                  static_cast<int>(static_cast<float>(lh) * f),
                  static_cast<int>(3.0f * f),
                  static_cast<int>(3.0f * f),
                  f,
                  reference},
      totalVariation(convolution.extendedWidth(), convolution.extendedHeight()),
      lw_(lw),
      lh_(lh),
      ks_(convolution.kw),
      f_(f),
      reference_(reference),
      n_(static_cast<std::size_t>(convolution.extendedWidth() * convolution.extendedHeight())) {
    totalVariation.firstFromSecond = reference;
}

double Minimization::dot(const Vector& a, const Vector& b) const {
    double sum = 0.0;
    if (!reference_) {
        for (std::size_t i = 0; i < a.size(); ++i)
            sum += static_cast<double>(a[i]) * static_cast<double>(b[i]);
        return sum;
    }
    // Each product and each addition is off by at most 2^-24 of its own result.
    float single = 0.0f;
    double magnitudes = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        single += a[i] * b[i];
        magnitudes += static_cast<double>(std::abs(a[i] * b[i]) + std::abs(single));
    }
    sumError = std::max(sumError, std::ldexp(magnitudes, -24) / std::abs(static_cast<double>(single)));
    return static_cast<double>(single);
}

void Minimization::generatePsfs(int nFrames, const cv::Point_<float>* shifts) {
    const Vector base = basePsf(psfSigma, f_);
    h_.clear();
    v_.clear();
    for (int k = 0; k < nFrames; ++k) {
        h_.push_back(shiftedPsf(base, f_ * shifts[k].x));
        v_.push_back(shiftedPsf(base, f_ * shifts[k].y));
    }
}

void Minimization::gradient(const Vector& v, int nFrames, const char* const* masks, Vector& out) {
    Vector low(static_cast<std::size_t>(lw_ * lh_)), scratch(n_);
    totalVariation.apply(v, out);
    for (std::size_t k = 0; k < static_cast<std::size_t>(nFrames); ++k) {
        convolution.validCorrToSparse(v.data(), h_[k].data(), v_[k].data(), low.data());
        convolution.fullConvFromSparse(low.data(), h_[k].data(), v_[k].data(), masks[k], scratch.data());
        for (std::size_t i = 0; i < n_; ++i) out[i] += scratch[i];
    }
}

int Minimization::minimize(int nFrames, int refIndex, float* const* frames, const cv::Point_<float>* shifts,
                           const char* const* masks, float* out) {
    const int pixels = lw_ * lh_;
    const Vector ones(static_cast<std::size_t>(pixels), 1.0f);
    Vector deviations(frames[refIndex], frames[refIndex] + pixels);
    const float m = static_cast<float>(dot(deviations, ones) / pixels);
    for (float& value : deviations) value -= m;
    const double squares = dot(deviations, deviations);
    const float s = std::sqrt(static_cast<float>(squares / pixels));
    for (int k = 0; k < nFrames; ++k) {
        for (int i = 0; i < pixels; ++i) frames[k][i] = (frames[k][i] - m) / s;
    }
    generatePsfs(nFrames, shifts);
    Vector scratch(n_);
    b_.assign(n_, 0.0f);
    for (std::size_t k = 0; k < static_cast<std::size_t>(nFrames); ++k) {
        convolution.fullConvFromSparse(frames[k], h_[k].data(), v_[k].data(), masks[k], scratch.data());
        for (std::size_t i = 0; i < n_; ++i) b_[i] += scratch[i];
    }
    inverseNorm_ = static_cast<float>(1.0 / dot(b_, b_));
    x_ = b_;
    int total = 0;
    for (int restart = 0; restart < maxIter; ++restart) {
        const int n = conjugateGradients(nFrames, masks, maxIter - total);
        total += n;
        if (n == 0) break;
    }
    const int c0 = (ks_ - 1) / 2;
    for (int r = 0; r < convolution.H; ++r) {
        for (int c = 0; c < convolution.W; ++c) {
            const int i = (r + c0) * convolution.extendedWidth() + c + c0;
            out[r * convolution.W + c] = s * x_[static_cast<std::size_t>(i)] + m;
        }
    }
    return total;
}

int Minimization::conjugateGradients(int nFrames, const char* const* masks, int budget) {
    totalVariation.freeze(x_, weightTV, epsilon);
    r_.resize(n_);
    gradient(x_, nFrames, masks, r_);
    for (std::size_t i = 0; i < n_; ++i) r_[i] = b_[i] - r_[i];
    d_ = r_;
    rr_ = static_cast<float>(dot(r_, r_));
    if (relRes * relRes > rr_ * inverseNorm_) return 0;
    for (int it = 0; it < budget; ++it) {
        if (iteration(nFrames, masks)) return it + 1;
    }
    return budget;
}

bool Minimization::iteration(int nFrames, const char* const* masks) {
    q_.resize(n_);
    gradient(d_, nFrames, masks, q_);
    const float alpha = static_cast<float>(static_cast<double>(rr_) / dot(d_, q_));
    for (std::size_t i = 0; i < n_; ++i) x_[i] += alpha * d_[i];
    for (std::size_t i = 0; i < n_; ++i) r_[i] -= alpha * q_[i];
    const double rrNew = dot(r_, r_);
    const double share = rrNew * static_cast<double>(inverseNorm_);
    const double rounded = reference_ ? static_cast<double>(static_cast<float>(share)) : share;
    if (static_cast<double>(relRes * relRes) > rounded) return true;
    const float beta = static_cast<float>(rrNew / static_cast<double>(rr_));
    for (std::size_t i = 0; i < n_; ++i) d_[i] = beta * d_[i] + r_[i];
    rr_ = static_cast<float>(rrNew);
    return false;
}

}  // namespace oravo::plain
