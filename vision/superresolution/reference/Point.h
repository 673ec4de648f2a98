#ifndef ORAVO_VISION_REFERENCE_POINT_H
#define ORAVO_VISION_REFERENCE_POINT_H

/// A shift in low-resolution pixels: x to the right, y down.
struct PointF {
    float x;
    float y;
};

/// A shift by whole pixels.
struct PointI {
    int x;
    int y;
};

#endif
