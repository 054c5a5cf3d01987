// The sound of the bass enhancer: split, waveshaper and DC blocker on the low part, harmonic filters, sum.
#pragma once

#include "filters/biquad.h"
#include "lanes/block.h"
#include "lanes/parts.h"

namespace tone {

struct BassChannel {
  filters::BiquadPair *bass_lowpass, *main_highpass, *harmonic_lowpass, *harmonic_highpass;
  filters::BiquadPair* floor_highpass;  // null when off
  float pos_offset, pos_bias, neg_offset, neg_bias, pos_const, neg_const, shaper_gain;
  float dc_coef;
  float *dc_prev_in, *dc_prev_out;
  float amount;
  float scale;  // full scale, a power of two
  const float* in;
  float* out;
};
using BassJob = lanes::Job<BassChannel>;
inline constexpr lanes::Kind kBassKind{};

}  // namespace tone

#if defined(TARGET)
namespace TARGET {
namespace {

using filters::BiquadPair;
using tone::BassChannel;
using tone::BassJob;

constexpr float kTiny = 1e-8f;

// The square root, and 0 for anything too small to matter: no denormals in the recursion behind it.
float guarded_root(float v) { return v > kTiny ? __builtin_sqrtf(v) : 0.0f; }
float flushed(float v) { return __builtin_fabsf(v) > kTiny ? v : 0.0f; }

// Unlike halves: even harmonics as well as odd ones. The magnitude keeps the root defined for any input.
float shape(const BassChannel& c, float l) {
  if (l >= 0.0f)
    return c.shaper_gain * (guarded_root(__builtin_fabsf((c.pos_offset - l) * l + c.pos_const)) + c.pos_bias);
  return -c.shaper_gain * (guarded_root(__builtin_fabsf(c.neg_const - (l + c.neg_offset) * l)) + c.neg_bias);
}

[[maybe_unused]] void plain(const BassJob& job, int n) {
  for (int ch = 0; ch < job.count; ++ch) {
    const BassChannel c = job.channels[ch];
    BiquadPair bass = *c.bass_lowpass, main = *c.main_highpass;
    BiquadPair harmonic_lowpass = *c.harmonic_lowpass, harmonic_highpass = *c.harmonic_highpass;
    BiquadPair floor_highpass{};
    if (c.floor_highpass) floor_highpass = *c.floor_highpass;
    float prev_in = *c.dc_prev_in, prev_out = *c.dc_prev_out;
    for (int i = 0; i < n; ++i) {
      const float x = c.in[i] / c.scale;
      const float low = pair_step(bass, x);
      const float high = pair_step(main, x);
      const float y = shape(c, low);
      const float z = ((y - prev_in) + prev_out) * c.dc_coef;
      prev_in = flushed(y), prev_out = flushed(z);
      float harmonics = pair_step(harmonic_highpass, pair_step(harmonic_lowpass, z));
      if (c.floor_highpass) harmonics = pair_step(floor_highpass, harmonics);
      c.out[i] =
          c.scale * fused(harmonics, c.amount, high);  // the dry bass is left out: its harmonics stand for it
    }
    *c.bass_lowpass = bass, *c.main_highpass = main;
    *c.harmonic_lowpass = harmonic_lowpass, *c.harmonic_highpass = harmonic_highpass;
    if (c.floor_highpass) *c.floor_highpass = floor_highpass;
    *c.dc_prev_in = prev_in, *c.dc_prev_out = prev_out;
  }
}

#if defined(LANES)

template <class V>
V in_every_quad(Quad q) {
  const Quad all[] = {q, q};
  return register_of<V>(all);
}

// What lies between low-pass and harmonic filters, in V's lanes.
template <class V>
struct BassShaper {
  V P, Q, minus_R, S, T, U, gain;
  Quad dc_coef;

  explicit BassShaper(const BassChannel* const (&c)[2])
      : P(in_every_quad<V>(both(c, &BassChannel::pos_offset))),
        Q(in_every_quad<V>(both(c, &BassChannel::pos_bias))),
        minus_R(-in_every_quad<V>(both(c, &BassChannel::neg_offset))),
        S(in_every_quad<V>(both(c, &BassChannel::neg_bias))),
        T(in_every_quad<V>(both(c, &BassChannel::pos_const))),
        U(in_every_quad<V>(both(c, &BassChannel::neg_const))),
        gain(in_every_quad<V>(both(c, &BassChannel::shaper_gain))),
        dc_coef(both(c, &BassChannel::dc_coef)) {}

  INLINED V shape(V l) const {
    const auto positive = l >= 0.0f;
    const V v = magnitude(((positive ? P : minus_R) - l) * l + (positive ? T : U));  // U - (l + R) l below 0
    const V guarded = v > kTiny ? root(v) : V{};
    return (positive ? gain : -gain) * (guarded + (positive ? Q : S));
  }
};

// After them.
struct BassMix {
  Quad amount, scale, scale_after;  // back to full scale, and to that of what comes after

  BassMix(const BassChannel* const (&c)[2], float after)
      : amount(both(c, &BassChannel::amount)),
        scale(both(c, &BassChannel::scale)),
        scale_after(Quad{} + after) {}
  INLINED Quad mixed(Quad harmonics, Quad high) const {
    return fused(harmonics, amount, high) * scale * scale_after;
  }
};

//
//   Q0 | low-pass 1 | harmonic low 1 |  read the frame, and z as the DC blocker left it
//   Q1 | low-pass 2 | harmonic low 2 |  reads Q0
//   Q2 | harmonic high 1 | floor 1   |  read harmonic low 2, and harmonic high 2
//   Q3 | harmonic high 2 | floor 2   |  reads Q2
//   Q4 | high-pass 1 | high-pass 2   |  started so late that it comes out with the harmonics
//
// Without the floor filter, the high-pass has its lanes. The shaper is long and nothing in it recurs, so it takes the
// low-pass for as many frames at once as a register holds, and what it makes waits while the next ones gather.
template <bool kFloor>
struct BassPart {
  static constexpr int kQuads = kFloor ? 5 : 4;
  static constexpr int kChunk = kLanes / 2;  // frames shaped at once
  static constexpr int kDcLag = 2 * kChunk + 1;
  static constexpr int kLag = kDcLag + (kFloor ? 6 : 4);
  const BassChannel* const* channels;
  int start;
  BassShaper<Vec> shaper;
  Vec lows;     // of the latest frames, the oldest first
  Vec shaped;   // of the latest chunk
  Vec waiting;  // of the DC blocker's inputs, one chunk
  Vec ready;    // the chunk before it, the next frame first
  Quad z, prev_out;
  float last_shaped[kLanes];  // the chunk that holds the block's last frame
  BassMix mix;
  float* pairs;

  BassPart(const BassChannel* const (&c)[2], int first_step, float after, float* frames)
      : channels(c),
        start(first_step),
        shaper(c),
        lows{},
        shaped(in_every_quad<Vec>(Quad{0.0f, 0.0f, *c[0]->dc_prev_in, *c[1]->dc_prev_in})),
        waiting{},
        ready{},
        z{},
        prev_out{*c[0]->dc_prev_out, *c[1]->dc_prev_out},
        last_shaped{},
        mix(c, after),
        pairs(frames) {}

  int last_step() const { return start + kLag; }

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    for (int c = 0; c < 2; ++c) {
      const auto pair = [&](BiquadPair& edge, int lane1, int lane2, int lag) {
        lanes.place(at + lane1 + c, start + lag, edge.coeffs[0], edge.history[0]);
        lanes.place(at + lane2 + c, start + lag + 1, edge.coeffs[1], edge.history[1]);
      };
      const BassChannel& channel = *channels[c];
      pair(*channel.bass_lowpass, 0, 4, 0);
      pair(*channel.harmonic_lowpass, 2, 6, kDcLag + 1);
      pair(*channel.harmonic_highpass, 8, 12, kDcLag + 3);
      if (kFloor) pair(*channel.floor_highpass, 10, 14, kDcLag + 5);
      pair(*channel.main_highpass, kFloor ? 16 : 10, kFloor ? 18 : 14, kLag - 1);
    }
  }

  // The chunk of frames whose last has just come out of the low-pass.
  INLINED void shape_chunk() {
    const Vec before = shaped;
    shaped = shaper.shape(lows);
    const Vec previous = pair_up(before, shaped);
    ready = waiting;
    waiting = shaped - (magnitude(previous) > kTiny ? previous : Vec{});
  }

  template <bool kEdge>
  INLINED void feed(const Quad* y, Quad* x, int step, int n) {
    const int t = step - start;
    const Quad now = quad_pairs(pairs + 2 * t), before = quad_pairs(pairs + 2 * (t - (kLag - 1)));
    x[0] = pairs_of(now, z), x[1] = y[0];
    x[2] = last_and_first(y[1], kFloor ? y[3] : before), x[3] = y[2];
    if constexpr (kFloor) x[4] = pairs_of(before, y[4]);

    lows = pair_down(lows, y[1]);  // of frame t - 2
    ready = pair_down(ready, Quad{});
    if ((t - 1) % kChunk == 0 && (!kEdge || t > 1)) {
      shape_chunk();
      if (kEdge && (n - 1) / kChunk == (t - 2) / kChunk) store(last_shaped, shaped);
    }
    z = (first_quad(ready) + prev_out) * shaper.dc_coef;
    const Quad next_out = magnitude(z) > kTiny ? z : Quad{};
    if constexpr (kEdge)
      prev_out = busy(MaskOf<Quad>{} + kDcLag, t, n) ? next_out : prev_out;
    else
      prev_out = next_out;
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int) {
    const int t = step - start;
    if (kEdge && t < kLag) return;
    const Quad out = mix.mixed(y[3], kFloor ? y[4] : swap_pairs(y[3]));
    float* const to = pairs + 2 * (t - kLag);
    if constexpr (kFloor)
      store_last_pair(to, out);
    else
      store_pair(to, out);
  }
  INLINED void finish(int n) const {
    for (int c = 0; c < 2; ++c) {
      const float last = last_shaped[(n - 1) % kChunk * 2 + c];
      *channels[c]->dc_prev_in = flushed(last);
      *channels[c]->dc_prev_out = prev_out[c];
    }
  }
};

// As short passes.
template <bool kFloor>
void run_bass_passes(const BassChannel* const (&channels)[2], float* pairs, int n, float* high);

template <bool kFloor>
void run_bass(const BassChannel* const (&channels)[2], float* pairs, int n,
              [[maybe_unused]] lanes::Scratch& scratch) {
  if constexpr (kShortPasses)
    run_bass_passes<kFloor>(channels, pairs, n, scratch.pairs[lanes::Scratch::kBetween]);
  else
    run_part(BassPart<kFloor>(channels, 0, 1.0f, pairs), n);
}

bool same_floor(const BassJob& job) {
  return !job.channels[0].floor_highpass == !job.channels[job.count - 1].floor_highpass;
}

void in_lanes(const BassJob& job, int n, lanes::Scratch& scratch) {
  if (job.count < 1) return;
  in_passes(job, same_floor(job), 1.0f / job.channels[0].scale, n, scratch,
            [&](const BassChannel* const(&channels)[2], float* pairs, int length) {
              if (channels[0]->floor_highpass)
                run_bass<true>(channels, pairs, length, scratch);
              else
                run_bass<false>(channels, pairs, length, scratch);
            });
}

#endif
}  // namespace
}  // namespace TARGET
#endif

#include "tone/bass_enhancer.passes.h"
