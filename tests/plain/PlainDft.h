#ifndef ORAVO_TESTS_PLAIN_PLAINDFT_H
#define ORAVO_TESTS_PLAIN_PLAINDFT_H

#include <cmath>
#include <complex>
#include <vector>

namespace oravo::plain {

using Complexes = std::vector<std::complex<double>>;

/// The discrete Fourier transform by its definition, in double; sign -1 is the forward one.
inline Complexes dft(const Complexes& x, int sign) {
    const std::size_t n = x.size();
    const double unit = sign * 2.0 * std::acos(-1.0) / static_cast<double>(n);
    Complexes roots(n);
    for (std::size_t j = 0; j < n; ++j) roots[j] = std::polar(1.0, unit * static_cast<double>(j));
    Complexes result(n);
    for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t j = 0; j < n; ++j) result[k] += x[j] * roots[j * k % n];
    }
    return result;
}

/// The two-dimensional transform of a dense array: all rows, then all columns.
inline Complexes dft2d(const Complexes& x, std::size_t width, std::size_t height, int sign) {
    Complexes result(x.size());
    const auto along = [&](const Complexes& from, std::size_t count, std::size_t length, std::size_t lineStep,
                           std::size_t step) {
        for (std::size_t line = 0; line < count; ++line) {
            Complexes values(length);
            for (std::size_t i = 0; i < length; ++i) values[i] = from[line * lineStep + i * step];
            values = dft(values, sign);
            for (std::size_t i = 0; i < length; ++i) result[line * lineStep + i * step] = values[i];
        }
    };
    along(x, height, width, width, 1);
    const Complexes rows = result;
    along(rows, width, height, 1, width);
    return result;
}

}  // namespace oravo::plain

#endif
