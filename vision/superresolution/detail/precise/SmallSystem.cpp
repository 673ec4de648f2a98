#include "vision/superresolution/detail/precise/SmallSystem.h"

#include <cmath>

namespace oravo::vision::detail::precise {

void SmallSystem::add(const double* row, double value, double weight) {
    for (int i = 0; i < n; ++i) {
        const double weighted = weight * row[i];
        right[i] += weighted * value;
        for (int j = 0; j <= i; ++j) matrix[i][j] += weighted * row[j];
    }
}

bool SmallSystem::decompose() {
    for (int j = 0; j < n; ++j) {
        double pivot = matrix[j][j];
        for (int k = 0; k < j; ++k) pivot -= matrix[j][k] * matrix[j][k];
        if (!(pivot > 1e-9 * matrix[j][j]) || !(pivot > 0.0)) return false;
        matrix[j][j] = std::sqrt(pivot);
        for (int i = j + 1; i < n; ++i) {
            double sum = matrix[i][j];
            for (int k = 0; k < j; ++k) sum -= matrix[i][k] * matrix[j][k];
            matrix[i][j] = sum / matrix[j][j];
        }
    }
    return true;
}

void SmallSystem::solve(double* b) const {
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < i; ++k) b[i] -= matrix[i][k] * b[k];
        b[i] /= matrix[i][i];
    }
    for (int i = n - 1; i >= 0; --i) {
        for (int k = i + 1; k < n; ++k) b[i] -= matrix[k][i] * b[k];
        b[i] /= matrix[i][i];
    }
}

}  // namespace oravo::vision::detail::precise
