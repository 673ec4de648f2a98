#include "tools/values/TemperatureCurve.h"

#include <cmath>
#include <limits>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr double kZeroCelsius = 273.15;  // in kelvin
constexpr double kHottest = 10000.0;     // degrees Celsius
constexpr double kLargest = std::numeric_limits<float>::max();
using Constants = RadiometricConstants;

/// The transmission of air, which needs more than 0 and at most 1 to be one.
double airTransmission(double distance, const Constants& c) {
    const double t = *c.atmosphere;
    const double water =
        *c.humidity / 100.0 * std::exp(1.5587 + 0.06939 * t - 0.00027816 * t * t + 0.00000068455 * t * t * t);
    const double path = std::sqrt(distance), root = std::sqrt(water);
    return *c.mixture * std::exp(-path * (*c.alpha1 + *c.beta1 * root)) +
           (1.0 - *c.mixture) * std::exp(-path * (*c.alpha2 + *c.beta2 * root));
}

std::string setBy(const RadiometricQuantity& q) {
    return q.option == nullptr ? "" : std::string("; ") + q.option + " " + q.argument + " sets it";
}

/// Numbers of one file.
class Checked {
  public:
    Checked(const Constants& constants, const std::string& name) : constants_(constants), name_(name) {}

    double operator()(Constants::Number Constants::*member) const {
        const RadiometricQuantity& q = quantityOf(member);
        const Constants::Number& number = constants_.*member;
        if (!number) throw inputError(name_ + ": lacks its " + q.tag + setBy(q));
        if (!q.holds(*number)) {
            throw inputError(name_ + format(": its %s is %g, and has to be ", q.tag, *number) +
                             q.rangeText() + setBy(q));
        }
        return *number;
    }

  private:
    static const RadiometricQuantity& quantityOf(Constants::Number Constants::*member) {
        for (const RadiometricQuantity& q : radiometricQuantities()) {
            if (q.member == member) return q;
        }
        throw std::logic_error("a constant without a description");
    }

    const Constants& constants_;
    const std::string& name_;
};

}  // namespace

bool RadiometricQuantity::holds(double number) const {
    return number <= highest && (above ? number > lowest : number >= lowest);
}

std::string RadiometricQuantity::rangeText() const {
    if (highest < kLargest) return format(above ? "above %g, at most %g" : "from %g to %g", lowest, highest);
    if (lowest > -kLargest) return format(above ? "above %g" : "at least %g", lowest);
    return "a finite number";
}

const std::vector<RadiometricQuantity>& radiometricQuantities() {
    const double kColdest = -kZeroCelsius;
    static const std::vector<RadiometricQuantity> all{
        {"Emissivity", "--emissivity", "SHARE", "", "Emissivity of the object", 0.0, 1.0, true,
         &Constants::emissivity},
        {"ObjectDistance", "--distance", "METRES", " m", "Distance of the object, 0 for no air in between",
         0.0, 1e6, false, &Constants::distance},
        {"RelativeHumidity", "--humidity", "PERCENT", " %", "Relative humidity of the air", 0.0, 100.0, false,
         &Constants::humidity},
        {"ReflectedApparentTemperature", "--reflected-temperature", "CELSIUS", " \u00b0C",
         "Temperature of the surroundings that the object reflects", kColdest, kHottest, true,
         &Constants::reflected},
        {"AtmosphericTemperature", "--atmospheric-temperature", "CELSIUS", " \u00b0C",
         "Temperature of the air", kColdest, kHottest, true, &Constants::atmosphere},
        {"IRWindowTemperature", "--window-temperature", "CELSIUS", " \u00b0C",
         "Temperature of a window or lens before the camera", kColdest, kHottest, true,
         &Constants::windowTemperature},
        {"IRWindowTransmission", "--window-transmission", "SHARE", "",
         "Transmission of this window, 1 for none", 0.0, 1.0, true, &Constants::windowTransmission},
        {"PlanckR1", nullptr, "", "", "", 0.0, kLargest, true, &Constants::planckR1},
        {"PlanckR2", nullptr, "", "", "", 0.0, kLargest, true, &Constants::planckR2},
        {"PlanckB", nullptr, "", "", "", 0.0, kLargest, true, &Constants::planckB},
        {"PlanckF", nullptr, "", "", "", 0.0, kLargest, false, &Constants::planckF},
        {"PlanckO", nullptr, "", "", "", -kLargest, kLargest, false, &Constants::planckO},
        {"AtmosphericTransAlpha1", nullptr, "", "", "", -kLargest, kLargest, false, &Constants::alpha1},
        {"AtmosphericTransAlpha2", nullptr, "", "", "", -kLargest, kLargest, false, &Constants::alpha2},
        {"AtmosphericTransBeta1", nullptr, "", "", "", -kLargest, kLargest, false, &Constants::beta1},
        {"AtmosphericTransBeta2", nullptr, "", "", "", -kLargest, kLargest, false, &Constants::beta2},
        {"AtmosphericTransX", nullptr, "", "", "", -kLargest, kLargest, false, &Constants::mixture}};
    return all;
}

Constants Constants::with(const Constants& other) const {
    Constants both = *this;
    for (const RadiometricQuantity& q : radiometricQuantities()) {
        if (other.*q.member) both.*q.member = other.*q.member;
    }
    return both;
}

TemperatureCurve::TemperatureCurve(const Constants& constants, const std::string& name) {
    const Checked checked(constants, name);
    r1_ = checked(&Constants::planckR1);
    r2_ = checked(&Constants::planckR2);
    b_ = checked(&Constants::planckB);
    f_ = checked(&Constants::planckF);
    o_ = checked(&Constants::planckO);
    const double emissivity = checked(&Constants::emissivity), distance = checked(&Constants::distance);
    // Files of cameras that know of no windows have none.
    const double window = constants.windowTransmission ? checked(&Constants::windowTransmission) : 1.0;
    const double reflected = emissivity < 1.0 ? radiance(checked(&Constants::reflected)) : 0.0;
    const double pane = window < 1.0 ? radiance(checked(&Constants::windowTemperature)) : 0.0;
    double air = 1.0, atmosphere = 0.0;
    if (distance > 0.0) {
        for (const auto member : {&Constants::alpha1, &Constants::alpha2, &Constants::beta1,
                                  &Constants::beta2, &Constants::mixture, &Constants::humidity}) {
            checked(member);
        }
        atmosphere = radiance(checked(&Constants::atmosphere));
        air = airTransmission(distance, constants);
    }
    const double all[] = {reflected, pane, atmosphere};
    for (const double part : all) {
        if (std::isfinite(part) && part >= 0.0) continue;
        throw inputError(name +
                         ": its Planck constants give no radiance for the temperatures around the object");
    }
    if (!(air > 0.0 && air <= 1.0)) {
        throw inputError(
            format("%s: %g m of air would transmit %g of the radiation, which cannot be; see --distance "
                   "and --humidity",
                   name.c_str(), distance, air));
    }
    gain_ = 1.0 / (emissivity * air * window);
    others_ = (1.0 - emissivity) / emissivity * reflected + (1.0 - air) / (emissivity * air) * atmosphere +
              (1.0 - window) * gain_ * pane;
}

double TemperatureCurve::radiance(double celsius) const {
    return r1_ / (r2_ * (std::exp(b_ / (celsius + kZeroCelsius)) - f_));
}

double TemperatureCurve::celsius(double counts) const {
    const double object = gain_ * (counts + o_) - others_;
    const double ratio = r1_ / (r2_ * object) + f_;
    if (!(object > 0.0 && ratio > 1.0)) return std::numeric_limits<double>::quiet_NaN();
    return b_ / std::log(ratio) - kZeroCelsius;
}

}  // namespace oravo::tools
