#include "tools/measure/EdgeProfile.h"

#include <cmath>

namespace oravo::tools {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kNarrowest = 1e-3;  // pixels; a narrower box is none, and its differences would cancel

double density(double z) {
    return std::exp(-0.5 * z * z) / std::sqrt(2.0 * kPi);
}

double cumulative(double z) {
    return 0.5 * std::erfc(-z / std::sqrt(2.0));
}

double sinc(double x) {
    return std::abs(x) < 1e-9 ? 1.0 : std::sin(kPi * x) / (kPi * x);
}

}  // namespace

EdgeProfile::EdgeProfile(double optics, double pixel, double angle)
    : optics_(optics), across_(pixel * std::abs(std::cos(angle))), along_(pixel * std::abs(std::sin(angle))) {
}

double EdgeProfile::integral(int order, double u) const {
    const double z = u / optics_;
    switch (order) {
        case -2:
            return -z * density(z) / (optics_ * optics_);
        case -1:
            return density(z) / optics_;
        case 0:
            return cumulative(z);
        case 1:
            return optics_ * (z * cumulative(z) + density(z));
        default:
            return 0.5 * optics_ * optics_ * ((z * z + 1.0) * cumulative(z) + z * density(z));
    }
}

double EdgeProfile::differenced(int order, double u) const {
    const bool wide = across_ > kNarrowest, tilted = along_ > kNarrowest;
    if (!wide) return integral(order, u);
    const double a = 0.5 * across_, b = 0.5 * along_;
    if (!tilted) return (integral(order + 1, u + a) - integral(order + 1, u - a)) / across_;
    const auto twice = [&](double at) { return integral(order + 2, at); };
    return (twice(u + a + b) - twice(u + a - b) - twice(u - a + b) + twice(u - a - b)) / (across_ * along_);
}

EdgeProfile::Value EdgeProfile::at(double u) const {
    // A Gaussian solves the heat equation: dE/ds = s d2E/du2.
    return {differenced(0, u), differenced(-1, u), optics_ * differenced(-2, u)};
}

double EdgeProfile::transfer(double frequency) const {
    const double phase = kPi * optics_ * frequency;
    return std::exp(-2.0 * phase * phase) * sinc(across_ * frequency) * sinc(along_ * frequency);
}

double EdgeProfile::spread() const {
    return std::sqrt(optics_ * optics_ + (across_ * across_ + along_ * along_) / 12.0);
}

}  // namespace oravo::tools
