#ifndef ORAVO_TOOLS_FORMATS_NUMBERTEXT_H
#define ORAVO_TOOLS_FORMATS_NUMBERTEXT_H

#include <array>
#include <charconv>
#include <string>

namespace oravo::tools {

/// The shortest decimal that reads as this number again, in any locale; "nan" for NaN.
template <class Number>
std::string numberText(Number value) {
    std::array<char, 64> digits{};
    const auto [end, fault] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    if (value != value) return "nan";
    return {digits.data(), end};
}

}  // namespace oravo::tools

#endif
