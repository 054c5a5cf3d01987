// The linear gain ramps inside a block that maximizer and AGC share. Each reads a sample before it writes it.
#pragma once

#include <algorithm>
#include <cmath>

namespace dynamics {

// The larger of `peak` and the magnitudes of x.
inline float peak_with(float peak, const float* x, int n) {
  for (int i = 0; i < n; ++i) peak = std::max(peak, std::fabs(x[i]));
  return peak;
}

// The first sample that passes `bound` while the gain climbs by `step` a sample from `gain`, or n.
inline int first_overload(float gain, float step, float bound, const float* x, int n) {
  for (int i = 0; i < n; ++i) {
    gain += step;
    if (std::fabs(gain * x[i]) > bound) return i;
  }
  return n;
}

// x times a constant gain.
inline void scale_block(float gain, const float* in, float* out, int n) {
  for (int i = 0; i < n; ++i) out[i] = in[i] * gain;
}

// x times a gain that changes by `change` over the first `length` samples and stays there. The gain is
// accumulated, so its end differs from gain + change by rounding.
inline void ramp_block(float gain, float change, int length, const float* in, float* out, int n) {
  const float step = change / static_cast<float>(length);
  int i = 0;
  for (; i < length; ++i) {
    gain += step;
    out[i] = in[i] * gain;
  }
  for (; i < n; ++i) out[i] = in[i] * gain;
}

// The same over the whole block, limited to ±bound. NaN stays.
inline void ramp_block_clamped(float gain, float change, float bound, const float* in, float* out, int n) {
  const float step = change / static_cast<float>(n);
  for (int i = 0; i < n; ++i) {
    gain += step;
    const float y = gain * in[i];
    out[i] = y > bound ? bound : y < -bound ? -bound : y;
  }
}

}  // namespace dynamics
