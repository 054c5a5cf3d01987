// Record and design of the crossover filter bank, for the code that runs it a block at a time or judges its settings.
#pragma once

#include <vector>

#include "filters/biquad.h"
#include "filters/design.h"

namespace filters {

// One section of each edge; every edge is two of them in series. Those of the middle bands run only where mid_bands
// asks for them.
struct CrossoverDesign {
  BiquadCoeffs low, high, mid1_highpass, mid1_lowpass, mid2_highpass, mid2_lowpass;
};
inline CrossoverDesign design_crossover(const CrossoverParam& p, int sample_rate) {
  const auto section = [fs = static_cast<float>(sample_rate)](FilterType type, float fc) {
    return design(type, fs, fc, 0.0f, 0.0f);
  };
  return {section(ButterworthLP, p.low_fc),      section(ButterworthHP, p.high_fc),
          section(ButterworthHP, p.mid1_low_fc), section(ButterworthLP, p.mid1_high_fc),
          section(ButterworthHP, p.mid2_low_fc), section(ButterworthLP, p.mid2_high_fc)};
}

}  // namespace filters

struct CrossoverFilter {
  float low_fc, high_fc, mid1_low_fc, mid1_high_fc, mid2_low_fc, mid2_high_fc;  // Hz
  int sample_rate, channels;
  int mid_bands;                  // fixed at creation
  int coef_count, history_count;  // per channel and path: always 10 and 4
  // Filter paths, one pair of sections per channel; empty where mid_bands leaves the path out.
  std::vector<filters::BiquadPair> low, high, mid1_highpass, mid1_lowpass, mid2_highpass, mid2_lowpass;
};
