// Record of the loudness meter, for its owner and for the code that runs it a block at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "common/numeric.h"
#include "common/time_constant.h"
#include "loudness/r128_meter.kernel.h"
#include "zelkaudio_effect_eqdrc.h"

namespace loudness {

// The K-weighting of one channel: high shelf, then high-pass.
struct KWeightingCoeffs {
  BiquadCoeffs shelf, high_pass;
};
struct KWeightingHistory {
  BiquadHistory shelf, high_pass;
};

KWeightingCoeffs design_k_weighting(float sample_rate);

constexpr int kHistoryBlocks = 200;

}  // namespace loudness

struct Ebur128State {
  int bit_rate;
  int32_t input_scale;  // negative for 32 bit; the sign is lost where the signal is squared
  int sample_rate, channels;
  int window_ms;
  std::vector<float>
      squares;  // ring that all channels share; empty when the window or the channel count is below 1
  int window_samples;
  int ring_position;        // next entry to overwrite
  std::vector<float> sums;  // per channel, of squares
  int samples_to_next_block;
  std::vector<float> weights;  // per channel
  int step_ms, step_samples;
  std::vector<loudness::KWeightingCoeffs> coeffs;    // per channel
  std::vector<loudness::KWeightingHistory> history;  // per channel
  std::vector<float> block_energies;                 // ring of blocks that passed the absolute gate
  int block_capacity, block_position, block_count;

  // Beyond the documented fields.
  loudness::MeterJob job;  // of the latest block
  int frames_joined;
  bool all_joined;                          // no channels follow
  std::unique_ptr<lanes::Scratch> scratch;  // null where its owner has one
};

namespace loudness {

// ebur128_init without working memory, and ebur128_addframes by way of a block.
Ebur128State* create_meter(int bit_rate, int sample_rate, int channels, int window_ms, int step_ms);
void join(Ebur128State* s, float** in, lanes::Block& block);

// The share of the way to its goal that auto gain goes in one block. -2200 * frames is a 32-bit integer product.
inline float share_per_block(int frame_length, int sample_rate, float ms) {
  const auto rise = static_cast<float>(common::wrapping_mul(common::kRiseTime, frame_length));
  return 1.0f - common::block_decay(rise, sample_rate, ms);
}

// Auto gain as the chain holds it: sharing the owner's working memory. The meter joins the block; the gain itself is
// applied at once.
void share_scratch(AutoGainState& s);
void join(AutoGainState& s, float** in, float** out, lanes::Block& block);

}  // namespace loudness
