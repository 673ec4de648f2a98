#ifndef ORAVO_SUPPORT_NEON_H
#define ORAVO_SUPPORT_NEON_H

/// The vector operations that the library's vector engines are written in, at global scope under their ARM
/// names: the target's own where it has them, else emulated lane by lane on the compiler's vector types.
/// Loads and stores need no alignment beyond that of a float.

#if defined(__ARM_NEON)
#include <arm_neon.h>
#else

#include <cstring>

#define ORAVO_NEON inline __attribute__((always_inline))

typedef float float32x2_t __attribute__((vector_size(8)));   ///< two values
typedef float float32x4_t __attribute__((vector_size(16)));  ///< four values
/// Two vectors: what vld2q_f32 loads.
struct float32x4x2_t {
    float32x4_t val[2];  ///< the even values, the odd values
};

/// Four values from p on.
ORAVO_NEON float32x4_t vld1q_f32(const float* p) {
    float32x4_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

/// Eight values, the even ones first: (p[0], p[2], p[4], p[6]) and (p[1], p[3], p[5], p[7]).
ORAVO_NEON float32x4x2_t vld2q_f32(const float* p) {
    const float32x4_t low = vld1q_f32(p);
    const float32x4_t high = vld1q_f32(p + 4);
    return {{__builtin_shufflevector(low, high, 0, 2, 4, 6), __builtin_shufflevector(low, high, 1, 3, 5, 7)}};
}

/// Stores four values from p on.
ORAVO_NEON void vst1q_f32(float* p, float32x4_t v) {
    std::memcpy(p, &v, sizeof v);
}

/// s four times.
ORAVO_NEON float32x4_t vdupq_n_f32(float s) {
    return float32x4_t{s, s, s, s};
}

/// s twice.
ORAVO_NEON float32x2_t vdup_n_f32(float s) {
    return float32x2_t{s, s};
}

/// The two values of low, then those of high.
ORAVO_NEON float32x4_t vcombine_f32(float32x2_t low, float32x2_t high) {
    return __builtin_shufflevector(low, high, 0, 1, 2, 3);
}

/// a * b, value by value.
ORAVO_NEON float32x4_t vmulq_f32(float32x4_t a, float32x4_t b) {
    return a * b;
}

/// a + b * c, the product rounded before it is added whatever contraction the including file allows.
ORAVO_NEON float32x4_t vmlaq_f32(float32x4_t a, float32x4_t b, float32x4_t c) {
#if defined(__has_builtin) && __has_builtin(__builtin_assoc_barrier)
    return a + __builtin_assoc_barrier(b * c);
#else
    const float32x4_t product = b * c;
    return a + product;
#endif
}

#undef ORAVO_NEON

#endif
#endif
