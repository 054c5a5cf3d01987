// Record of the maximizer and of the automatic gain control, which is its second mode.
#pragma once

#include <cmath>
#include <vector>

#include "common/numeric.h"
#include "common/time_constant.h"
#include "dynamics/gain_table.h"

namespace dynamics {
constexpr int kMaximizerChannels = 2;
}

struct MaximizerState {
  // Settings of Init.
  int bit_rate, sample_rate, channels, swFrmLen, channel_link;
  float log_full_scale, clip_level;
  // Limiter: settings, and what is made of them.
  float ceiling[dynamics::kMaximizerChannels];  // dB
  float release[dynamics::kMaximizerChannels];  // ms
  float max_table_start[dynamics::kMaximizerChannels];
  std::vector<dynamics::GainTable> max_table;  // limiter gain times ceiling_gain
  float max_table_scale[dynamics::kMaximizerChannels];
  float release_coef[dynamics::kMaximizerChannels];
  float ceiling_gain[dynamics::kMaximizerChannels];
  float max_threshold[dynamics::kMaximizerChannels];  // dB
  // AGC: settings in dB and ms, and what is made of them.
  float noise_threshold[dynamics::kMaximizerChannels], expand_end[dynamics::kMaximizerChannels];
  float compress_start[dynamics::kMaximizerChannels];
  float max_gain[dynamics::kMaximizerChannels], max_peak[dynamics::kMaximizerChannels];
  float attack_time[dynamics::kMaximizerChannels], release_time[dynamics::kMaximizerChannels];
  float hold_time[dynamics::kMaximizerChannels];  // stored and reported only
  float agc_table_start[dynamics::kMaximizerChannels];
  std::vector<dynamics::GainTable> agc_table;
  float agc_table_scale[dynamics::kMaximizerChannels];
  float attack_coef[dynamics::kMaximizerChannels], release_time_coef[dynamics::kMaximizerChannels];
  // Memory: the linear gain that the block before ended at.
  std::vector<float> agc_gain, limiter_gain;
};

namespace dynamics {

struct AgcSettings {
  CurvePoints points;
  float attack_time, release_time, hold_time;  // ms
};

// Settings, coefficients and table of one channel; its gain restarts at 1. Warns in the name of `function`.
void load_agc(MaximizerState& s, size_t ch, const AgcSettings& settings, const char* function);

// The share of the target that the gain takes on in one block.
inline float block_share(int frame_length, int sample_rate, float ms) {
  const float rise = static_cast<float>(frame_length) * static_cast<float>(common::kRiseTime);
  return 1.0f - common::block_decay(rise, sample_rate, ms);
}

// What the limiter's table is multiplied by; 0.998 leaves 0.02 dB below the ceiling.
inline float limiter_factor(float max_threshold, float ceiling) {
  return common::dB_to_linear(ceiling - max_threshold) * 0.998f;
}

// One block's step of a gain toward its target.
inline float smoothed(float gain, float target, float share) {
  return std::fma(1.0f - share, gain, share * target);
}

}  // namespace dynamics
