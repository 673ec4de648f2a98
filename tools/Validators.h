#ifndef ORAVO_TOOLS_VALIDATORS_H
#define ORAVO_TOOLS_VALIDATORS_H

#include <CLI/CLI.hpp>
#include <cmath>
#include <limits>
#include <string>

#include "tools/Messages.h"

namespace oravo::tools {

constexpr double kUnbounded = std::numeric_limits<double>::max();

/// A finite number within bounds; `above` leaves the lower bound itself out.
inline CLI::Validator numberWithin(double lowest, double highest, bool above = false) {
    const auto check = [=](std::string& text) -> std::string {
        double value = 0.0;
        const bool number = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
        if (number && value <= highest && (above ? value > lowest : value >= lowest)) return {};
        if (highest == kUnbounded && lowest == -kUnbounded) return text + " is not a finite number";
        if (highest == kUnbounded) {
            return text + format(" is not a number %s %g", above ? "above" : "from", lowest);
        }
        return text + format(" is not a number %s %g to %g", above ? "above" : "from", lowest, highest);
    };
    return CLI::Validator(check, "");
}

inline CLI::Validator finiteNumber() {
    return numberWithin(-kUnbounded, kUnbounded);
}

/// A text for a name that is there, be it only by mistake: "$UNSET" must not mean the default.
inline CLI::Validator notEmpty() {
    return CLI::Validator([](std::string& text) { return text.empty() ? "the text is empty" : ""; }, "");
}

}  // namespace oravo::tools

#endif
