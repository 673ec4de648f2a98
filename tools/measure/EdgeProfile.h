#ifndef ORAVO_TOOLS_MEASURE_EDGEPROFILE_H
#define ORAVO_TOOLS_MEASURE_EDGEPROFILE_H

namespace oravo::tools {

/// What a camera makes of a straight edge from 0 to 1 that is perfectly sharp. Optics blur it by a Gaussian, and each
/// pixel averages over a square. Seen across the edge a square is two boxes, one for each pair of its sides:
///
///     E(u) = (step * box(p |cos a|) * box(p |sin a|) * Gaussian(s))(u)
///
/// with a the angle between the edge and the nearer axis. All of it has a closed form: the n-fold integral of the normal
/// distribution, differenced once for each box. Lengths are in pixels of the frames.
class EdgeProfile {
  public:
    /// @param optics  standard deviation s of the Gaussian, above 0
    /// @param pixel   side p of the square; 0 for none
    /// @param angle   a, in radians
    EdgeProfile(double optics, double pixel, double angle);

    struct Value {
        double level;     ///< E, from 0 to 1
        double slope;     ///< dE/du: the line spread function
        double bySpread;  ///< dE/ds
    };
    /// At a distance u from the edge, positive on the side of 1.
    Value at(double u) const;

    /// Amplitude of a wave of this frequency, in cycles per pixel, across the edge: the modulation transfer function.
    double transfer(double frequency) const;

    /// Standard deviation of optics and pixel together.
    double spread() const;

  private:
    /// The integral of order n of the normal distribution's cumulative function, n from -2 to 2.
    double integral(int order, double u) const;
    /// What is left of that integral of order n + 2 once it is differenced for both boxes.
    double differenced(int order, double u) const;

    double optics_, across_, along_;
};

}  // namespace oravo::tools

#endif
