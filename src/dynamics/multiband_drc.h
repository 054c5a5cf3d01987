// Record of the multi-band compressor.
#pragma once

#include <memory>

#include "dynamics/gain_table.h"
#include "dynamics/multiband_drc.kernel.h"
#include "filters/crossover.h"

namespace dynamics {
constexpr int kDrcChannels = 2;
constexpr int kDrcBands = 4;  // in the order low, high, middle 1, middle 2
}  // namespace dynamics

struct MultiBandDRCState {
  template <class T>
  using PerBand = T[dynamics::kDrcChannels][dynamics::kDrcBands];

  // Settings of Init.
  int bit_rate, sample_rate, channels, channel_link;
  // Bands per channel as the record gave them: any integer. Four have storage here.
  int crossover_band[dynamics::kDrcChannels];
  float band_scale[dynamics::kDrcChannels];  // 1 / crossover_band
  // Settings of the bands.
  PerBand<float> gain_dB;
  PerBand<int> drc_enable;
  PerBand<float> freq_start, freq_end;                                             // Hz
  PerBand<float> compress_start, expand_end, noise_threshold, max_gain, max_peak;  // dB
  PerBand<int> attack_time, release_time;                                          // ms
  PerBand<int> hold_time;  // ms; stored and reported only
  // What is made of them.
  PerBand<float> attack_coef, release_coef;  // the share of the follower that one sample leaves
  PerBand<float> gain_linear;
  PerBand<dynamics::GainTable> gain_table;
  PerBand<float> table_inv_step, table_start;
  float full_scale_log10;
  // Memory: level followers, linear at PCM scale.
  PerBand<float> envelope;
  CrossoverParam crossover_param;  // as last written, by whichever channel
  // Null only where crossover_band is still the 0 of a handle that has not been given a section.
  std::unique_ptr<CrossoverFilter> crossover[dynamics::kDrcChannels];
  PerBand<float> band_buf;  // the current sample's bands

  // Beyond the documented fields: coefficients again.
  PerBand<dynamics::GainSteps> gain_steps;
  dynamics::MultibandJob job;               // of the latest block
  std::unique_ptr<lanes::Scratch> scratch;  // null in a chain, which has one for all
};

namespace dynamics {

// What one sample leaves of a follower: exp(-1000 / (fs ms)), the RC time constant. The product is a 32-bit integer.
float sample_decay(int ms, int sample_rate);

// As the chain holds it: sharing the owner's working memory, and joining a block.
void share_scratch(MultiBandDRCState& s);
void join(MultiBandDRCState& s, float** in, float** out, lanes::Block& block);

}  // namespace dynamics
