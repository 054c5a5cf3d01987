// The sound of the de-esser: the energy in an octave decides how far the block is cross-faded into a notched copy.
#pragma once

#include "lanes/block.h"
#include "lanes/levels.h"
#include "lanes/parts.h"
#include "zelkaudio_effect_eqdrc.h"

namespace tone {

struct DeEsserChannel {
  const BiquadCoeffs *detector, *notch;
  BiquadHistory *detector_history, *notch_history;
  float gain;              // of the dry signal at the start of the block
  float inv_frame_length;  // share of the way to its target that a sample goes
  const float* in;
  float* out;
};
struct DeEsserJob : lanes::Job<DeEsserChannel> {
  // Given the energy of the channels up to this one, the gain to end the block with.
  float (*target)(void* owner, int channel, float energy);
  void* owner;
};
inline constexpr lanes::Kind kDeEsserKind{};

}  // namespace tone

#if defined(TARGET)
namespace TARGET {
namespace {

using tone::DeEsserChannel;
using tone::DeEsserJob;

// Adds the block's mean square in the detector's band to `energy`, sample by sample in this order.
float add_band_energy(const DeEsserChannel& c, int n, float energy) {
  const BiquadCoeffs detector = *c.detector;
  BiquadHistory h = *c.detector_history;
  for (int i = 0; i < n; ++i) {
    const float d = section_step(detector, h, c.in[i]);
    energy += d * d / static_cast<float>(n);
  }
  *c.detector_history = h;
  return energy;
}

// The gain moves to its target in a straight line over the block, against zipper noise.
void cross_fade(const DeEsserChannel& c, float step, int n) {
  const BiquadCoeffs notch = *c.notch;
  BiquadHistory h = *c.notch_history;
  float gain = c.gain;
  for (int i = 0; i < n; ++i) {
    gain += step;
    const float x = c.in[i];
    const float y = section_step(notch, h, x);
    c.out[i] = x * gain + (1.0f - gain) * y;
  }
  *c.notch_history = h;
}

[[maybe_unused]] void plain(const DeEsserJob& job, int n) {
  float energy =
      0;  // not reset between channels: channel 1 answers to both channels' sibilance. Hosts are tuned to it.
  for (int ch = 0; ch < job.count; ++ch) {
    const DeEsserChannel& c = job.channels[ch];
    energy = add_band_energy(c, n, energy);
    cross_fade(c, (job.target(job.owner, ch, energy) - c.gain) * c.inv_frame_length, n);
  }
}

#if defined(LANES)

// What its filters make of a block: what went through the notch waits until the block's energy is known.
struct DeEsserFrames {
  float* notched;  // pairs
  float* squares;  // of the second channel in the detector's band, divided by the block's length
  float energy;    // the first channel's squares, added up

  explicit DeEsserFrames(lanes::Scratch& s)
      : notched(s.pairs[lanes::Scratch::kBetween]), squares(s.rows[2]), energy(0) {}
};

//   | detector L R | notch L R |  both read the frame
//
// The first channel's energy is added up in order beside the filters. The second channel's begins where that ends.
struct DeEsserPart {
  static constexpr int kQuads = 1;
  const DeEsserChannel* const* channels;
  int start;
  const float* pairs;
  float *squares, *notched;
  float* first_energy;
  Quad energy, length;

  DeEsserPart(const DeEsserChannel* const (&c)[2], int first_step, int n, const float* frames,
              DeEsserFrames& results)
      : channels(c),
        start(first_step),
        pairs(frames),
        squares(results.squares),
        notched(results.notched),
        first_energy(&results.energy),
        energy{},
        length(Quad{} + static_cast<float>(n)) {}

  int last_step() const { return start; }

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    for (int c = 0; c < 2; ++c) {
      lanes.place(at + c, start, *channels[c]->detector, *channels[c]->detector_history);
      lanes.place(at + 2 + c, start, *channels[c]->notch, *channels[c]->notch_history);
    }
  }
  template <bool kEdge>
  INLINED void feed(const Quad*, Quad* x, int step, int) const {
    const float* const in = pairs + 2 * (step - start);
    if constexpr (kShortPasses)
      feed_twice(in, x);
    else
      x[0] = quad_pairs(in);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int n) {
    const int t = step - start;
    if (kEdge && (t < 0 || t >= n)) return;
    if constexpr (kShortPasses) {
      const Quad d = pairs_of(y[0], y[1]), square = d * d / length;
      energy += square;
      if (!kEdge || t + 1 < n) energy += swap_pairs(square);
      store_pair(squares + t, __builtin_shufflevector(square, square, 1, 3, 1, 3));
      store(notched + 2 * t, last_pairs_of(y[0], y[1]));
    } else {
      const Quad square = y[0] * y[0] / length;
      energy += square;
      squares[t] = square[1];
      store_last_pair(notched + 2 * t, y[0]);
    }
  }
  INLINED void finish(int) const { *first_energy = energy[0]; }
};

// x and y are every other sample.
void cross_fade_pairs(const float* x, const float* y, const float* gains, float* __restrict out, int n) {
  for (int i = 0; i < n; ++i) out[i] = x[2 * i] * gains[i] + (1.0f - gains[i]) * y[2 * i];
}

// In order, eight to a turn.
float added_up(float sum, const float* x, int n) {
  for (; n >= 8; n -= 8, x += 8)
    for (int k = 0; k < 8; ++k) sum += x[k];
  for (int i = 0; i < n; ++i) sum += x[i];
  return sum;
}

// The gains that the block's energy asks for, and the cross-fade of the frames that went through the filters.
void cross_fade_lanes(const DeEsserJob& job, const float* pairs, const DeEsserFrames& made, int n) {
  float energy = made.energy;  // not reset between channels
  for (int c = 0; c < job.count; ++c) {
    const DeEsserChannel& channel = job.channels[c];
    if (c == 1) energy = added_up(energy, made.squares, n);
    const float step = (job.target(job.owner, c, energy) - channel.gain) * channel.inv_frame_length;
    float gains[lanes::Scratch::kMostFrames];
    lanes_ramp(channel.gain, step, gains, n);
    cross_fade_pairs(pairs + c, made.notched + c, gains, channel.out, n);
  }
}

void in_lanes(const DeEsserJob& job, int n, lanes::Scratch& scratch) {
  if (n < 1 || n > scratch.frames || job.count < 1) return plain(job, n);
  const DeEsserChannel* const channels[2] = {&job.channels[0], &job.channels[job.count - 1]};
  float* const pairs = scratch.pairs[lanes::Scratch::kBlock];
  DeEsserFrames made(scratch);
  interleave(channels[0]->in, channels[1]->in, n, pairs);
  run_part(DeEsserPart(channels, 0, n, pairs, made), n);
  cross_fade_lanes(job, pairs, made, n);
}

#endif
}  // namespace
}  // namespace TARGET
#endif
