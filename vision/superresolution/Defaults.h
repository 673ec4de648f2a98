#ifndef ORAVO_VISION_DEFAULTS_H
#define ORAVO_VISION_DEFAULTS_H

/// The values of parameters that nobody sets; library and program take them from here.
namespace oravo::vision::defaults {

constexpr int kWindowSize = 5;      ///< frames of a session and of the program
constexpr float kFactor = 2.0f;     ///< enlargement of a session and of the program
constexpr int kReferenceIndex = 3;  ///< of a session and of the program, counted back from the newest frame

constexpr float kPsfSigma = 0.683f;         ///< of the camera's blur, in pixels of the image enlarged by 2
constexpr float kWeightTV = 400.0f;         ///< of the data against total variation
constexpr float kRelativeResidue = 0.007f;  ///< at which the solver stops
constexpr int kMaxCGIters = 8;              ///< conjugate-gradient steps of a run
constexpr float kEpsilon = 0.1f;  ///< least difference that counts, in standard deviations of the reference
constexpr float kRegError = 0.0001f;   ///< largest registration error at which a pixel is used
constexpr int kBlurRadius = 5;         ///< of the blur that frames are registered under
constexpr int kRegErrBlurRadius = 3;   ///< of the mean that registration errors are taken over
constexpr float kMinStructure = 2.0f;  ///< least range (maximum less minimum) of a structured frame

constexpr float kLowestValue = -274.0f;   ///< of the plausible range of radiometric values
constexpr float kHighestValue = 5000.0f;  ///< of the plausible range of radiometric values

}  // namespace oravo::vision::defaults

#endif
