#ifndef ORAVO_VISION_DETAIL_PIPELINE_PIPELINEPARAMETERS_H
#define ORAVO_VISION_DETAIL_PIPELINE_PIPELINEPARAMETERS_H

#include "vision/superresolution/detail/numerics/Threads.h"

namespace oravo::vision::detail {

// The checks that all pipelines make before they store a parameter. Each throws a C string or returns the
// value. They reject only when their comparison holds, so a NaN passes.

inline int checkedReferenceIndex(int index, int windowSize) {
    if (index < 0 || index >= windowSize) throw "Invalid reference index specified.";
    return index;
}

inline int checkedMaxCGIters(int iterations) {
    if (iterations < 1) throw "Invalid maximum number of iterations specified.";
    return iterations;
}

inline float checkedPsfSigma(float sigma) {
    if (sigma <= 0.0f) throw "Invalid standard deviation of the sensor psf specified.";
    return sigma;
}

inline float checkedRegError(float error) {
    if (error <= 0.0f || error > 1.0f) throw "Invalid maximum registration error specified.";
    return error;
}

/// Shares the text of the total-variation weight: hosts expect one message for both.
inline float checkedRelativeResidue(float residue) {
    if (static_cast<double>(residue) < 1e-6) throw "Invalid total-variation term weight specified.";
    return residue;
}

inline float checkedWeightTV(float weight) {
    if (weight < 1.0f) throw "Invalid total-variation term weight specified.";
    return weight;
}

inline int checkedThreads(int threads) {
    if (threads < 0 || threads > Threads::kMost) throw "Invalid number of threads specified.";
    return threads;
}

}  // namespace oravo::vision::detail

#endif
