#ifndef ORAVO_TOOLS_VALUES_DECODE_H
#define ORAVO_TOOLS_VALUES_DECODE_H

#include <opencv2/core.hpp>
#include <string>

namespace oravo::tools {

/// Whether a pixel holds a value: finite and no status code.
bool isValue(float pixel);

/// Linear decode from stored numbers to the unit of the output:
///   value = scale * floor(stored / 2^shiftRight) + offset.
struct Decode {
    double scale = 1.0;
    double offset = 0.0;
    int shiftRight = 0;  ///< low bits that hold no value, or flags
    std::string unit;    ///< of the values, in UTF-8; empty when unknown

    bool isIdentity() const { return scale == 1.0 && offset == 0.0 && shiftRight == 0; }
    /// One channel, any depth, to float. Status codes in float input pass through with every bit, and so does
    /// all float input when the decode is the identity.
    cv::Mat_<float> operator()(const cv::Mat& stored) const;
    /// The same. Throws UserError that names the image, the pixel and the value where bits are to be shifted out of a
    /// number with a fraction, which has none to spare.
    cv::Mat_<float> operator()(const cv::Mat& stored, const std::string& name) const;
    /// The way back: the numbers, not rounded, that stand for such values.
    cv::Mat_<double> stored(const cv::Mat_<float>& values) const;
};

}  // namespace oravo::tools

#endif
