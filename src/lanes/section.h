// One step of a section, as the readable form of every kernel takes it.
#pragma once

#include "lanes/target.h"
#include "zelkaudio_effect_eqdrc.h"

#if defined(TARGET)
namespace TARGET {
namespace {

[[maybe_unused]] float fused(float a, float b, float c) { return __builtin_fmaf(a, b, c); }

// Transposed direct form II, step for step what every filter of the library runs.
float section_step(const BiquadCoeffs& c, BiquadHistory& h, float x) {
  const float y = fused(c.b0, x, h.s1);
  h.s1 = h.s2 + fused(-c.a1, y, c.b1 * x);
  h.s2 = fused(-c.a2, y, c.b2 * x);
  return y;
}

[[maybe_unused]] void copy(const float* from, float* to, int n) {
  if (n > 0 && from != to) __builtin_memmove(to, from, static_cast<unsigned long>(n) * sizeof(float));
}

// Two identical sections in series, coefficients and histories side by side.
template <class Pair>
float pair_step(Pair& pair, float x) {
  return section_step(pair.coeffs[1], pair.history[1], section_step(pair.coeffs[0], pair.history[0], x));
}

}  // namespace
}  // namespace TARGET
#endif
