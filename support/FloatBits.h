#ifndef ORAVO_SUPPORT_FLOATBITS_H
#define ORAVO_SUPPORT_FLOATBITS_H

#include <cstdint>
#include <cstring>

namespace oravo {

/// The bit pattern of a single-precision number.
inline std::uint32_t bitsOf(float value) {
    std::uint32_t bits = 0;
    static_assert(sizeof bits == sizeof value);
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

/// The single-precision number with this bit pattern.
inline float floatOf(std::uint32_t bits) {
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace oravo

#endif
