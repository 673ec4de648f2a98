#ifndef ORAVO_TESTS_PLAIN_PLAINOPERATORS_H
#define ORAVO_TESTS_PLAIN_PLAINOPERATORS_H

#include <opencv2/core.hpp>
#include <vector>

/// Plain twins: the defining loops in their defined order, slow and obvious, as the measure of the fast ones.
namespace oravo::plain {

/// H^T M and H for a W x H image without extension, kw x kh taps and factor f. Sample rows that a factor
/// below 2 lays out beyond the extended image are left out.
struct SparseOperators {
    int W, H, kw, kh;
    float f;
    bool rowsFollowFactor = false;  ///< as the reference operators have it

    int extendedWidth() const { return W + kw - 1; }
    int extendedHeight() const { return H + kh - 1; }
    int lowWidth() const { return static_cast<int>(static_cast<float>(W) / f); }
    int lowHeight() const { return static_cast<int>(static_cast<float>(H) / f); }
    /// Where row r of the samples, moved by tap k, begins in the intermediate image.
    int rowStart(int k, int r) const {
        const int lw = lowWidth();
        return k * lw +
               r * (lw + (rowsFollowFactor ? static_cast<int>((f - 1.0f) * static_cast<float>(lw)) : lw));
    }
    bool inside(int k, int r) const { return rowStart(k, r) + lowWidth() <= extendedHeight() * lowWidth(); }

    void fullConvFromSparse(const float* lowRes, const float* h, const float* v, const char* mask,
                            float* out) const;
    void validCorrToSparse(const float* in, const float* h, const float* v, float* out) const;
};

/// The mean over the part of each pixel's window that lies inside the image, in double precision.
cv::Mat_<double> windowMean(const cv::Mat_<float>& image, int radius);

}  // namespace oravo::plain

#endif
