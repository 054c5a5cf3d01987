// Parts of a wave: so many quads of sections, and what lies between them. feed() makes the quads' inputs of what they made
// in the step before, emit() passes on what they made in this one, finish() keeps what the next block needs. A part's
// first frame comes at step `start`; its results come `lag` steps after their frames.
//
// Where registers are many but hold four lanes, a part is a short pass over the block: at most three quads, so that all
// it needs fits, and two frames in a step. A quad may take what the one before it has made in the same step, so hardly
// any lane is behind: a cascade is two halves, side by side.
//
//     quad 0 | s0 L R | s3 L R |  the high pairs go on, two frames behind, where the low pairs end;
//     quad 1 | s1     | s4     |  what moves from pair to pair moves once for both frames, and so do loads and stores
//     quad 2 | s2     | s5     |
//
// feed() and emit() have the two frames of a quad next to each other; what an odd block's last step has too much falls
// behind the block, where there is room.
#pragma once

#include "lanes/lanes.h"

#if defined(LANES)

namespace TARGET {
namespace {

// The two channels' values of a setting, in both pairs.
template <class Channel>
Quad both(const Channel* const (&c)[2], float Channel::*setting) {
  return Quad{c[0]->*setting, c[1]->*setting, c[0]->*setting, c[1]->*setting};
}

// Two parts side by side.
template <class First, class Second>
struct Parts {
  static constexpr int kQuads = First::kQuads + Second::kQuads;
  First first;
  Second second;

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    first.place(lanes, at);
    second.place(lanes, at + 4 * First::kQuads);
  }
  int last_step() const {  // of a block, after its last frame has come
    const int one = first.last_step(), other = second.last_step();
    return one > other ? one : other;
  }
  template <bool kEdge>
  INLINED void feed(const Quad* y, Quad* x, int t, int n) {
    first.template feed<kEdge>(y, x, t, n);
    second.template feed<kEdge>(y + kTurn * First::kQuads, x + kTurn * First::kQuads, t, n);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int t, int n) {
    first.template emit<kEdge>(y, t, n);
    second.template emit<kEdge>(y + kTurn * First::kQuads, t, n);
  }
  INLINED void finish(int n) const {
    first.finish(n);
    second.finish(n);
  }
};

// A single quad has a register of its own size; more share the widest ones.
template <int Q>
struct Registers {
  static constexpr int kCount = (4 * Q + kLanes - 1) / kLanes;
  typedef Vec Type;
};
template <>
struct Registers<1> {
  static constexpr int kCount = 1;
  typedef Quad Type;
};

template <class Part, bool kIsPass = kShortPasses>
struct PartWave {
  using Register = typename Registers<Part::kQuads>::Type;
  static constexpr int kRegisters = Registers<Part::kQuads>::kCount;
  static constexpr int kWidth = sizeof(Register) / sizeof(float);
  static constexpr int kQuads = kRegisters * kWidth / 4;  // with the idle ones
  const Lanes<4 * kQuads>* lanes;
  Sections<Register, kRegisters> sections;
  Part part;

  INLINED void made(Quad* y) const {
    for (int q = 0; q < Part::kQuads; ++q) y[q] = quad_at(sections.y, q);
  }
  template <bool kEdge>
  INLINED void step(int t, int n) {
    Quad x[kQuads], y[Part::kQuads];
    for (int q = Part::kQuads; q < kQuads; ++q) x[q] = Quad{};
    made(y);
    part.template feed<kEdge>(y, x, t, n);
    for (int r = 0; r < kRegisters; ++r)
      sections.template step<kEdge>(r, register_of<Register>(x + r * kWidth / 4), t, n);
    made(y);
    part.template emit<kEdge>(y, t, n);
  }
  INLINED void keep(int n) const {
    sections.keep(*lanes);
    part.finish(n);
  }
};

// The quads of `Part` from this one on each take what the one before has made, in the same step.
template <class Part>
constexpr int kSeriesFrom = Part::kQuads;

// The first of two parts side by side has none of these.
template <class First, class Second>
constexpr int kSeriesFrom<Parts<First, Second>> = First::kQuads + kSeriesFrom<Second>;

template <class Part>
struct PartWave<Part, true> {
  static constexpr int kQuads = Part::kQuads;
  const Lanes<4 * kQuads>* lanes;
  Sections<Quad, kQuads> sections;
  Part part;

  template <bool kEdge>
  INLINED void step(int t, int n) {
    Quad x[2 * kQuads], y[2 * kQuads] = {};
    part.template feed<kEdge>(y, x, t, n);
    each<2 * kQuads>([&](auto i) LAMBDA {
      constexpr int k = decltype(i)::value, q = k / 2;
      sections.template step<kEdge>(q, q < kSeriesFrom<Part> ? x[k] : y[k - 2], t + k % 2, n);
      y[k] = sections.y[q];
    });
    part.template emit<kEdge>(y, t, n);
  }
  INLINED void keep(int n) const {
    sections.keep(*lanes);
    part.finish(n);
  }
};

// What a cascade's second half is to take.
struct Late {
  Quad y0{}, y1{};  // the low pairs of what the first has made of two frames

  INLINED void feed(const float* pairs, Quad* x) const {
    const Quad in = load<Quad>(pairs);
    x[0] = pairs_of(in, y0), x[1] = last_and_first(in, y1);
  }
};
INLINED void feed_twice(const float* pairs, Quad* x) {
  const Quad in = load<Quad>(pairs);
  x[0] = pairs_of(in, in), x[1] = last_pairs_of(in, in);
}

// One piece of a block, of a part whose lanes are all at the same frame and which keeps nothing but its sections' memory.
template <class Part>
__attribute__((noinline)) void run_piece(PartWave<Part, true>& kept, int n) {
  PartWave<Part, true> wave = kept;  // in registers
  run_steps<false>(wave, 0, n);
  each<Part::kQuads>([&](auto q) LAMBDA {
    kept.sections.s1[q.value] = wave.sections.s1[q.value],
    kept.sections.s2[q.value] = wave.sections.s2[q.value];
  });
}

// The lanes of a part.
template <class Part>
struct PartLanes {
  using Wave = PartWave<Part>;
  Lanes<4 * Wave::kQuads> lanes;
  const Part& part;

  explicit PartLanes(const Part& p) : part(p) { part.place(lanes, 0); }
  INLINED Wave wave() const { return {&lanes, decltype(Wave::sections)(lanes), part}; }
};

template <class Part>
__attribute__((noinline)) void run_part(const Part& part, int n) {
  const PartLanes<Part> lanes(part);
  auto wave = lanes.wave();
  if constexpr (kShortPasses) {
    run_steps<(kSeriesFrom<Part> > 1)>(wave, part.last_step(), n);
    wave.keep(n);
  } else {
    constexpr bool kCopied = Part::kQuads > 5 && !kStoresHidden;  // several effects
    run_wave<kCopied>(wave, part.last_step(), n);
  }
}

}  // namespace
}  // namespace TARGET
#endif
