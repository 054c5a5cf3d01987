// One-pole smoothing that is applied once per block.
#pragma once

#include <cmath>

namespace common {

// 2.2, a one-pole's 10 % to 90 % rise in time constants, times 1000 ms; negative, as the exponent needs it.
constexpr int kRiseTime = -2200;

// The share of the old value that is left after one block: exp(-2200 frames / (fs ms)). The caller forms
// -2200 * frames, some effects in integers (it may wrap), some in floats. A time of 0 gives 0: the new value
// at once. expf gives x86-64 with fused multiply-add other bits than all the rest at one float, -63.09946; the
// result, 4.0e-28, is lost against the 1 that it is subtracted from or the level + 1 that it ends up in, or
// takes a gain to nothing.
inline float block_decay(float frames_times_rise, int sample_rate, float ms) {
  return expf(frames_times_rise / (static_cast<float>(sample_rate) * ms));
}

}  // namespace common
