#ifndef ORAVO_VISION_DETAIL_PRECISE_TRUST_H
#define ORAVO_VISION_DETAIL_PRECISE_TRUST_H

namespace oravo::vision::detail::precise {

/// Measurements that show whether one image explains all frames, in units of the scene's contrast.
struct Evidence {
    double withheldError =
        0.0;  ///< of predicting withheld pixels of frames other than the reference; 0 for none
    double bicubicError = 0.0;     ///< of bicubic interpolation of the reference for the same pixels
    double frameNoise = 0.0;       ///< of the reference by itself
    double misfit = 0.0;           ///< of the median frame other than the reference
    double referenceMisfit = 0.0;  ///< of the reference
};

/// Share, from 0 to 1, by which the image should fall back to one made of the reference alone. From rendered and recorded
/// bursts with known truth: where frames are warped by the air, by a rolling shutter or by interlacing, withheld pixels are
/// missed by more than 1.5 times the noise, and hardly better than bicubic interpolation misses them (less than 3 dB);
/// where the others agree with each other and the reference does not, as when motion has blurred them, its misfit is larger
/// than theirs.
double leaningOnReference(const Evidence& evidence);

/// From here on an image rests on the reference and is not trusted.
constexpr double kMostLeaning = 0.5;

/// Whether frames have less noise than any sensor, as those that a codec has smoothed.
bool isProcessed(const Evidence& evidence);

/// How much smaller the withheld error is than bicubic's, in decibels; 0 where nothing was predicted.
double gainInDecibels(const Evidence& evidence);

}  // namespace oravo::vision::detail::precise

#endif
