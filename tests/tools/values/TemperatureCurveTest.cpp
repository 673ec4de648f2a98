#include "tools/values/TemperatureCurve.h"

#include <cmath>
#include <limits>

#include "tests/tools/Scratch.h"

namespace oravo::tools {
namespace {

using Constants = RadiometricConstants;

Constants ofACamera(double emissivity, double distance) {
    Constants c;
    c.planckR1 = 21106.77;
    c.planckR2 = 0.012545258;
    c.planckB = 1501.0;
    c.planckF = 1.0;
    c.planckO = -7340.0;
    c.alpha1 = 0.006569;
    c.alpha2 = 0.01262;
    c.beta1 = -0.002276;
    c.beta2 = -0.00667;
    c.mixture = 1.9;
    c.emissivity = emissivity;
    c.distance = distance;
    c.humidity = 50.0;
    c.reflected = c.atmosphere = c.windowTemperature = 20.0;
    c.windowTransmission = 1.0;
    return c;
}

Constants through(Constants c, double humidity, double reflected, double atmosphere, double window,
                  double windowTransmission) {
    c.humidity = humidity;
    c.reflected = reflected;
    c.atmosphere = atmosphere;
    c.windowTemperature = window;
    c.windowTransmission = windowTransmission;
    return c;
}

/// The object's temperature at which the radiation before the camera gives such counts, found as a root of the sum of all
/// radiations (SciPy's brentq).
TEST(TemperatureCurve, GivesTheTemperatureWhoseRadiationMakesTheCounts) {
    const Constants open = ofACamera(0.95, 1.0);
    const Constants humid = through(ofACamera(0.8, 30.0), 90.0, -10.0, 35.0, 20.0, 1.0);
    const Constants window = through(ofACamera(0.6, 100.0), 20.0, 45.0, 5.0, 25.0, 0.7);
    const struct {
        Constants constants;
        double counts, celsius;
    } kCases[] = {{ofACamera(1.0, 0.0), 12000.0, -18.38728092984477},
                  {ofACamera(1.0, 0.0), 40000.0, 105.78691967390486},
                  {ofACamera(0.95, 0.0), 16384.0, 13.438802921375505},
                  {open, 16384.0, 13.397294685467587},
                  {open, 40000.0, 109.57243404970839},
                  {humid, 12000.0, -28.679341667246934},
                  {humid, 20000.0, 41.51143936874776},
                  {window, 16384.0, -29.326950451571978},
                  {window, 40000.0, 175.7174751486701}};
    for (const auto& c : kCases) {
        EXPECT_NEAR(TemperatureCurve(c.constants, "a.jpg").celsius(c.counts), c.celsius, 1e-9) << c.counts;
    }
    EXPECT_TRUE(std::isnan(TemperatureCurve(window, "a.jpg").celsius(12000.0)));
    EXPECT_TRUE(std::isnan(TemperatureCurve(ofACamera(1.0, 0.0), "a.jpg").celsius(7340.0)));
}

/// A black body right before the camera needs no more than Planck's curve.
TEST(TemperatureCurve, NeedsOnlyWhatHasWeight) {
    Constants bare = ofACamera(1.0, 0.0);
    bare.reflected = bare.atmosphere = bare.humidity = bare.alpha1 = bare.mixture = std::nullopt;
    bare.windowTemperature = bare.windowTransmission = std::nullopt;
    const double expected = 1501.0 / std::log(21106.77 / (0.012545258 * (20000.0 - 7340.0)) + 1.0) - 273.15;
    EXPECT_NEAR(TemperatureCurve(bare, "a.jpg").celsius(20000.0), expected, 1e-10);
}

TEST(TemperatureCurve, RefusesConstantsThatAreMissingOrCannotBe) {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    const struct {
        Constants::Number Constants::*member;
        Constants::Number value;
        const char* fault;
    } kCases[] = {{&Constants::emissivity, 0.0,
                   "its Emissivity is 0, and has to be above 0, at most 1; --emissivity SHARE sets it"},
                  {&Constants::emissivity, std::nullopt, "lacks its Emissivity; --emissivity SHARE sets it"},
                  {&Constants::distance, -1.0,
                   "its ObjectDistance is -1, and has to be from 0 to 1e+06; --distance METRES sets it"},
                  {&Constants::humidity, 101.0,
                   "its RelativeHumidity is 101, and has to be from 0 to 100; --humidity PERCENT sets it"},
                  {&Constants::planckR1, 0.0, "its PlanckR1 is 0, and has to be above 0"},
                  {&Constants::planckR2, kNaN, "its PlanckR2 is nan, and has to be above 0"},
                  {&Constants::planckO, kNaN, "its PlanckO is nan, and has to be a finite number"},
                  {&Constants::alpha2, std::nullopt, "lacks its AtmosphericTransAlpha2"},
                  {&Constants::planckF, 1e6,
                   "its Planck constants give no radiance for the temperatures around the object"},
                  {&Constants::alpha1, -1.0, "1 m of air would transmit"}};
    for (const auto& c : kCases) {
        Constants constants = ofACamera(0.95, 1.0);
        constants.*c.member = c.value;
        const std::string message =
            complaint([&] { TemperatureCurve(constants, "a.jpg"); }, ExitCode::kInput);
        EXPECT_EQ(message.rfind(std::string("a.jpg: ") + c.fault, 0), 0u) << message;
    }
}

}  // namespace
}  // namespace oravo::tools
