#include "tools/pictures/Ticks.h"

#include <algorithm>
#include <cmath>

#include "tools/base/Messages.h"

namespace oravo::tools {
namespace {

constexpr int kMostDecimals = 9;

}  // namespace

Ticks::Ticks(double lowest, double highest, int most) {
    // A span that rounding would swallow is no span.
    const double least = std::max({std::abs(lowest), std::abs(highest), 1e-6}) * 1e-6;
    const double span = highest - lowest;
    if (!(span > least) || !std::isfinite(span)) {
        values = {lowest};
        decimals = 2;
        return;
    }
    const int exponent = static_cast<int>(std::floor(std::log10(span / std::max(most, 1))));
    for (const double factor : {1.0, 2.0, 5.0, 10.0, 20.0, 50.0, 100.0}) {
        const double step = factor * std::pow(10.0, exponent);
        const double first = std::ceil(lowest / step - 1e-9);
        const double last = std::floor(highest / step + 1e-9);
        if (last - first + 1.0 > most) continue;
        const int shift = factor >= 100.0 ? 2 : factor >= 10.0 ? 1 : 0;
        decimals = std::clamp(-(exponent + shift), 0, kMostDecimals);
        for (int i = 0; i <= last - first; ++i) values.push_back((first + i) * step);
        break;
    }
    if (values.empty()) values = {0.5 * (lowest + highest)};
}

std::string Ticks::text(double value, int moreDecimals) const {
    const std::string text = format("%.*f", std::min(decimals + moreDecimals, kMostDecimals), value);
    const bool isZero = text.find_first_not_of("-0.") == std::string::npos;
    return isZero && text.front() == '-' ? text.substr(1) : text;
}

}  // namespace oravo::tools
