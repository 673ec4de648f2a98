#ifndef ORAVO_TOOLS_CLI_VALIDATORS_H
#define ORAVO_TOOLS_CLI_VALIDATORS_H

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "tools/base/Messages.h"

namespace oravo::tools {

constexpr double kUnbounded = std::numeric_limits<double>::max();
constexpr float kLargestFloat = std::numeric_limits<float>::max();

/// A finite number within bounds; `above` leaves the lower bound itself out. It is compared as the type that the option
/// keeps, since rounding can take a number across a bound.
template <class Number = double>
CLI::Validator numberWithin(Number lowest, Number highest, bool above = false) {
    const auto check = [=](std::string& text) -> std::string {
        Number value = 0;
        const bool number = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
        if (number && value <= highest && (above ? value > lowest : value >= lowest)) return {};
        constexpr Number kLargest = std::numeric_limits<Number>::max();
        if (highest == kLargest && lowest == -kLargest) return text + " is not a finite number";
        return text + format(" is not a number %s %.9g to %.9g", above ? "above" : "from",
                             static_cast<double>(lowest), static_cast<double>(highest));
    };
    return CLI::Validator(check, "");
}

inline CLI::Validator finiteNumber() {
    return numberWithin(-kUnbounded, kUnbounded);
}

/// A finite number by which values can be multiplied without losing them all.
inline CLI::Validator scaleFactor() {
    const auto check = [](std::string& text) {
        double value = 0.0;
        return CLI::detail::lexical_cast(text, value) && value == 0.0 ? "0 leaves nothing of the values" : "";
    };
    return finiteNumber() & CLI::Validator(check, "");
}

/// An unsigned integer of 64 bits. The parser alone would take others for the nearest such number.
inline CLI::Validator wholeNumber() {
    const auto check = [](std::string& text) {
        std::uint64_t value = 0;
        const char* end = text.data() + text.size();
        const auto [rest, failed] = std::from_chars(text.data(), end, value);
        if (failed == std::errc() && rest == end) return std::string();
        return text + " is not a whole number from 0 to " +
               std::to_string(std::numeric_limits<std::uint64_t>::max());
    };
    return CLI::Validator(check, "");
}

/// A text for a name that is there, be it only by mistake: "$UNSET" must not mean the default.
inline CLI::Validator notEmpty() {
    return CLI::Validator([](std::string& text) { return text.empty() ? "the text is empty" : ""; }, "");
}

}  // namespace oravo::tools

#endif
