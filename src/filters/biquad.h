// The step that every filter of the library runs.
#pragma once

#include <cmath>

#include "zelkaudio_effect_eqdrc.h"

namespace filters {

// Transposed direct form II. The grouping is the contract: the loop-carried path is fma, add, fma, and
// another order changes the last bit of the output.
inline float biquad_step(const BiquadCoeffs& c, BiquadHistory& h, float x) {
  const float y = std::fma(c.b0, x, h.s1);
  h.s1 = h.s2 + std::fma(-c.a1, y, c.b1 * x);
  h.s2 = std::fma(-c.a2, y, c.b2 * x);
  return y;
}

// Two identical sections in series: one edge of a Linkwitz-Riley crossover.
struct BiquadPair {
  BiquadCoeffs coeffs[2];
  BiquadHistory history[2];
};

inline float pair_step(BiquadPair& p, float x) {
  return biquad_step(p.coeffs[1], p.history[1], biquad_step(p.coeffs[0], p.history[0], x));
}

// A pair of such sections, with nothing in its history.
inline BiquadPair fresh_pair(const BiquadCoeffs& c) { return {{c, c}, {}}; }

}  // namespace filters
