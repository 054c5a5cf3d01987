// The multi-band compressor as short passes: the middle bands' first sections; the rest of the crossover; followers, gains
// and the sum.
#pragma once

#include "dynamics/multiband_drc.kernel.h"
#include "lanes/parts.h"

#if defined(LANES)
namespace TARGET {
namespace {

//   | Q0 | Q1 | Q2 |  in series
struct MiddlePart {
  static constexpr int kQuads = 3;
  const float* pairs;
  float* made;  // four values a frame

  template <bool kEdge>
  INLINED void feed(const Quad*, Quad* x, int t, int) const {
    feed_twice(pairs + 2 * t, x);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int t, int) const {
    store(made + 4 * t, y[4]), store(made + 4 * t + 4, y[5]);
  }
};
template <>
constexpr int kSeriesFrom<MiddlePart> = 1;

//   | Q4 | on what the first pass made, and   | Q3 | Q5 |  in series
struct LastPart {
  static constexpr int kQuads = 3;
  const float *pairs, *middle;
  float* bands;  // eight values a frame

  template <bool kEdge>
  INLINED void feed(const Quad*, Quad* x, int t, int) const {
    x[0] = load<Quad>(middle + 4 * t), x[1] = load<Quad>(middle + 4 * t + 4);
    feed_twice(pairs + 2 * t, x + 2);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int t, int) const {
    for (int f = 0; f < 2; ++f) store(bands + 8 * (t + f), y[f]), store(bands + 8 * (t + f) + 4, y[4 + f]);
  }
};
template <>
constexpr int kSeriesFrom<LastPart> = 2;

template <bool kFour>
struct FollowPass : Followers<Quad> {
  using Followers<Quad>::Followers;

  // What comes in at a frame, times its make-up gain, and the followers after it.
  INLINED void follow(const float* bands, Quad* follower, Quad* x) const {
    for (int v = 0; v < 2; ++v) {
      x[v] = load<Quad>(bands + 4 * v) * gain[v];
      // The signed sample, not its magnitude.
      const Quad share = x[v] > follower[v] ? attack[v] : release[v];
      follower[v] = fused(share, follower[v], (1.0f - share) * magnitude(x[v]));
    }
  }
  INLINED void apply(const Quad* follower, Quad* x) const {
    for (int v = 0; v < 2; ++v) x[v] *= follower[v] >= between[v] ? upper[v] : lower[v];
  }
  INLINED Quad sums(const Quad* a, const Quad* b) const {  // of two frames
    const Quad a0 = to_add<kFour>(0, a[0]), a1 = to_add<kFour>(1, a[1]), b0 = to_add<kFour>(0, b[0]),
               b1 = to_add<kFour>(1, b[1]);
    return sum_of_bands(pairs_of(a1, b1), last_pairs_of(a1, b1), pairs_of(a0, b0), last_pairs_of(a0, b0));
  }
  // Two frames a turn from t on for as long as the gains in use are right, which is most of the time; where they no
  // longer are. Floats from 0 on are ordered like their bits, so one comparison of integers tells.
  INLINED int run_held(const float* bands, float* out, int t, int n) {
    typedef unsigned Bits __attribute__((vector_size(sizeof(Quad))));
    Bits begin[2]{}, width[2]{};
    for (int v = 0; v < 2; ++v) {
      begin[v] = (Bits)from[v];
      width[v] = compressed[v] ? (Bits)to[v] - begin[v] : Bits{} - 1u;
    }
    const auto held = [&](const Quad* follower) LAMBDA {
      return ((Bits)follower[0] - begin[0] < width[0]) & ((Bits)follower[1] - begin[1] < width[1]);
    };
    for (; t + 2 <= n; t += 2) {
      Quad follower[2] = {envelope[0], envelope[1]}, x[2], next[2];
      follow(bands + 8 * t, follower, x);
      apply(follower, x);
      const auto first_held = held(follower);
      follow(bands + 8 * t + 8, follower, next);
      apply(follower, next);
      if (__builtin_expect(!all_set(first_held & held(follower)), 0)) break;
      for (int v = 0; v < 2; ++v) envelope[v] = follower[v], value[v] = next[v];
      store(out + 2 * t, sums(x, next));
    }
    return t;
  }
  __attribute__((noinline)) void run_one(const float* bands, float* out) {
    follow(bands, envelope, value);
    for (int v = 0; v < 2; ++v)
      if (!all_set((envelope[v] >= from[v]) & (envelope[v] < to[v]))) look_up(v, envelope[v]);
    apply(envelope, value);
    store_pair(out, sums(value, value));
  }
  __attribute__((noinline)) void run(const float* bands, float* out, int n) {
    for (int t = 0; t < n;) {
      FollowPass here = *this;  // in registers
      t = here.run_held(bands, out, t, n);
      for (int v = 0; v < 2; ++v) envelope[v] = here.envelope[v], value[v] = here.value[v];
      for (const int end = t + 2; t < end && t < n; ++t) run_one(bands + 8 * t, out + 2 * t);
    }
  }
};

template <bool kFour>
void run_band_passes(const MultibandChannel* const (&channels)[2], float* pairs, int n,
                     lanes::Scratch& scratch) {
  Lanes<24> placed;
  for (int c = 0; c < 2; ++c) place_bands(placed, *channels[c], c);
  const int piece = scratch.piece_frames();
  float *const middle = scratch.pieces(), *const bands = middle + 4 * piece;
  PartWave<MiddlePart, true> first{nullptr, Sections<Quad, 3>(placed), {pairs, middle}};
  PartWave<LastPart, true> last{nullptr, Sections<Quad, 3>(placed, 12), {pairs, middle, bands}};
  FollowPass<kFour> followers(BandImage(channels), channels);
  for (int at = 0; at < n; at += piece) {
    const int length = n - at < piece ? n - at : piece;
    first.part.pairs = last.part.pairs = pairs + 2 * at;
    run_piece(first, length);
    run_piece(last, length);
    followers.run(bands, pairs + 2 * at, length);
  }
  first.sections.keep(placed);
  last.sections.keep(placed, 12);
  followers.keep(channels);
}

}  // namespace
}  // namespace TARGET
#endif
