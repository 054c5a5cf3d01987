// The sound of the equalizer: sections in series.
#pragma once

#include "lanes/block.h"
#include "lanes/parts.h"
#include "zelkaudio_effect_eqdrc.h"

namespace tone {

struct CascadeChannel {
  const BiquadCoeffs* coeffs;
  BiquadHistory* history;
  int sections;
  const float* in;
  float* out;
  float* copy;  // of the first `copied` samples of the output
  int copied;
};
using CascadeJob = lanes::Job<CascadeChannel>;
inline constexpr lanes::Kind kCascadeKind{};

}  // namespace tone

#if defined(TARGET)
namespace TARGET {
namespace {

using tone::CascadeChannel;
using tone::CascadeJob;

[[maybe_unused]] void plain(const CascadeJob& job, int n) {
  for (int ch = 0; ch < job.count; ++ch) {
    const CascadeChannel& channel = job.channels[ch];
    float* const x = channel.out;
    copy(channel.in, x, n);
    for (int k = 0; k < channel.sections; ++k) {
      const BiquadCoeffs c = channel.coeffs[k];
      BiquadHistory h = channel.history[k];
      for (int i = 0; i < n; ++i) x[i] = section_step(c, h, x[i]);
      channel.history[k] = h;
    }
    copy(x, channel.copy, channel.copied);
  }
}

#if defined(LANES)

// Sections in series: pair k of lanes is section k of both channels.
//
//   register 0   |  s0 L R  |  s1 L R  |  s2 L R  |  s3 L R  |   each pair reads the pair to its left, as it was
//   register 1   |  s4 L R  |  ...                               after the step before; s0 reads the input

constexpr int kMaxSections = kShortPasses ? 6 : 12;  // at once; a longer cascade takes several passes

template <int R>
struct CascadeWave {
  const Lanes<R * kLanes>* lanes;
  Sections<Vec, R> sections;
  const float* pairs;
  float* out;
  int lag;       // of the last section, in frames
  int out_lane;  // of the last section, in the last register

  template <bool kEdge>
  INLINED void step(int t, int n) {
    Vec x[R];
    x[0] = pair_up(every_pair(pairs + 2 * t), sections.y[0]);
    for (int r = 1; r < R; ++r) x[r] = pair_up(sections.y[r - 1], sections.y[r]);
    for (int r = 0; r < R; ++r) sections.template step<kEdge>(r, x[r], t, n);
    if (kEdge && t < lag) return;
    float last[kLanes];
    store(last, sections.y[R - 1]);
    __builtin_memcpy(out + 2 * (t - lag), last + out_lane, 2 * sizeof(float));
  }
  INLINED void keep(int) const { sections.keep(*lanes); }
};

// Sections first … first + count - 1 of both channels.
template <int R>
struct CascadeLanes {
  Lanes<R * kLanes> lanes;
  int lag, out_lane;

  CascadeLanes(const CascadeChannel* const (&channels)[2], int first, int count)
      : lag(count - 1), out_lane(2 * (count - 1) - (R - 1) * kLanes) {
    for (int k = 0; k < count; ++k)
      for (int c = 0; c < 2; ++c)
        lanes.place(2 * k + c, k, channels[c]->coeffs[first + k], channels[c]->history[first + k]);
  }
  CascadeWave<R> wave(const float* in, float* out) const {
    return {&lanes, Sections<Vec, R>(lanes), in, out, lag, out_lane};
  }
};

template <int R>
void cascade_wave(const CascadeChannel* const (&channels)[2], int first, int count, float* pairs, int n) {
  const CascadeLanes<R> lanes(channels, first, count);
  auto wave = lanes.wave(pairs, pairs);
  run_wave(wave, lanes.lag, n);
}

// The same as a short pass, in halves, or for a single section in one.
template <int Q, bool kOdd>
struct CascadePart {
  static constexpr int kQuads = Q, kLag = Q == 1 && kOdd ? 0 : 2;
  const CascadeChannel* const* channels;
  int section;  // the first
  float* pairs;
  Late late{};

  int last_step() const { return kLag; }

  template <int L>
  void place(Lanes<L>& lanes, int) const {
    for (int k = 0; k < 2 * Q - kOdd; ++k)
      for (int c = 0; c < 2; ++c)
        lanes.place(4 * (k % Q) + 2 * (k / Q) + c, kLag * (k / Q), channels[c]->coeffs[section + k],
                    channels[c]->history[section + k]);
  }
  template <bool kEdge>
  INLINED void feed(const Quad*, Quad* x, int t, int) const {
    late.feed(pairs + 2 * t, x);
  }
  template <bool kEdge>
  INLINED void emit(const Quad* y, int t, int) {
    late = {y[2 * Q - 2], y[2 * Q - 1]};
    if (kEdge && t < kLag) return;
    const Quad* const last = y + (kLag ? 2 * (Q - 1 - kOdd) : 0);
    store(pairs + 2 * (t - kLag), kLag ? last_pairs_of(last[0], last[1]) : pairs_of(last[0], last[1]));
  }
  INLINED void finish(int) const {}
};
template <int Q, bool kOdd>
constexpr int kSeriesFrom<CascadePart<Q, kOdd>> = 1;

// Both channels through sections first … first + count - 1, in R registers or as many more as they need.
template <int R = 1>
void cascade_sections(const CascadeChannel* const (&channels)[2], int first, int count, float* pairs, int n) {
  if constexpr (R * kLanes < 2 * kMaxSections)
    if (2 * count > R * kLanes) return cascade_sections<R + 1>(channels, first, count, pairs, n);
  if constexpr (!kShortPasses)
    cascade_wave<R>(channels, first, count, pairs, n);
  else if (count % 2)
    run_part(CascadePart<R, true>{channels, first, pairs}, n);
  else
    run_part(CascadePart<R, false>{channels, first, pairs}, n);
}
void run_cascade(const CascadeChannel* const (&channels)[2], float* pairs, int n) {
  const int sections = channels[0]->sections;
  for (int first = 0; first < sections; first += kMaxSections)
    cascade_sections(channels, first, sections - first < kMaxSections ? sections - first : kMaxSections,
                     pairs, n);
}

void in_lanes(const CascadeJob& job, int n, lanes::Scratch& scratch) {
  const CascadeChannel* const both = job.channels;
  in_passes(job, both[0].sections == both[1].sections, 1.0f, n, scratch, run_cascade);
  for (int ch = 0; ch < job.count; ++ch) copy(both[ch].out, both[ch].copy, both[ch].copied);
}

#endif
}  // namespace
}  // namespace TARGET
#endif
