#ifndef ORAVO_TOOLS_VALUES_TEMPERATURECURVE_H
#define ORAVO_TOOLS_VALUES_TEMPERATURECURVE_H

#include <optional>
#include <string>
#include <vector>

namespace oravo::tools {

/// What a radiometric image says of the camera and of what it looked at, or a user in its place. Temperatures in degrees Celsius.
struct RadiometricConstants {
    using Number = std::optional<double>;

    // The camera's counts over temperature, and how air absorbs what it sees.
    Number planckR1, planckR2, planckB, planckF, planckO;
    Number alpha1, alpha2, beta1, beta2, mixture;

    // The object and what lies between it and the camera.
    Number emissivity;
    Number distance;  ///< m
    Number humidity;  ///< relative, %
    Number reflected, atmosphere;
    Number windowTemperature, windowTransmission;

    /// These, with those in their place that the other has.
    RadiometricConstants with(const RadiometricConstants& other) const;
};

/// One of the constants.
struct RadiometricQuantity {
    const char* tag;       ///< its name in the file
    const char* option;    ///< of the program, which sets it; null: none
    const char* argument;  ///< of this option
    const char* unit;      ///< after a number, with a space
    const char* meaning;   ///< as a manual puts it
    double lowest, highest;
    bool above;  ///< the lowest itself cannot be
    RadiometricConstants::Number RadiometricConstants::*member;

    bool holds(double number) const;
    std::string rangeText() const;
};

/// All of them; those with options first.
const std::vector<RadiometricQuantity>& radiometricQuantities();

/// Temperatures by the radiometric formula (W. Minkina, S. Dudzik, "Infrared Thermography: Errors and Uncertainties", Wiley
/// 2009, ch. 2). Counts S are linear in radiance, and a black body of T kelvin gives L(T):
///
///     L(T)  = R1 / (R2 (exp(B / T) - F)),             S + O = L(T) before it, without air and window
///     S + O = w (t (e L(T) + (1 - e) L(reflected)) + (1 - t) L(atmosphere)) + (1 - w) L(window)
///
/// with emissivity e and transmissions w of a window (or lens) right before the camera and t of d metres of air, whose water
/// follows from the relative humidity and the atmosphere's temperature C in degrees Celsius:
///
///     h = humidity exp(1.5587 + 0.06939 C - 0.00027816 C^2 + 0.00000068455 C^3)
///     t = X exp(-sqrt(d) (alpha1 + beta1 sqrt(h))) + (1 - X) exp(-sqrt(d) (alpha2 + beta2 sqrt(h)))
class TemperatureCurve {
  public:
    /// Constants without weight may be missing: what is reflected at emissivity 1, air at distance 0, a window of transmission 1.
    /// @param name  of the file, for messages
    /// Throws UserError, naming file and constant, for one that is missing or cannot be.
    TemperatureCurve(const RadiometricConstants& constants, const std::string& name);

    /// NaN where the object would radiate less than nothing: no temperature gives such counts.
    double celsius(double counts) const;

  private:
    double radiance(double celsius) const;

    double r1_, r2_, b_, f_, o_;
    double gain_;    ///< of the object's radiance over counts
    double others_;  ///< radiance that is not the object's, in the same unit
};

}  // namespace oravo::tools

#endif
