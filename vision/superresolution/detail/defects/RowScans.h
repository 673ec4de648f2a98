#ifndef ORAVO_VISION_DETAIL_DEFECTS_ROWSCANS_H
#define ORAVO_VISION_DETAIL_DEFECTS_ROWSCANS_H

namespace oravo::vision::detail {

// Bad pixels are rare. The three questions pass rows of n pixels without any at the speed of memory; a wrong "yes" only
// causes a closer look.

/// Whether a row may hold a status code.
bool mayHoldCode(const float* pixels, int n);

/// Whether a row may hold a status code or a value outside [minValue, maxValue].
bool mayHoldBadPixel(const float* pixels, int n, float minValue, float maxValue);

/// Whether a row of a defect map holds a class other than 0.
bool holdsDefect(const unsigned char* classes, int n);

/// Widens [minVal, maxVal] to a row of valid pixels.
void widen(const float* pixels, int n, float& minVal, float& maxVal);

}  // namespace oravo::vision::detail

#endif
