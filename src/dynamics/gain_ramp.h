// The linear gain ramps inside a block that maximizer and AGC share. Each reads a sample before it writes it.
#pragma once

#include <algorithm>
#include <cmath>

#include "lanes/target.h"

namespace dynamics {

constexpr int kRampChunk = 1024;

// The larger of `peak` and the magnitudes of x.
inline float peak_with(float peak, const float* x, int n) { return lanes::target().peak(peak, x, n); }

// Calls use(gains, at, count) for the block in pieces, with the gain of each sample while it climbs by `step` a
// sample from `gain`; stops where use returns false. Returns the latest gain.
template <class Use>
float for_each_ramp(float gain, float step, int n, Use use) {
  float gains[kRampChunk];
  for (int at = 0; at < n; at += kRampChunk) {
    const int count = std::min(kRampChunk, n - at);
    gain = lanes::target().ramp(gain, step, gains, count);
    if (!use(gains, at, count)) break;
  }
  return gain;
}

// The first of n samples that passes `bound` under its gain, or n.
inline int first_over(const float* gains, const float* x, float bound, int n) {
  constexpr int kStretch = 64;  // looked at as a whole: there is seldom anything to find
  for (int begin = 0; begin < n; begin += kStretch) {
    const int end = std::min(n, begin + kStretch);
    int over = 0;
    for (int i = begin; i < end; ++i) over |= std::fabs(gains[i] * x[i]) > bound;
    for (int i = begin; over && i < end; ++i)
      if (std::fabs(gains[i] * x[i]) > bound) return i;
  }
  return n;
}

// The first sample that passes `bound` while the gain climbs by `step` a sample from `gain`, or n.
inline int first_overload(float gain, float step, float bound, const float* x, int n) {
  int first = n;
  for_each_ramp(gain, step, n, [&](const float* gains, int at, int count) {
    const int i = first_over(gains, x + at, bound, count);
    if (i < count) first = at + i;
    return i == count;
  });
  return std::max(0, first);
}

// x times a constant gain.
inline void scale_block(float gain, const float* in, float* out, int n) {
  for (int i = 0; i < n; ++i) out[i] = in[i] * gain;
}

// x times a gain that changes by `change` over the first `length` samples and stays there. The gain is
// accumulated, so its end differs from gain + change by rounding.
inline void ramp_block(float gain, float change, int length, const float* in, float* out, int n) {
  if (n < 1) return;
  const float step = change / static_cast<float>(length);
  const float last = for_each_ramp(gain, step, length, [&](const float* gains, int at, int count) {
    for (int i = 0; i < count; ++i) out[at + i] = in[at + i] * gains[i];
    return true;
  });
  scale_block(last, in + length, out + length, n - length);
}

// The same over the whole block, limited to ±bound. NaN stays.
inline void ramp_block_clamped(float gain, float change, float bound, const float* in, float* out, int n) {
  const float step = change / static_cast<float>(n);
  for_each_ramp(gain, step, n, [&](const float* gains, int at, int count) {
    for (int i = 0; i < count; ++i) {
      const float y = gains[i] * in[at + i];
      out[at + i] = y > bound ? bound : y < -bound ? -bound : y;
    }
    return true;
  });
}

}  // namespace dynamics
