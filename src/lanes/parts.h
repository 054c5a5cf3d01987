// Parts of a wave: so many quads of sections, and what lies between them. feed() makes the quads' inputs of what they made
// in the step before, emit() passes on what they made in this one, finish() keeps what the next block needs. A part's
// first frame comes at step `start`; its results come `lag` steps after their frames.
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
    second.template feed<kEdge>(y + First::kQuads, x + First::kQuads, t, n);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int t, int n) {
    first.template emit<kEdge>(y, t, n);
    second.template emit<kEdge>(y + First::kQuads, t, n);
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

template <class Part>
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

// The lanes of a part.
template <class Part>
struct PartLanes {
  using Wave = PartWave<Part>;
  Lanes<4 * Wave::kQuads> lanes;
  const Part& part;

  explicit PartLanes(const Part& p) : part(p) { part.place(lanes, 0); }
  INLINED Wave wave() const {
    return {&lanes, Sections<typename Wave::Register, Wave::kRegisters>(lanes), part};
  }
};

template <class Part>
__attribute__((noinline)) void run_part(const Part& part, int n) {
  const PartLanes<Part> lanes(part);
  auto wave = lanes.wave();
  constexpr bool kCopied = Part::kQuads > 5 && !kStoresHidden;  // several effects
  run_wave<kCopied>(wave, part.last_step(), n);
}

}  // namespace
}  // namespace TARGET
#endif
