#ifndef ORAVO_VISION_REFERENCE_POINT_H
#define ORAVO_VISION_REFERENCE_POINT_H

/// A shift in low-resolution pixels: x to the right, y down.
struct PointF {
    float x;  ///< to the right
    float y;  ///< down
};

/// A shift by whole pixels.
struct PointI {
    int x;  ///< to the right
    int y;  ///< down
};

#endif
