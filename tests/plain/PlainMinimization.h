#ifndef ORAVO_TESTS_PLAIN_PLAINMINIMIZATION_H
#define ORAVO_TESTS_PLAIN_PLAINMINIMIZATION_H

#include <opencv2/core.hpp>
#include <vector>

#include "tests/plain/PlainOperators.h"

namespace oravo::plain {

using Vector = std::vector<float>;

Vector basePsf(float sigma, float f);
Vector shiftedPsf(const Vector& base, float shift);

/// The linearised total-variation operator, index by index.
struct TotalVariation {
    int width, height;
    bool firstFromSecond = false;  ///< as the reference solver has it
    Vector east, south, southWest, southEast, diagonal;

    TotalVariation(int w, int h) : width(w), height(h) {}
    void freeze(const Vector& x, float weightTV, float epsilon);
    void apply(const Vector& v, Vector& out) const;
};

/// The whole reconstruction, with sums in order of the index: in double precision, or as the reference solver
/// has it.
class Minimization {
  public:
    float psfSigma = 0.683f, weightTV = 400.0f, epsilon = 0.1f, relRes = 0.007f;
    int maxIter = 8;

    Minimization(int lw, int lh, float f, bool reference = false);
    int minimize(int nFrames, int refIndex, float* const* frames, const cv::Point_<float>* shifts,
                 const char* const* masks, float* out);

    // The parts, for a look at one application of the operator.
    void generatePsfs(int nFrames, const cv::Point_<float>* shifts);
    void gradient(const Vector& v, int nFrames, const char* const* masks, Vector& out);
    SparseOperators convolution;
    TotalVariation totalVariation;
    /// The most by which rounding can have changed a sum of the reference solver, relative to that sum.
    mutable double sumError = 0.0;

  private:
    int conjugateGradients(int nFrames, const char* const* masks, int budget);
    bool iteration(int nFrames, const char* const* masks);
    double dot(const Vector& a, const Vector& b) const;

    int lw_, lh_, ks_;
    float f_;
    bool reference_;
    std::size_t n_;
    std::vector<Vector> h_, v_;
    Vector b_, x_, r_, d_, q_;
    float rr_ = 0.0f, inverseNorm_ = 0.0f;
};

}  // namespace oravo::plain

#endif
