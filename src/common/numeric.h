// Conversions and integer arithmetic with one defined answer on every processor, whatever the input.
#pragma once

#include <cmath>
#include <cstdint>

namespace common {

// Toward zero; beyond the 32-bit range the nearest end; NaN is 0. What 64-bit Arm's fcvtzs does, written out
// because other processors (and the language) leave it open. Called with floats and doubles alike.
inline int32_t truncate_to_int(double value) {
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

// A level in dB as a linear factor.
inline float dB_to_linear(float dB) { return powf(10.0f, dB / 20.0f); }

}  // namespace common
