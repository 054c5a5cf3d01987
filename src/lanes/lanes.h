// Sections in lanes: the idea that every fast loop of the library rests on.
//
// A cascade has a serial dependency per section, but different sections at different frames don't depend on each
// other. So section k works on frame t - k: all sections advance in one step, each on what the section before it made
// in the step before.
//
//     step t     | s0: frame t | s1: frame t - 1 | s2: frame t - 2 |   one register, both channels in every place
//     step t + 1 | s0: t + 1   | s1: t           | s2: t - 1       |   reads the register as it was after step t
//
// What takes longer than a step lies several lanes' steps back: a register as a whole waits for the slowest of its
// lanes' inputs. A lane whose frame lies outside the block is frozen: it computes like the others, and its history stays
// as it was. A block of stereo passes by as interleaved frames.
#pragma once

#include "lanes/block.h"
#include "lanes/section.h"

#if defined(LANES)

namespace TARGET {
namespace {

template <int I>
struct Index {
  static constexpr int value = I;
};
// f(Index<0>) … f(Index<N - 1>): a loop that is none when the compiler decides what lives in registers.
#define LAMBDA __attribute__((always_inline))
template <int N, int I = 0, class F>
__attribute__((always_inline)) inline void each(F f) {
  if constexpr (I < N) {
    f(Index<I>{});
    each<N, I + 1>(f);
  }
}

constexpr int kTurn = kShortPasses ? 2 : 1;  // frames in a step

// State that lives in registers through a loop does so only where everything the loop calls is part of it.
#define INLINED __attribute__((always_inline)) inline

// Frames around a block of n, which are read by lanes that are not busy yet or no more. Short passes read next to none.
void clear_edges(float* pairs, int n) {
  if constexpr (kShortPasses) return;
  for (int i = -2 * lanes::Scratch::kHead; i < 0; ++i) pairs[i] = 0.0f;
  for (int i = 2 * n; i < 2 * (n + lanes::Scratch::kTail); ++i) pairs[i] = 0.0f;
}

// A mono channel stands in for the missing one: what its lanes compute is dropped.
void interleave(const float* in0, const float* in1, int n, float* __restrict pairs, float scale = 1.0f) {
  for (int i = 0; i < n; ++i) pairs[2 * i] = in0[i] * scale, pairs[2 * i + 1] = in1[i] * scale;
  clear_edges(pairs, n);
}

void deinterleave(const float* __restrict pairs, int n, float* __restrict out0, float* __restrict out1) {
  if (out1)
    for (int i = 0; i < n; ++i) out0[i] = pairs[2 * i], out1[i] = pairs[2 * i + 1];
  else
    for (int i = 0; i < n; ++i) out0[i] = pairs[2 * i];
}

// Runs one channel or two through `pass(channels, pairs, length)` in passes of the scratch's length, as interleaved
// frames in units of `scale`. A single one stands in for both.
template <class Channel, class Pass>
INLINED void in_passes(const Channel* one, int count, float scale, int n, lanes::Scratch& scratch,
                       Pass pass) {
  const Channel* const channels[2] = {one, one + count - 1};
  float* const pairs = scratch.pairs[lanes::Scratch::kBlock];
  for (int at = 0; at < n; at += scratch.frames) {
    const int length = n - at < scratch.frames ? n - at : scratch.frames;
    interleave(channels[0]->in + at, channels[1]->in + at, length, pairs, scale);
    pass(channels, pairs, length);
    deinterleave(pairs, length, channels[0]->out + at, count == 2 ? channels[1]->out + at : nullptr);
  }
}
// The channels of a job: side by side where they are alike, or else one after another.
template <class Channel, class Pass>
INLINED void in_passes(const lanes::Job<Channel>& job, bool alike, float scale, int n,
                       lanes::Scratch& scratch, Pass pass) {
  if (job.count == 2 && alike) return in_passes(job.channels, 2, scale, n, scratch, pass);
  for (int ch = 0; ch < job.count; ++ch) in_passes(&job.channels[ch], 1, scale, n, scratch, pass);
}

template <class V>
using MaskOf = decltype(V{} < V{});

template <class V>
V load(const void* p) {
  V v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}
template <class V>
void store(float* p, V v) {
  __builtin_memcpy(p, &v, sizeof v);
}

template <class V>
V magnitude(V x) {
  return (V)((MaskOf<V>)x & 0x7fffffff);
}

// Whether the lanes, each `lag` frames behind step t, have a frame of the block before them.
template <class M>
M busy(M lag, int t, int n) {
  typedef unsigned Unsigned __attribute__((vector_size(sizeof(M))));
  return (M)((Unsigned)(t - lag) < static_cast<unsigned>(n));  // a negative one is large
}

// A lane without a section answers 0 to anything finite.
const BiquadCoeffs kNoSection{};

// Which section stands in each of L lanes, and how many frames behind.
template <int L>
struct Lanes {
  const BiquadCoeffs* coeffs[L];
  BiquadHistory* history[L];
  int lag[L] = {};
  BiquadHistory idle{};  // of all lanes without a section

  Lanes() {
    for (int lane = 0; lane < L; ++lane) coeffs[lane] = &kNoSection, history[lane] = &idle;
  }
  Lanes(const Lanes&) = delete;
  Lanes& operator=(const Lanes&) = delete;
  void place(int lane, int frames_behind, const BiquadCoeffs& c, BiquadHistory& h) {
    coeffs[lane] = &c, history[lane] = &h, lag[lane] = frames_behind;
  }
};

INLINED Quad pairs_of(Quad a, Quad b) {
  return __builtin_shufflevector(a, b, 0, 1, 4, 5);
}  // the first of each
INLINED Quad last_pairs_of(Quad a, Quad b) { return __builtin_shufflevector(a, b, 2, 3, 6, 7); }
INLINED Quad last_and_first(Quad a, Quad b) { return __builtin_shufflevector(a, b, 2, 3, 4, 5); }
INLINED Quad alternate(Quad a, Quad b) { return __builtin_shufflevector(a, b, 0, 4, 1, 5); }
INLINED Quad alternate_last(Quad a, Quad b) { return __builtin_shufflevector(a, b, 2, 6, 3, 7); }

// Four lanes' sections, their coefficients and memory side by side.
struct QuadOfSections {
  Quad b0, b1, b2, a1, a2, s1, s2;

  INLINED QuadOfSections(const BiquadCoeffs* const* c, BiquadHistory* const* h) {
    const Quad c0 = load<Quad>(&c[0]->b0), c1 = load<Quad>(&c[1]->b0), c2 = load<Quad>(&c[2]->b0),
               c3 = load<Quad>(&c[3]->b0);
    const Quad even = alternate(c0, c2), odd = alternate(c1, c3);
    const Quad even_last = alternate_last(c0, c2), odd_last = alternate_last(c1, c3);
    b0 = alternate(even, odd), b1 = alternate_last(even, odd);
    b2 = alternate(even_last, odd_last), a1 = alternate_last(even_last, odd_last);
    a2 = Quad{c[0]->a2, c[1]->a2, c[2]->a2, c[3]->a2};
    const Quad first = pairs_of(quad_pairs(&h[0]->s1), quad_pairs(&h[1]->s1));
    const Quad last = pairs_of(quad_pairs(&h[2]->s1), quad_pairs(&h[3]->s1));
    s1 = __builtin_shufflevector(first, last, 0, 2, 4, 6),
    s2 = __builtin_shufflevector(first, last, 1, 3, 5, 7);
  }
};

INLINED void keep_quad(Quad s1, Quad s2, BiquadHistory* const* h) {
  const Quad first = alternate(s1, s2), last = alternate_last(s1, s2);
  store_pair(&h[0]->s1, first), store_last_pair(&h[1]->s1, first);
  store_pair(&h[2]->s1, last), store_last_pair(&h[3]->s1, last);
}

INLINED Quad quad_at(const Quad* q, int i) { return q[i]; }
template <class V>
INLINED Quad quad_at(const V* v, int i) {
  return quad_of(v, i);
}
template <class V>
INLINED V register_of(const Quad* q) {
  if constexpr (sizeof(V) == sizeof(Quad))
    return q[0];
  else
    return from_quads(q);
}

// R registers of sections.
template <class V, int R>
struct Sections {
  static constexpr int kWidth = sizeof(V) / sizeof(float);
  V b0[R], b1[R], b2[R], minus_a1[R], minus_a2[R];
  V s1[R], s2[R];
  V y[R];  // what the last step made
  MaskOf<V> lag[R];

  template <int L>
  INLINED explicit Sections(const Lanes<L>& lanes, int first_lane = 0) {
    static_assert(L >= R * kWidth, "");
    for (int r = 0; r < R; ++r) {
      Quad q[7][kWidth / 4];
      for (int i = 0; i < kWidth / 4; ++i) {
        const int lane = first_lane + r * kWidth + 4 * i;
        const QuadOfSections four(lanes.coeffs + lane, lanes.history + lane);
        q[0][i] = four.b0, q[1][i] = four.b1, q[2][i] = four.b2;
        q[3][i] = -four.a1, q[4][i] = -four.a2, q[5][i] = four.s1, q[6][i] = four.s2;
      }
      b0[r] = register_of<V>(q[0]), b1[r] = register_of<V>(q[1]), b2[r] = register_of<V>(q[2]);
      minus_a1[r] = register_of<V>(q[3]), minus_a2[r] = register_of<V>(q[4]);
      s1[r] = register_of<V>(q[5]), s2[r] = register_of<V>(q[6]);
      y[r] = V{};
      lag[r] = load<MaskOf<V>>(lanes.lag + first_lane + r * kWidth);
    }
  }
  template <int L>
  INLINED void keep(const Lanes<L>& lanes, int first_lane = 0) const {
    for (int i = 0; i < R * kWidth / 4; ++i)
      keep_quad(quad_at(s1, i), quad_at(s2, i), lanes.history + first_lane + 4 * i);
  }

  // Register r takes x: y = fma(b0, x, s1); s1 = s2 + fma(-a1, y, b1 x); s2 = fma(-a2, y, b2 x).
  template <bool kEdge>
  INLINED void step(int r, V x, int t, int n) {
    y[r] = fused(b0[r], x, s1[r]);
    const V next_s1 = s2[r] + fused(minus_a1[r], y[r], b1[r] * x);
    const V next_s2 = fused(minus_a2[r], y[r], b2[r] * x);
    if constexpr (kEdge) {
      const MaskOf<V> on = busy(lag[r], t, n);
      s1[r] = on ? next_s1 : s1[r], s2[r] = on ? next_s2 : s2[r];
    } else {
      s1[r] = next_s1, s2[r] = next_s2;
    }
  }
};

// Steps 0 … n + lag - 1 of a wave whose last lane is `lag` frames behind: the first and the last ones with lanes
// frozen, those in between with all lanes busy. `wave` is a local of the caller's whose address goes nowhere else: with
// everything inlined it lives in registers. A large one doesn't, for all its steps; copied for the steps in between it
// does, which pays where these are many instructions.
template <bool kCopied, class Wave>
INLINED void run_steps(Wave& wave, int lag, int n) {
  int t = 0;
  for (; t < lag; t += kTurn) wave.template step<true>(t, n);
  if constexpr (kCopied) {
    Wave all_busy = wave;
    for (; t + kTurn <= n; t += kTurn) all_busy.template step<false>(t, n);
    wave = all_busy;
  } else {
    for (; t + kTurn <= n; t += kTurn) wave.template step<false>(t, n);
  }
  for (; t < n + lag; t += kTurn) wave.template step<true>(t, n);
}
template <bool kCopied = false, class Wave>
INLINED void run_wave(Wave& wave, int lag, int n) {
  run_steps<kCopied>(wave, lag, n);
  const Wave done = wave;
  done.keep(n);
}

}  // namespace
}  // namespace TARGET
#endif
