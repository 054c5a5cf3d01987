// The design of the meter's filters, apart from what runs them: whoever judges settings links this and no more.
#include <cmath>

#include "common/numeric.h"
#include "loudness/r128_meter.h"

// BS.1770's two stages as analogue prototypes under the bilinear transform, so that they hold at any sample
// rate. The numerator of the high-pass is not divided by a0: required, and part of what the offset takes off.
loudness::KWeightingCoeffs loudness::design_k_weighting(float sample_rate) {
  KWeightingCoeffs c{};
  {
    const float K = common::tan_rounded_once(5284.0786f / sample_rate);  // pi * 1681.974 Hz
    const float Q = 0.70717525f, Vh = 1.5848647f;
    const float VbKQ = K * 1.258721f / Q;
    const float a0 = std::fma(K, K, K / Q) + 1.0f;
    c.shelf.b0 = (std::fma(K, K, VbKQ) + Vh) / a0;
    c.shelf.b1 = 2.0f * std::fma(K, K, -Vh) / a0;
    c.shelf.b2 = (std::fma(K, K, -VbKQ) + Vh) / a0;
    c.shelf.a1 = 2.0f * std::fma(K, K, -1.0f) / a0;
    c.shelf.a2 = (std::fma(K, K, -(K / Q)) + 1.0f) / a0;
  }
  {
    const float K = common::tan_rounded_once(119.80612f / sample_rate);  // pi * 38.1355 Hz
    const float Q = 0.50032705f;
    const float a0 = std::fma(K, K, K / Q) + 1.0f;
    c.high_pass = {1.0f, -2.0f, 1.0f, 2.0f * std::fma(K, K, -1.0f) / a0,
                   (std::fma(K, K, -(K / Q)) + 1.0f) / a0};
  }
  return c;
}
