// MultiBandDRC, and the stage that Agc and Maximizer share.
#include <algorithm>

#include "check/checker.h"

namespace check {
namespace {

// ---- MultiBandDRC -----------------------------------------------------------------------------------
struct BandAt {
  Where where;
  int start;
};

BandAt band_at(int channel, int band) {
  const Where where{AUDIOPOST_EFFECT_MULTIBAND_DRC, channel, band};
  return {where, start_of(where) + kDrcBands[band].offset};
}

void check_band(Checker& c, const BandAt& band) {
  const auto& [where, start] = band;
  const int gain_dB = start + 2, drc_enable = start + 3, compress_start = start + 4, attack_time = start + 9,
            release_time = start + 10, hold_time = start + 11;
  c.usable(where, fields(kDrcBandFields), start);
  c.gain(where, gain_dB);
  const int enable = c.int_at(drc_enable);
  if (enable != 0 && enable != 1) c.note(AUDIOPOST_RULE_COMPRESSES_ANYHOW, where, {drc_enable});
  c.curve(where, compress_start, enable != 0);
  if (enable == 0) return;
  for (const int time : {attack_time, release_time}) {
    const int ms = c.int_at(time);
    c.time(where, time, static_cast<float>(ms));
    if (ms > 0 && int64_t{ms} * c.sample_rate > INT32_MAX)
      c.warn(AUDIOPOST_RULE_TIME_LONG, where, {time},
             {-INFINITY, static_cast<float>(INT32_MAX / c.sample_rate)});
  }
  if (c.int_at(hold_time) != 0) c.note(AUDIOPOST_RULE_HOLD_TIME, where, {hold_time});
}

// Each edge between neighbours, upward.
void check_crossover(Checker& c, int channel, int bands) {
  int below = AUDIOPOST_BAND_LOW;
  for (const int above : kDrcBandsUpward) {
    if (above == AUDIOPOST_BAND_LOW || (above == AUDIOPOST_BAND_MID1 && bands < 3) ||
        (above == AUDIOPOST_BAND_MID2 && bands < 4))
      continue;
    const BandAt lower = band_at(channel, below), upper = band_at(channel, above);
    const int end = lower.start + 1, start = upper.start;
    c.frequency(lower.where, end);
    c.frequency(upper.where, start);
    const bool octave = c.at(start) > 2.0f * c.at(end);
    const Where where{AUDIOPOST_EFFECT_MULTIBAND_DRC, channel};
    if (c.at(end) < c.at(start))
      c.add(octave ? AUDIOPOST_WARNING : AUDIOPOST_NOTE, AUDIOPOST_RULE_BANDS_APART, where, {end, start});
    else if (c.at(end) > c.at(start))
      c.add(octave ? AUDIOPOST_WARNING : AUDIOPOST_NOTE, AUDIOPOST_RULE_BANDS_OVERLAP, where, {end, start});
    below = above;
  }
}

}  // namespace

void check_multiband_drc(Checker& c, int channel) {
  const Where where{AUDIOPOST_EFFECT_MULTIBAND_DRC, channel};
  const int start = start_of(where), bands = c.int_at(start), run = std::min(bands, 4);
  c.usable(where, fields(kCrossoverFields), start);
  if (bands < 2 || bands > 4) c.warn(AUDIOPOST_RULE_CROSSOVER_BANDS, where, {start}, {2.0f, 4.0f});
  int compressed = 0;
  for (int b = 0; b < run; ++b) {  // in the order in which the chain numbers them
    const BandAt band = band_at(channel, b);
    check_band(c, band);
    compressed += c.int_at(band.start + 3) != 0;
  }
  if (compressed > 0 && compressed < run) c.note(AUDIOPOST_RULE_SOME_COMPRESSED, where, {start});
  if (bands >= 2 && bands <= 4) check_crossover(c, channel, bands);
}

// ---- Agc, Maximizer ---------------------------------------------------------------------------------
void check_peak_stage(Checker& c, int channel, bool agc, bool limiter) {
  const Where agc_where{AUDIOPOST_EFFECT_AGC, channel}, where{AUDIOPOST_EFFECT_MAXIMIZER, channel};
  const int max_threshold = start_of(where), ceiling = max_threshold + 1, release = max_threshold + 2,
            compress_start = max_threshold + 3, attack_time = max_threshold + 8,
            release_time = max_threshold + 9, hold_time = max_threshold + 10;
  if (agc) {
    c.usable(agc_where, fields(kAgcFields), max_threshold);
    c.time(agc_where, attack_time, c.at(attack_time));
    c.time(agc_where, release_time, c.at(release_time));
    if (c.at(hold_time) != 0.0f) c.note(AUDIOPOST_RULE_HOLD_TIME, agc_where, {hold_time});
  }
  c.curve(agc_where, compress_start, agc);
  if (!limiter) return;
  constexpr float kKnee = 2.5f;
  c.usable(where, fields(kMaximizerFields), max_threshold);
  if (c.at(max_threshold) > kKnee)
    c.warn(AUDIOPOST_RULE_LIMITER_NO_KNEE, where, {max_threshold}, {-INFINITY, kKnee});
  if (c.at(ceiling) > 0.0f) c.note(AUDIOPOST_RULE_CEILING_HIGH, where, {ceiling}, {-INFINITY, 0.0f});
  c.time(where, release, c.at(release));
}

}  // namespace check
