#ifndef ORAVO_VISION_DETAIL_PRECISE_MOTION_H
#define ORAVO_VISION_DETAIL_PRECISE_MOTION_H

namespace oravo::vision::detail::precise {

/// Which smooth motions a fit may choose from.
enum class MotionModel { translation, similarity, affine };

/// Where the pixels of a frame lie in the reference frame: with q and p measured in pixels from the centre of the
/// frames, p = q + t + A q.
struct Motion {
    double tx = 0.0, ty = 0.0;
    double axx = 0.0, axy = 0.0, ayx = 0.0, ayy = 0.0;

    double x(double qx, double qy) const { return qx + tx + axx * qx + axy * qy; }
    double y(double qx, double qy) const { return qy + ty + ayx * qx + ayy * qy; }

    struct Point {
        double x, y;
    };
    /// The q that lies at p, where (I + A) q = p - t has a solution.
    Point origin(const Point& p) const {
        const double determinant = (1.0 + axx) * (1.0 + ayy) - axy * ayx;
        return {((1.0 + ayy) * (p.x - tx) - axy * (p.y - ty)) / determinant,
                ((1.0 + axx) * (p.y - ty) - ayx * (p.x - tx)) / determinant};
    }
};

/// Standard errors of a fitted motion: of its translation in pixels, and of where it puts the frame's corners.
struct MotionErrors {
    double x = 0.0, y = 0.0;
    double corner = 0.0;
};

}  // namespace oravo::vision::detail::precise

#endif
