// Short passes: what takes the place of waves where registers are many but hold four lanes. A pass takes up to three
// registers of sections over a block. Within a step they are in series, so no section waits for the step before; what a
// pass makes lies in memory for the next one.
//
//     register 0 | s0 L R | s3 L R |  a cascade in halves: the high pairs go on, two frames behind, where the low pairs
//     register 1 | s1     | s4     |  end. A turn is two frames: what moves from pair to pair between turns moves once
//     register 2 | s2     | s5     |  for both, and so do loads and stores.
#pragma once

#include "lanes/lanes.h"

#if defined(LANES)

namespace TARGET {
namespace {

// Two frames, t and t + 1, through registers kFirst up to kEnd of sections, one after another.
template <bool kEdge, int kFirst, int kEnd, int R>
INLINED void two_through(Sections<Quad, R>& sections, Quad (&x)[2], int t, int n) {
  for (int f = 0; f < 2; ++f)
    for (int r = kFirst; r < kEnd; ++r) {
      sections.template step<kEdge>(r, x[f], t + f, n);
      x[f] = sections.y[r];
    }
}

// The turns of a block whose last lane is kLag frames behind. At the edges lanes are frozen; an odd block's last turn
// has a frame more, for which there is room behind a block. The copy is what the compiler keeps in registers.
template <int kLag, class Pass>
__attribute__((noinline)) void run_pass(Pass& kept, int n) {
  Pass pass = kept;
  int t = 0;
  for (; t < kLag; t += 2) pass.template turn<true>(t, n);
  for (; t + 1 < n; t += 2) pass.template turn<false>(t, n);
  for (; t < n + kLag; t += 2) pass.template turn<true>(t, n);
  kept = pass;
}

// A cascade of 2 R sections in halves, or of one less.
template <int R, bool kOdd = false>
struct Halves {
  static constexpr int kLag = 2;
  Sections<Quad, R> sections;
  Quad late[2];  // the low pairs: what the first half has made

  INLINED explicit Halves(const Lanes<4 * R>& lanes) : sections(lanes), late{} {}
  static void place(Lanes<4 * R>& lanes, int section, int c, const BiquadCoeffs& coeffs,
                    BiquadHistory& history) {
    const int half = section / R;
    lanes.place(4 * (section % R) + 2 * half + c, kLag * half, coeffs, history);
  }
  // Frames t and t + 1 go in; what comes out are the two before them.
  template <bool kEdge>
  INLINED Quad turn(Quad in, int t, int n) {
    Quad x[2] = {pairs_of(in, late[0]), last_and_first(in, late[1])};
    two_through<kEdge, 0, R - kOdd>(sections, x, t, n);
    const Quad out = last_pairs_of(x[0], x[1]);
    two_through<kEdge, R - kOdd, R>(sections, x, t, n);
    late[0] = x[0], late[1] = x[1];
    return out;
  }
};

}  // namespace
}  // namespace TARGET
#endif
