// The loudness meter: K-weighting, and the running sum of the squares in a window.
#pragma once

#include "lanes/block.h"
#include "lanes/parts.h"
#include "zelkaudio_effect_eqdrc.h"

namespace loudness {

struct MeterChannel {
  const BiquadCoeffs *shelf, *high_pass;
  BiquadHistory *shelf_history, *high_pass_history;
  float scale;  // full scale, a power of two of either sign
  float* sum;   // of the squares in the window
  const float* in;
};
struct MeterRing {
  float* squares;
  int size, position;
};
struct MeterJob : lanes::Job<MeterChannel> {
  MeterRing ring;
  // Hears where the ring has got to.
  void (*metered)(void* owner, const MeterRing& ring);
  void* owner;
};
inline constexpr lanes::Kind kMeterKind{true};

}  // namespace loudness

#if defined(TARGET)
namespace TARGET {
namespace {

using loudness::MeterChannel;
using loudness::MeterJob;
using loudness::MeterRing;

[[maybe_unused]] void plain(MeterJob& job, int n) {
  MeterRing& ring = job.ring;
  for (int ch = 0; ch < job.count; ++ch) {
    const MeterChannel c = job.channels[ch];
    const BiquadCoeffs shelf = *c.shelf, high_pass = *c.high_pass;
    BiquadHistory shelf_history = *c.shelf_history, high_pass_history = *c.high_pass_history;
    float sum = *c.sum;
    for (int i = 0; i < n; ++i) {
      const float y =
          section_step(high_pass, high_pass_history, section_step(shelf, shelf_history, c.in[i] / c.scale));
      float& oldest = ring.squares[ring.position];
      sum -= oldest;  // in this order: the running sum is rounded twice a sample
      oldest = y * y;
      sum += oldest;
      if (++ring.position >= ring.size) ring.position = 0;
    }
    *c.sum = sum;
    *c.shelf_history = shelf_history, *c.high_pass_history = high_pass_history;
  }
  job.metered(job.owner, ring);
}

#if defined(LANES)

// The loudness meter: its filters, and the sums of the squares in the window, added up in order beside them.

// The next n places of the ring from `position` on: where they are, or in `spare` if they go around the ring's end.
float* ring_places(const MeterRing& ring, int position, int n, float* spare) {
  return position + n <= ring.size ? ring.squares + position : spare;
}

// A job's block, whose places in the ring don't overlap: the squares that leave the window, and, where the frames were,
// those that enter it.
struct MeterFrames {
  MeterJob& job;
  const MeterChannel* channels[2];
  float *pairs, *leaving;
  int at[2];        // their places
  float* spare[2];  // stands in for them around the ring's end

  MeterFrames(MeterJob& j, int n, lanes::Scratch& s)
      : job(j),
        channels{&j.channels[0], &j.channels[j.count - 1]},
        pairs(s.pairs[lanes::Scratch::kMeter]),
        leaving(s.pairs[lanes::Scratch::kLeaving]),
        spare{s.rows[0], s.rows[1]} {
    const MeterRing& ring = job.ring;
    interleave(channels[0]->in, channels[1]->in, n, pairs, 1.0f / channels[0]->scale);
    const int second = ring.position + (job.count - 1) * n;
    at[0] = ring.position, at[1] = second < ring.size ? second : second - ring.size;
    const float* places[2];
    for (int i = 0; i < 2; ++i) {
      places[i] = ring_places(ring, at[i], n, spare[i]);
      const int room = ring.size - at[i];
      if (places[i] == spare[i])
        copy(ring.squares + at[i], spare[i], room), copy(ring.squares, spare[i] + room, n - room);
    }
    interleave(places[0], places[1], n, leaving);
  }
  void enter(int n) {
    MeterRing& ring = job.ring;
    deinterleave(pairs, n, ring_places(ring, at[0], n, spare[0]),
                 job.count == 2 ? ring_places(ring, at[1], n, spare[1]) : nullptr);
    for (int i = 0; i < job.count; ++i) {
      const int room = ring.size - at[i];
      if (room < n) copy(spare[i], ring.squares + at[i], room), copy(spare[i] + room, ring.squares, n - room);
    }
    ring.position = (at[job.count - 1] + n) % ring.size;
    job.metered(job.owner, ring);
  }
};
bool meter_fits(const MeterJob& job, int n, const lanes::Scratch& scratch) {
  return n >= 1 && n <= scratch.frames && job.ring.size / n >= job.count;
}

//   | shelf L R | high-pass L R |  read the frame, and the shelf
//
// The sums are short enough to be added up in order beside the filters.
struct MeterPart {
  static constexpr int kQuads = 1, kLag = kShortPasses ? 2 : 1;
  const MeterChannel* const* channels;
  Quad sum;
  float* pairs;
  const float* leaving;
  // Where a step is two frames.
  Late late{};
  Quad going{};  // the squares whose places theirs take

  explicit MeterPart(MeterFrames& block)
      : channels(block.channels),
        sum{0.0f, 0.0f, *channels[0]->sum, *channels[1]->sum},
        pairs(block.pairs),
        leaving(block.leaving) {}

  int last_step() const { return kLag; }

  template <int L>
  void place(Lanes<L>& lanes, int at) const {
    for (int c = 0; c < 2; ++c) {
      lanes.place(at + c, 0, *channels[c]->shelf, *channels[c]->shelf_history);
      lanes.place(at + 2 + c, kLag, *channels[c]->high_pass, *channels[c]->high_pass_history);
    }
  }
  template <bool kEdge>
  INLINED void feed(const Quad* y, Quad* x, int t, int) {
    if constexpr (kShortPasses) {
      late.feed(pairs + 2 * t, x);
      going = load<Quad>(leaving + 2 * (t - kLag));
    } else {
      x[0] = pairs_of(quad_pairs(pairs + 2 * t), y[0]);
    }
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int step, int n) {
    const int t = step - kLag;
    if constexpr (kShortPasses) late = {y[0], y[1]};
    if (kEdge && t < 0) return;
    if constexpr (kShortPasses) {
      if (kEdge && t >= n) return;
      const Quad out = last_pairs_of(y[0], y[1]), square = out * out;
      const Quad first = (sum - swap_pairs(going)) + swap_pairs(square);
      sum = kEdge && t + 1 >= n ? first : (first - going) + square;
      store(pairs + 2 * t, square);
      return;
    }
    const Quad square = y[0] * y[0];
    const Quad next = (sum - quad_pairs(leaving + 2 * t)) + square;
    sum = kEdge && t >= n ? sum : next;
    store_last_pair(pairs + 2 * t, square);
  }
  INLINED void finish(int) const {
    for (int c = 0; c < 2; ++c) *channels[c]->sum = sum[2 + c];
  }
};

void in_lanes(MeterJob& job, int n, lanes::Scratch& scratch) {
  if (!meter_fits(job, n, scratch)) return plain(job, n);
  MeterFrames block(job, n, scratch);
  run_part(MeterPart(block), n);
  block.enter(n);
}

#endif
}  // namespace
}  // namespace TARGET
#endif
