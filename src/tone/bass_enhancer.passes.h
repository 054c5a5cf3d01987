// The bass enhancer as two short passes.
#pragma once

#include "tone/bass_enhancer.kernel.h"

#if defined(LANES)
namespace TARGET {
namespace {

// In the first, what depends on each other is done in steps of its own: filters, shaper, DC blocker. `high` is room for
// another block.
//
//   | low-pass 1 L R | high-pass 1 L R |  read the frame        then the harmonics' filters, in halves:
//   | low-pass 2     | high-pass 2     |                        | s0 L R | s3 L R | and so on
struct BassFirstPart {
  static constexpr int kQuads = 2, kLag = 4;
  const BassChannel* const* channels;
  BassShaper<Quad> shaper;
  float *pairs, *high;
  Quad shaped, prev_out;
  Quad lows{}, differences{};

  int last_step() const { return kLag; }

  template <int L>
  void place(Lanes<L>& lanes, int) const {
    for (int k = 0; k < 4; ++k)
      for (int c = 0; c < 2; ++c) {
        BiquadPair& edge = k % 2 ? *channels[c]->main_highpass : *channels[c]->bass_lowpass;
        lanes.place(2 * k + c, 0, edge.coeffs[k / 2], edge.history[k / 2]);
      }
  }
  INLINED static Quad without_tiny(Quad x) { return (Quad)((MaskOf<Quad>)x & is_larger(x, Quad{} + kTiny)); }
  INLINED Quad block_dc(Quad difference) {
    const Quad z = (difference + prev_out) * shaper.dc_coef;
    prev_out = without_tiny(z);
    return z;
  }
  template <bool kEdge>
  INLINED void feed(const Quad*, Quad* x, int t, int n) {
    feed_twice(pairs + 2 * t, x);
    if (!kEdge || t >= kLag) {
      const Quad z = block_dc(differences), out = prev_out, next = block_dc(swap_pairs(differences));
      if (kEdge && t + 1 - kLag >= n) prev_out = out;
      store(pairs + 2 * (t - kLag), pairs_of(z, next));  // where the frames were
    }
    if (!kEdge || (t >= 2 && t - 2 < n)) {
      const Quad before = shaped;
      shaped = shaper.shape(lows);
      differences = shaped - without_tiny(last_and_first(before, shaped));
    }
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int t, int n) {
    lows = pairs_of(y[2], y[3]);
    if (!kEdge || t < n) store(high + 2 * t, last_pairs_of(y[2], y[3]));
  }
  INLINED void finish(int n) const {
    for (int c = 0; c < 2; ++c) {
      *channels[c]->dc_prev_in = flushed(shaped[n % 2 ? c : 2 + c]);
      *channels[c]->dc_prev_out = prev_out[c];
    }
  }
};
template <>
constexpr int kSeriesFrom<BassFirstPart> = 1;

template <bool kFloor>
struct BassLastPart {
  static constexpr int kQuads = kFloor ? 3 : 2, kLag = 2;
  const BassChannel* const* channels;
  BassMix mix;
  float* pairs;
  const float* high;
  Late late{};

  int last_step() const { return kLag; }

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    for (int c = 0; c < 2; ++c) {
      const BassChannel& channel = *channels[c];
      BiquadPair* const series[] = {channel.harmonic_lowpass, channel.harmonic_highpass,
                                    channel.floor_highpass};
      for (int k = 0; k < 2 * kQuads; ++k)
        lanes.place(at + 4 * (k % kQuads) + 2 * (k / kQuads) + c, kLag * (k / kQuads),
                    series[k / 2]->coeffs[k % 2], series[k / 2]->history[k % 2]);
    }
  }
  template <bool kEdge>
  INLINED void feed(const Quad*, Quad* x, int t, int) const {
    late.feed(pairs + 2 * t, x);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int) {
    const int t = step - kLag;
    late = {y[2 * kQuads - 2], y[2 * kQuads - 1]};
    if (kEdge && t < 0) return;
    const Quad harmonics = last_pairs_of(late.y0, late.y1);
    store(pairs + 2 * t, mix.mixed(harmonics, load<Quad>(high + 2 * t)));
  }
  INLINED void finish(int) const {}
};
template <bool kFloor>
constexpr int kSeriesFrom<BassLastPart<kFloor>> = 1;

// The first pass; `high` is room for another block.
template <bool kFloor>
void run_bass_first(const BassChannel* const (&channels)[2], float* pairs, float* high, int n) {
  const BassChannel &c0 = *channels[0], &c1 = *channels[1];
  const Quad prev_in{0.0f, 0.0f, *c0.dc_prev_in, *c1.dc_prev_in}, prev_out{*c0.dc_prev_out, *c1.dc_prev_out};
  run_part(BassFirstPart{channels, BassShaper<Quad>(channels), pairs, high, prev_in, prev_out}, n);
}

template <bool kFloor>
void run_bass_passes(const BassChannel* const (&channels)[2], float* pairs, int n, float* high) {
  run_bass_first<kFloor>(channels, pairs, high, n);
  run_part(BassLastPart<kFloor>{channels, BassMix(channels, 1.0f), pairs, high}, n);
}

}  // namespace
}  // namespace TARGET
#endif
