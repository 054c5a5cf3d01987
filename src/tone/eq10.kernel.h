// The sound of the equalizer: sections in series.
#pragma once

#include "lanes/block.h"
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
extern const lanes::Kind kCascadeKind;

}  // namespace tone

#if defined(TARGET)

#include "lanes/section.h"

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

}  // namespace
}  // namespace TARGET

#if defined(LANES)

#include "lanes/lanes.h"

namespace TARGET {
namespace {

// Sections in series: pair k of lanes is section k of both channels.
//
//   register 0   |  s0 L R  |  s1 L R  |  s2 L R  |  s3 L R  |   each pair reads the pair to its left, as it was
//   register 1   |  s4 L R  |  ...                               after the step before; s0 reads the input

constexpr int kMaxSections = 12;  // in one wave; a longer cascade takes several

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

// Both channels through sections first … first + count - 1.
void cascade_sections(const CascadeChannel* const (&channels)[2], int first, int count, float* pairs, int n) {
  switch ((2 * count + kLanes - 1) / kLanes) {
    case 1:
      return cascade_wave<1>(channels, first, count, pairs, n);
    case 2:
      return cascade_wave<2>(channels, first, count, pairs, n);
    case 3:
      return cascade_wave<3>(channels, first, count, pairs, n);
#if !defined(__x86_64__)
    case 4:
      return cascade_wave<4>(channels, first, count, pairs, n);
    case 5:
      return cascade_wave<5>(channels, first, count, pairs, n);
    case 6:
      return cascade_wave<6>(channels, first, count, pairs, n);
#endif
    default:
      return;
  }
}

// One or two channels (`b` null for one) with as many sections each.
void cascade_pair(const CascadeChannel& a, const CascadeChannel* b, int n, lanes::Scratch& scratch) {
  const CascadeChannel* const channels[2] = {&a, b ? b : &a};
  in_passes(scratch, a.in, b ? b->in : nullptr, 1.0f, n, a.out, b ? b->out : nullptr,
            [&](float* pairs, int length) {
              for (int first = 0; first < a.sections; first += kMaxSections)
                cascade_sections(channels, first,
                                 a.sections - first < kMaxSections ? a.sections - first : kMaxSections, pairs,
                                 length);
            });
}

void in_lanes(const CascadeJob& job, int n, lanes::Scratch& scratch) {
  const CascadeChannel *const a = job.channels, *const b = a + 1;
  if (job.count == 2 && a->sections == b->sections)
    cascade_pair(*a, b, n, scratch);
  else
    for (int ch = 0; ch < job.count; ++ch) cascade_pair(a[ch], nullptr, n, scratch);
  for (int ch = 0; ch < job.count; ++ch) copy(a[ch].out, a[ch].copy, a[ch].copied);
}

}  // namespace
}  // namespace TARGET
#endif
#endif
