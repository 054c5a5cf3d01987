// Conversions and integer arithmetic with one defined answer on every processor, whatever the input.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>

// Silently other bits otherwise, and NaN that no comparison finds. (__FAST_MATH__ alone would miss its parts.)
#if defined __FAST_MATH__ || defined __ASSOCIATIVE_MATH__ || defined __RECIPROCAL_MATH__ || \
    __FINITE_MATH_ONLY__
#error "this library's output is exact to the bit: build it without -ffast-math, -Ofast and their parts"
#endif
#if FLT_EVAL_METHOD != 0
#error \
    "this library's output is exact to the bit: floats must be computed as floats, on x86 with -mfpmath=sse"
#endif

namespace common {

// What kernels call is always inlined: those of every instruction set have a copy of their own.

[[gnu::always_inline]] inline uint32_t bits_of(float x) {
  uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  return bits;
}
[[gnu::always_inline]] inline float float_of(uint32_t bits) {
  float x;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

// Toward zero; beyond the 32-bit range the nearest end; NaN is 0. What 64-bit Arm's fcvtzs does, written out
// because other processors (and the language) leave it open. Called with floats and doubles alike.
[[gnu::always_inline]] inline int32_t truncate_to_int(double value) {
  if (value >= 2147483647.0) return INT32_MAX;
  if (value <= -2147483648.0) return INT32_MIN;
  return value == value ? static_cast<int32_t>(value) : 0;
}

// The low 16 bits of a 32-bit integer, as a signed 16-bit sample.
inline int16_t low_16_bits(int32_t value) { return static_cast<int16_t>(static_cast<uint16_t>(value)); }

// 32-bit integer arithmetic that wraps: settings from a record may be any integer.
inline int32_t wrapping_add(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t wrapping_sub(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
inline int32_t wrapping_mul(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Tangent and hyperbolic sine in single precision differ between the mathematics libraries of x86-64 and
// 64-bit Arm; evaluated in double and rounded once they agree.
inline float tan_rounded_once(float x) { return static_cast<float>(std::tan(static_cast<double>(x))); }
inline float sinh_rounded_once(float x) { return static_cast<float>(std::sinh(static_cast<double>(x))); }

// Base-10 logarithm. log10f itself is 1 ulp off at two floats (16406.543 and 269447872) where the mathematics
// library was compiled with fused multiply-add, as for 64-bit Arm, and differs between its versions. This is its
// classic form, log10(2^k m) = k log10(2) + log(m) / ln(10) with log10(2) in two parts so that k times the first is
// exact; logf is the same everywhere.
[[gnu::always_inline]] inline float log10_of(float k, float m) {
  return k * 0x1.3441p-2f + (k * 0x1.a84fb6p-21f + 0x1.bcb7b2p-2f * logf(m));
}
float log10_below_1(float x);  // and of what is no positive finite number

[[gnu::always_inline]] inline float log10_portable(float x) {
  if (!(x >= 1.0f && x <= FLT_MAX)) return log10_below_1(x);
  const uint32_t bits = bits_of(x);
  const float k = static_cast<float>(static_cast<int>(bits >> 23) - 127);
  return log10_of(k, float_of((bits & 0x7fffffu) | 0x3f800000u));
}

// A level in dB as a linear factor.
inline float dB_to_linear(float dB) { return powf(10.0f, dB / 20.0f); }

}  // namespace common
