#ifndef ORAVO_TOOLS_FORMATS_NUMBERTEXT_H
#define ORAVO_TOOLS_FORMATS_NUMBERTEXT_H

#include <array>
#include <charconv>
#include <string>

namespace oravo::tools {

/// The shortest decimal that reads as this number again, in any locale, with an exponent where it has a long row of zeros;
/// "nan" for NaN.
template <class Number>
std::string numberText(Number value) {
    constexpr Number kSmall = static_cast<Number>(1e-5), kLarge = static_cast<Number>(1e10);
    if (value != value) return "nan";
    std::array<char, 64> digits{};
    const Number size = value < 0 ? -value : value;
    const bool plain = size == 0 || (size >= kSmall && size < kLarge);
    const auto form = plain ? std::chars_format::fixed : std::chars_format::scientific;
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value, form).ptr};
}

}  // namespace oravo::tools

#endif
