#ifndef ORAVO_VISION_DETAIL_PRECISE_SMALLSYSTEM_H
#define ORAVO_VISION_DETAIL_PRECISE_SMALLSYSTEM_H

namespace oravo::vision::detail::precise {

/// Normal equations of least squares with a few unknowns: a symmetric matrix, of which the lower triangle is filled, and a
/// right side.
struct SmallSystem {
    static constexpr int kMost = 8;  ///< unknowns

    int n = 0;
    double matrix[kMost][kMost] = {};
    double right[kMost] = {};

    /// Adds the equation row . x = value.
    void add(const double* row, double value, double weight);
    /// Cholesky's decomposition in place; false where the matrix is not positive definite.
    bool decompose();
    /// b becomes the solution for the right side b. The matrix is decomposed.
    void solve(double* b) const;
};

}  // namespace oravo::vision::detail::precise

#endif
