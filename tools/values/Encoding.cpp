#include "tools/values/Encoding.h"

#include <algorithm>

#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr double kZeroCelsius = 273.15;  // in kelvin
const std::string kDegrees = "\u00b0C";

}  // namespace

const std::vector<Encoding>& encodings() {
    static const std::vector<Encoding> all{
        {"celsius", "degrees Celsius", {1.0, 0.0, 0, kDegrees}},
        {"centidegrees", "0.01 degrees Celsius", {0.01, 0.0, 0, kDegrees}},
        {"decidegrees", "0.1 degrees Celsius", {0.1, 0.0, 0, kDegrees}},
        {"decidegrees-100", "0.1 degrees Celsius above -100", {0.1, -100.0, 0, kDegrees}},
        {"fahrenheit", "degrees Fahrenheit", {5.0 / 9.0, -160.0 / 9.0, 0, kDegrees}},
        {"kelvin", "kelvin", {1.0, -kZeroCelsius, 0, kDegrees}},
        {"centikelvin", "0.01 kelvin", {0.01, -kZeroCelsius, 0, kDegrees}},
        {"centikelvin-4", "0.04 kelvin", {0.04, -kZeroCelsius, 0, kDegrees}},
        {"decikelvin", "0.1 kelvin", {0.1, -kZeroCelsius, 0, kDegrees}},
        {"decikelvin-4", "0.4 kelvin", {0.4, -kZeroCelsius, 0, kDegrees}},
        {"millikelvin", "0.001 kelvin", {0.001, -kZeroCelsius, 0, kDegrees}},
        {"fixed-10.6",
         "1/64 kelvin (fixed point with 6 bits of fraction)",
         {1.0 / 64.0, -kZeroCelsius, 0, kDegrees}},
        {"fixed-12.4",
         "1/16 kelvin (fixed point with 4 bits of fraction)",
         {1.0 / 16.0, -kZeroCelsius, 0, kDegrees}}};
    return all;
}

const Encoding& encodingNamed(const std::string& name) {
    const auto found = std::find_if(encodings().begin(), encodings().end(),
                                    [&](const Encoding& e) { return e.name == name; });
    if (found != encodings().end()) return *found;
    std::string known;
    for (const Encoding& e : encodings()) known += (known.empty() ? "" : ", ") + e.name;
    throw UserError(ExitCode::kUsage, "--encoding " + name + ": is not known; these are: " + known);
}

}  // namespace oravo::tools
