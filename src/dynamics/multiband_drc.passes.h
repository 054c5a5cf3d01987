// The multi-band compressor as short passes: the middle bands' first sections; the rest of the crossover; followers, gains
// and the sum.
#pragma once

#include "dynamics/multiband_drc.kernel.h"
#include "lanes/passes.h"

#if defined(LANES)
namespace TARGET {
namespace {

//   | Q0 | Q1 | Q2 |  in series, all within the frame
struct MiddlePass {
  Sections<Quad, 3> sections;
  const float* pairs;
  float* made;  // four values a frame

  template <bool kEdge>
  INLINED void turn(int t, int n) {
    const Quad in = load<Quad>(pairs + 2 * t);
    Quad x[2] = {pairs_of(in, in), last_pairs_of(in, in)};
    two_through<kEdge, 0, 3>(sections, x, t, n);
    store(made + 4 * t, x[0]), store(made + 4 * t + 4, x[1]);
  }
};

//   | Q3 | Q5 |  in series, and
//   | Q4 |       on what the first pass made
struct LastPass {
  Sections<Quad, 3> sections;
  const float *pairs, *middle;
  float* bands;  // eight values a frame

  template <bool kEdge>
  INLINED void turn(int t, int n) {
    const Quad in = load<Quad>(pairs + 2 * t);
    Quad m[2] = {load<Quad>(middle + 4 * t), load<Quad>(middle + 4 * t + 4)};
    Quad x[2] = {pairs_of(in, in), last_pairs_of(in, in)};
    two_through<kEdge, 1, 2>(sections, m, t, n);
    two_through<kEdge, 0, 1>(sections, x, t, n);
    two_through<kEdge, 2, 3>(sections, x, t, n);
    for (int f = 0; f < 2; ++f) store(bands + 8 * (t + f), m[f]), store(bands + 8 * (t + f) + 4, x[f]);
  }
};

// Two frames a turn for as long as the gains in use hold, which is most of the time. Floats from 0 on are ordered like
// their bits, so whether a follower is between two of them is one comparison of integers.
template <bool kFour>
struct FollowPass {
  typedef unsigned Bits __attribute__((vector_size(sizeof(Quad))));
  Followers<Quad> f;
  Bits from[2], width[2];

  INLINED FollowPass(const BandImage& image, const MultibandChannel* const* channels) : f(image, channels) {
    measure();
  }
  void measure() {
    for (int v = 0; v < 2; ++v) {
      from[v] = (Bits)f.from[v];
      width[v] = f.compressed[v] ? (Bits)f.to[v] - from[v] : Bits{} - 1u;
    }
  }
  // What comes in at frame t, its make-up gain, and the follower after it; whether the gains in use are right for it.
  INLINED void follow(const float* bands, Quad (&envelope)[2], Quad (&x)[2], Bits& held) const {
    for (int v = 0; v < 2; ++v) {
      x[v] = load<Quad>(bands + 4 * v) * f.gain[v];
      // The signed sample, not its magnitude.
      const Quad share = x[v] > envelope[v] ? f.attack[v] : f.release[v];
      envelope[v] = fused(share, envelope[v], (1.0f - share) * magnitude(x[v]));
      held &= (Bits)((Bits)envelope[v] - from[v] < width[v]);
    }
  }
  INLINED void apply(const Quad (&envelope)[2], Quad (&x)[2]) const {
    for (int v = 0; v < 2; ++v) x[v] *= envelope[v] >= f.between[v] ? f.upper[v] : f.lower[v];
  }
  // Two frames' sums.
  INLINED Quad sum(const Quad (&a)[2], const Quad (&b)[2]) const {
    const Quad a0 = f.template to_add<kFour>(0, a[0]), a1 = f.template to_add<kFour>(1, a[1]),
               b0 = f.template to_add<kFour>(0, b[0]), b1 = f.template to_add<kFour>(1, b[1]);
    return sum_of_bands(pairs_of(a1, b1), last_pairs_of(a1, b1), pairs_of(a0, b0), last_pairs_of(a0, b0));
  }
  // Frames from t on; where one asks for other gains.
  INLINED int run_held(const float* bands, float* out, int t, int n) {
    for (; t + 2 <= n; t += 2) {
      Quad envelope[2] = {f.envelope[0], f.envelope[1]}, x[2], next[2];
      Bits held = Bits{} - 1u;
      follow(bands + 8 * t, envelope, x, held);
      apply(envelope, x);
      follow(bands + 8 * t + 8, envelope, next, held);
      apply(envelope, next);
      if (__builtin_expect(!all_set((MaskOf<Quad>)held), 0)) break;
      for (int v = 0; v < 2; ++v) f.envelope[v] = envelope[v], f.value[v] = next[v];
      store(out + 2 * t, sum(x, next));
    }
    return t;
  }
  __attribute__((noinline)) void run_one(const float* bands, float* out) {
    Quad x[2];
    Bits held = Bits{} - 1u;
    follow(bands, f.envelope, x, held);
    if (!all_set((MaskOf<Quad>)held)) {
      for (int v = 0; v < 2; ++v) f.look_up(v, f.envelope[v]);
      measure();
    }
    apply(f.envelope, x);
    f.value[0] = x[0], f.value[1] = x[1];
    store_pair(out, sum(x, x));
  }
  __attribute__((noinline)) void run(const float* bands, float* out, int n) {
    for (int t = 0; t < n;) {
      FollowPass held = *this;  // in registers
      t = held.run_held(bands, out, t, n);
      for (int v = 0; v < 2; ++v) f.envelope[v] = held.f.envelope[v], f.value[v] = held.f.value[v];
      for (const int end = t + 2; t < end && t < n; ++t) run_one(bands + 8 * t, out + 2 * t);
    }
  }
};

template <bool kFour>
void run_passes(const MultibandChannel* const (&channels)[2], float* pairs, int n, float* pieces) {
  constexpr int kPiece = lanes::Scratch::kPiece;
  Lanes<24> placed;
  for (int c = 0; c < 2; ++c) place_bands<0>(placed, *channels[c], c);
  float *const middle = pieces, *const bands = pieces + 4 * (kPiece + 1);
  MiddlePass first{Sections<Quad, 3>(placed), pairs, middle};
  LastPass last{Sections<Quad, 3>(placed, 12), pairs, middle, bands};
  FollowPass<kFour> followers(BandImage(channels), channels);
  for (int at = 0; at < n; at += kPiece) {
    const int length = n - at < kPiece ? n - at : kPiece;
    first.pairs = last.pairs = pairs + 2 * at;
    run_pass<0>(first, length);
    run_pass<0>(last, length);
    followers.run(bands, pairs + 2 * at, length);
  }
  first.sections.keep(placed);
  last.sections.keep(placed, 12);
  followers.f.keep(channels);
}

// Both channels.
void multiband_passes(const MultibandChannel* const (&channels)[2], float* pairs, int n, float* pieces) {
  if (four_bands(channels))
    run_passes<true>(channels, pairs, n, pieces);
  else
    run_passes<false>(channels, pairs, n, pieces);
}

}  // namespace
}  // namespace TARGET
#endif
