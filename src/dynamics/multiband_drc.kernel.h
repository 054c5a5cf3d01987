// The sound of the multi-band compressor: crossover, make-up gains, followers, curves and the sum of the bands.
#pragma once

#include "common/numeric.h"
#include "dynamics/gain_steps.h"
#include "filters/biquad.h"
#include "lanes/lanes.h"

namespace dynamics {

struct MultibandBand {
  filters::BiquadPair*
      path[2];  // the crossover's edges in series; null where it has fewer, or does not make the band
  float gain;   // make-up
  bool compressed;
  float attack, release;  // the share of the follower that one sample leaves
  const float* table;     // kGainSteps linear gains over a level in dB, as table_search takes them
  float table_start, table_inv_step;
  const GainSteps* steps;  // of table; those of all bands of all channels lie in one array
  float* envelope;         // the follower
  float* value;            // of the latest sample
};
struct MultibandChannel {
  MultibandBand band[4];  // low, high, middle 1, middle 2
  int bands;              // to run, 0 to 4
  int summed;             // a sum of 1, 2, 3 or more, or exactly 4 bands
  float band_scale;
  float full_scale_log10;
  const float* in;
  float* out;
};
using MultibandJob = lanes::Job<MultibandChannel>;
inline constexpr lanes::Kind kMultibandKind{};

}  // namespace dynamics

#if defined(TARGET)
namespace TARGET {
namespace {

using dynamics::GainSteps, dynamics::kGainSteps;
using dynamics::MultibandBand, dynamics::MultibandChannel, dynamics::MultibandJob;
using filters::BiquadPair;

float compressed_gain(const MultibandChannel& channel, const MultibandBand& band, float x) {
  const float envelope = *band.envelope;
  // The signed sample, not its magnitude: the negative half-wave always releases. Hosts are tuned to it.
  const float coef = x > envelope ? band.attack : band.release;
  const float followed = fused(coef, envelope, (1.0f - coef) * __builtin_fabsf(x));
  const float level_dB = 20.0f * (common::log10_portable(followed + 1.0f) - channel.full_scale_log10);
  *band.envelope = followed;
  // 1 / bands on compressed bands only; the others pass with their make-up gain alone. Hosts are tuned to it.
  return table_search(kGainSteps - 1, band.table, level_dB, band.table_start, band.table_inv_step) *
         channel.band_scale;
}

// This order of adding is the contract. A fifth band and more are never filtered, nor is the fourth beside them.
float sum_bands(const MultibandChannel& channel) {
  const MultibandBand* const b = channel.band;
  float sum = 0.0f;
  if (channel.summed >= 1) sum = *b[0].value + 0.0f;
  if (channel.summed >= 2) sum += *b[1].value;
  if (channel.summed >= 3) sum += *b[2].value;
  if (channel.summed == 4) sum += *b[3].value;
  return sum;
}

[[maybe_unused]] void plain(const MultibandChannel& channel, int n) {
  for (int i = 0; i < n; ++i) {
    for (int b = 0; b < channel.bands; ++b) {
      const MultibandBand& band = channel.band[b];
      float x = channel.in[i];
      if (!band.path[0]) x = *band.value;  // not filtered: the sample before, scaled again
      for (BiquadPair* edge : band.path)
        if (edge) x = pair_step(*edge, x);
      x *= band.gain;
      *band.value = band.compressed ? x * compressed_gain(channel, band, x) : x;
    }
    channel.out[i] = sum_bands(channel);
  }
}
[[maybe_unused]] void plain(const MultibandJob& job, int n) {
  for (int ch = 0; ch < job.count; ++ch) plain(job.channels[ch], n);
}

#if defined(LANES)

// Quads of lanes:
//
//   Q0 | m1 hp1 L R | m2 hp1 L R |  reads the frame          m1, m2: the middle bands, a high-pass (hp) and a
//   Q1 | m1 hp2     | m2 hp2     |  reads Q0                  low-pass (lp) of two sections each
//   Q2 | m1 lp1     | m2 lp1     |  reads Q1                  low, high: two sections, in a wave started two frames
//   Q3 | low 1      | high 1     |  reads the frame           later so that all four bands come out together
//   Q4 | m1 lp2     | m2 lp2     |  reads Q2
//   Q5 | low 2      | high 2     |  reads Q3; Q4 and Q5 are the bands, eight lanes for followers and gains

constexpr int kBandLanes = 8;

// Where band b (low, high, middle 1, middle 2) of channel c stands among the eight.
int band_lane(int b, int c) {
  const int quad_pair[] = {2, 3, 0, 1};
  return 2 * quad_pair[b] + c;
}

// The twelve sections of channel c, in a wave each one frame behind the one before it. In short passes Q3 and Q4 have
// changed places.
void place_bands(Lanes<24>& lanes, const MultibandChannel& channel, int c) {
  const auto place = [&](BiquadPair* edge, int section, int quad, int pair, int lag) {
    if (edge)
      lanes.place(4 * quad + 2 * pair + c, kShortPasses ? 0 : lag, edge->coeffs[section],
                  edge->history[section]);
  };
  for (int m = 0; m < 2; ++m) {
    const MultibandBand& middle = channel.band[2 + m];
    if (2 + m < channel.bands) {
      place(middle.path[0], 0, 0, m, 0);
      place(middle.path[0], 1, 1, m, 1);
      place(middle.path[1], 0, 2, m, 2);
      place(middle.path[1], 1, kShortPasses ? 3 : 4, m, 3);
    }
    place(channel.band[m].path[0], 0, kShortPasses ? 4 : 3, m, 2);
    place(channel.band[m].path[0], 1, 5, m, 3);
  }
}

// The followers' settings and memory, lane by lane. Lanes of bands that don't exist add -0, which changes no sum.
struct BandImage {
  float gain[kBandLanes]{}, attack[kBandLanes]{}, release[kBandLanes]{}, envelope[kBandLanes]{},
      value[kBandLanes]{};
  int compressed[kBandLanes]{}, made[kBandLanes]{};  // 0 or -1
  float slope[kBandLanes]{}, offset[kBandLanes]{};
  int steps[kBandLanes]{};  // index of the lane's GainSteps, in floats from the first one's

  explicit BandImage(const MultibandChannel* const (&channels)[2]) {
    const GainSteps* const first = channels[0]->band[0].steps;
    for (int c = 0; c < 2; ++c)
      for (int b = 0; b < channels[c]->bands; ++b) {
        const MultibandBand& band = channels[c]->band[b];
        const int lane = band_lane(b, c);
        gain[lane] = band.gain, value[lane] = *band.value, made[lane] = -1;
        envelope[lane] = *band.envelope;
        if (!band.compressed) continue;
        compressed[lane] = -1;
        attack[lane] = band.attack, release[lane] = band.release;
        slope[lane] = band.steps->slope, offset[lane] = band.steps->offset;
        steps[lane] =
            static_cast<int>((band.steps - first) * static_cast<long>(sizeof(GainSteps) / sizeof(float)));
      }
  }
};

// The followers in registers, and the two neighbouring gains in use: lower while the follower is from `from` up to
// `between`, upper from there up to `to`.
template <class V>
struct Followers {
  using Flags = MaskOf<V>;
  static constexpr int kVecs = kBandLanes * sizeof(float) / sizeof(V);
  V gain[kVecs], attack[kVecs], release[kVecs], slope[kVecs], offset[kVecs];
  Flags compressed[kVecs], made[kVecs], steps[kVecs];
  const float* base;  // what `steps` counts from
  V envelope[kVecs], value[kVecs];
  V lower[kVecs], upper[kVecs], from[kVecs], between[kVecs], to[kVecs];

  INLINED Followers(const BandImage& bands, const MultibandChannel* const* channels)
      : base(channels[0]->band[0].steps->begin) {
    for (int v = 0; v < kVecs; ++v) {
      const int at = v * (kBandLanes / kVecs);
      gain[v] = load<V>(bands.gain + at);
      attack[v] = load<V>(bands.attack + at), release[v] = load<V>(bands.release + at);
      slope[v] = load<V>(bands.slope + at), offset[v] = load<V>(bands.offset + at);
      compressed[v] = load<Flags>(bands.compressed + at);
      made[v] = load<Flags>(bands.made + at);
      steps[v] = load<Flags>(bands.steps + at);
      envelope[v] = load<V>(bands.envelope + at), value[v] = load<V>(bands.value + at);
      look_up(v, envelope[v]);
    }
  }

  // The two entries of its table that each lane is between: the estimate is the follower's entry or the one below, and
  // the comparison with where the upper one begins decides. Lanes that are not compressed keep a gain of 1.
  INLINED void look_up(int v, V follower) {
    const V x = follower + 1.0f;
    const Flags bits = (Flags)x;
    const V mantissa = (V)((bits & 0x7fffff) | 0x3f800000);
    const V exponent = __builtin_convertvector((bits >> 23) - 127, V);
    const V log2 = exponent + ((-0.344845f * mantissa + 2.024658f) * mantissa - 1.674873f);
    const Flags estimate = __builtin_convertvector(slope[v] * log2 + offset[v], Flags);
    Flags k = estimate < 0 ? Flags{} : estimate > kGainSteps - 2 ? Flags{} + (kGainSteps - 2) : estimate;
    k = steps[v] + (x >= 1.0f ? k : Flags{});  // NaN is in entry 0
    const V endless = V{} + __builtin_inff(), one = V{} + 1.0f;
    from[v] = compressed[v] ? gather(base, k) : -endless;
    between[v] = gather(base, k + 1);
    to[v] = compressed[v] ? gather(base, k + 2) : endless;
    lower[v] = compressed[v] ? gather(base + (kGainSteps + 1), k) : one;
    upper[v] = compressed[v] ? gather(base + (kGainSteps + 1), k + 1) : one;
  }

  template <bool kFour>  // bands; otherwise the lanes of two or four are idle
  INLINED V to_add(int v, V x) const {
    return kFour ? x : (V)(((Flags)x & made[v]) | (~made[v] & INT32_MIN));
  }

  INLINED void keep(const MultibandChannel* const* channels) const {
    float envelopes[kBandLanes] = {}, values[kBandLanes] = {};
    for (int v = 0; v < kVecs; ++v)
      store(envelopes + v * (kBandLanes / kVecs), envelope[v]),
          store(values + v * (kBandLanes / kVecs), value[v]);
    for (int c = 0; c < 2; ++c)
      for (int b = 0; b < channels[c]->bands; ++b) {
        const MultibandBand& band = channels[c]->band[b];
        if (band.compressed) *band.envelope = envelopes[band_lane(b, c)];
        *band.value = values[band_lane(b, c)];
      }
  }
};

// This order of adding is the contract.
INLINED Quad sum_of_bands(Quad low, Quad high, Quad middle_1, Quad middle_2) {
  return (((low + 0.0f) + high) + middle_1) + middle_2;
}

// All in one step a frame, where each register reads what the others made in the step before.
constexpr int kMultibandLag = 3;

template <bool kFour>
struct MultibandWave {
  const Lanes<24>* lanes;
  const MultibandChannel* const* channels;
  Sections<Vec, 24 / kLanes> sections;
  Followers<Vec> f;
  Vec attack_in, release_in;
  const float* pairs;
  float* out;

  INLINED MultibandWave(const Lanes<24>& placed, const BandImage& bands, const MultibandChannel* const* both,
                        const float* in, float* results)
      : lanes(&placed),
        channels(both),
        sections(placed),
        f(bands, both),
        attack_in(1.0f - f.attack[0]),
        release_in(1.0f - f.release[0]),
        pairs(in),
        out(results) {}

  template <bool kEdge>
  INLINED void follow(Vec band, Mask on) {
    const Vec x = band * f.gain[0];
    const Vec size = magnitude(x);
    const Vec rising = fused(f.attack[0], f.envelope[0], attack_in * size);
    const Vec falling = fused(f.release[0], f.envelope[0], release_in * size);
    // The signed sample, not its magnitude.
    const Vec followed = x > f.envelope[0] ? rising : falling;
    f.envelope[0] = kEdge ? (on ? followed : f.envelope[0]) : followed;
    if (__builtin_expect(!all_within(followed, f.from[0], f.to[0]), 0)) f.look_up(0, followed);
    const Vec y = x * at_least(followed, f.between[0], f.upper[0], f.lower[0]);
    f.value[0] = kEdge ? (on ? y : f.value[0]) : y;
  }

  template <bool kEdge>
  INLINED void step(int t, int n) {
    const Vec now = every_pair(pairs + 2 * t), before = every_pair(pairs + 2 * (t - 2));
    const Vec* const y = sections.y;
    const Vec x0 = quad_up(now, y[0]), x1 = quad_up(y[0], before), x2 = y[1];
    sections.template step<kEdge>(0, x0, t, n);
    sections.template step<kEdge>(1, x1, t, n);
    sections.template step<kEdge>(2, x2, t, n);
    follow<kEdge>(y[2], busy(Mask{} + kMultibandLag, t, n));
    if (kEdge && t < kMultibandLag) return;
    const Vec bands = f.template to_add<kFour>(0, f.value[0]);
    const Quad middle = quad_of(&bands, 0), outer = quad_of(&bands, 1);
    store_pair(out + 2 * (t - kMultibandLag),
               sum_of_bands(outer, swap_pairs(outer), middle, swap_pairs(middle)));
  }
  INLINED void keep(int) const {
    sections.keep(*lanes);
    f.keep(channels);
  }
};

// Whether the lanes give this channel's bits: a crossover of two to four bands, followers that stay at 0 or above, and
// tables with exact steps.
bool multiband_fits(const MultibandChannel& channel) {
  if (channel.bands < 2 || channel.bands != channel.summed) return false;
  for (int b = 0; b < channel.bands; ++b) {
    const MultibandBand& band = channel.band[b];
    if (!band.path[0] || (b > 1) != (band.path[1] != nullptr)) return false;
    if (!band.compressed) continue;
    if (!band.steps->usable || *band.envelope < 0.0f) return false;
    if (!(band.attack >= 0.0f && band.attack <= 1.0f && band.release >= 0.0f && band.release <= 1.0f))
      return false;
  }
  return true;
}

// Both channels in their lanes.
template <bool kFour>
struct MultibandLanes {
  const MultibandChannel* const* channels;
  Lanes<24> lanes;
  BandImage bands;

  explicit MultibandLanes(const MultibandChannel* const (&both)[2]) : channels(both), bands(both) {
    for (int c = 0; c < 2; ++c) place_bands(lanes, *channels[c], c);
  }
  MultibandWave<kFour> wave(const float* in, float* out) const { return {lanes, bands, channels, in, out}; }
};

// As short passes.
template <bool kFour>
void run_band_passes(const MultibandChannel* const (&channels)[2], float* pairs, int n,
                     lanes::Scratch& scratch);

template <bool kFour>
void run_bands(const MultibandChannel* const (&channels)[2], float* pairs, int n, lanes::Scratch& scratch) {
  if constexpr (kShortPasses) {
    run_band_passes<kFour>(channels, pairs, n, scratch);
  } else {
    const MultibandLanes<kFour> lanes(channels);
    auto wave = lanes.wave(pairs, pairs);
    run_wave(wave, kMultibandLag, n);
  }
}

bool four_bands(const MultibandChannel* const (&channels)[2]) {
  return channels[0]->bands == 4 && channels[1]->bands == 4;
}

void in_lanes(const MultibandJob& job, int n, lanes::Scratch& scratch) {
  const auto pass = [&](const MultibandChannel* const(&channels)[2], float* pairs, int length) {
    four_bands(channels) ? run_bands<true>(channels, pairs, length, scratch)
                         : run_bands<false>(channels, pairs, length, scratch);
  };
  const MultibandChannel* const channels = job.channels;
  if (job.count == 2 && multiband_fits(channels[0]) && multiband_fits(channels[1]))
    return in_passes(channels, 2, 1.0f, n, scratch, pass);
  for (int ch = 0; ch < job.count; ++ch) {
    if (multiband_fits(channels[ch]))
      in_passes(&channels[ch], 1, 1.0f, n, scratch, pass);
    else
      plain(channels[ch], n);
  }
}

#endif
}  // namespace
}  // namespace TARGET
#endif

#include "dynamics/multiband_drc.passes.h"
