#ifndef ORAVO_VISION_DETAIL_NUMERICS_QUANTILES_H
#define ORAVO_VISION_DETAIL_NUMERICS_QUANTILES_H

#include <algorithm>
#include <cstddef>
#include <vector>

namespace oravo::vision::detail {

/// The value at a place in ascending order, 0 for the least. Reorders the values, of which there have to be more.
template <class Number>
Number valueAtPlace(std::vector<Number>& values, std::size_t place) {
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(place);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

/// The value below which the given share of the values lies; 0 without any. Reorders the values.
template <class Number>
Number quantile(std::vector<Number>& values, double share) {
    if (values.empty()) return Number(0);
    return valueAtPlace(values, static_cast<std::size_t>(share * static_cast<double>(values.size() - 1)));
}

/// The median, of an even number of values the upper one; 0 without any.
template <class Number>
Number upperMedian(std::vector<Number> values) {
    return values.empty() ? Number(0) : valueAtPlace(values, values.size() / 2);
}

}  // namespace oravo::vision::detail

#endif
