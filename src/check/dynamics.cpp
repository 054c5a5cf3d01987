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
  const int drc_enable = start + AUDIOPOST_DRC_BAND_ENABLE, hold_time = start + AUDIOPOST_DRC_HOLD_TIME;
  c.usable(where, fields(kDrcBandFields), start);
  c.gain(where, start + AUDIOPOST_DRC_GAIN_DB);
  const int enable = c.int_at(drc_enable);
  if (enable != 0 && enable != 1) c.note(AUDIOPOST_RULE_COMPRESSES_ANYHOW, where, {drc_enable});
  c.curve(where, start + AUDIOPOST_DRC_COMPRESS_START, enable != 0);
  if (enable == 0) return;
  for (const int time : {start + AUDIOPOST_DRC_ATTACK_TIME, start + AUDIOPOST_DRC_RELEASE_TIME}) {
    const int ms = c.int_at(time);
    c.time(where, time, static_cast<float>(ms), Checker::Smooths::level);
    if (ms > 0 && int64_t{ms} * c.sample_rate > INT32_MAX)
      c.warn(AUDIOPOST_RULE_TIME_LONG, where, {time},
             {-INFINITY, static_cast<float>(INT32_MAX / c.sample_rate)});
  }
  if (c.int_at(hold_time) != 0) c.note(AUDIOPOST_RULE_HOLD_TIME, where, {hold_time});
}

int freq_start(int channel, int band) { return band_at(channel, band).start + AUDIOPOST_DRC_FREQ_START; }
int freq_end(int channel, int band) { return band_at(channel, band).start + AUDIOPOST_DRC_FREQ_END; }

// Each edge between neighbours, upward.
void check_crossover(Checker& c, int channel, int bands) {
  const Where where{AUDIOPOST_EFFECT_MULTIBAND_DRC, channel};
  const filters::CrossoverDesign d = crossover_of(c, channel);
  // By audiopost_drc_band.
  const BiquadCoeffs lowpass[] = {d.low, {}, d.mid1_lowpass, d.mid2_lowpass};
  const BiquadCoeffs highpass[] = {{}, d.high, d.mid1_highpass, d.mid2_highpass};
  int below = AUDIOPOST_BAND_LOW;
  for (const int above : kDrcBandsUpward) {
    if (above == AUDIOPOST_BAND_LOW || (above == AUDIOPOST_BAND_MID1 && bands < 3) ||
        (above == AUDIOPOST_BAND_MID2 && bands < 4))
      continue;
    const int end = freq_end(channel, below), start = freq_start(channel, above);
    c.filter(band_at(channel, below).where, {end}, {lowpass[below]});
    c.filter(band_at(channel, above).where, {start}, {highpass[above]});
    const bool octave = c.at(start) > 2.0f * c.at(end);
    if (c.at(end) < c.at(start))
      c.add(octave ? AUDIOPOST_WARNING : AUDIOPOST_NOTE, AUDIOPOST_RULE_BANDS_APART, where, {end, start});
    else if (c.at(end) > c.at(start))
      c.note(AUDIOPOST_RULE_BANDS_OVERLAP, where, {end, start});
    below = above;
  }
}

}  // namespace

filters::CrossoverDesign crossover_of(const Checker& c, int channel) {
  const auto from = [&](int band) { return c.at(freq_start(channel, band)); };
  const auto to = [&](int band) { return c.at(freq_end(channel, band)); };
  const CrossoverParam edges{0,  // the edges don't depend on the number of bands
                             to(AUDIOPOST_BAND_LOW),
                             from(AUDIOPOST_BAND_HIGH),
                             from(AUDIOPOST_BAND_MID1),
                             to(AUDIOPOST_BAND_MID1),
                             from(AUDIOPOST_BAND_MID2),
                             to(AUDIOPOST_BAND_MID2)};
  return filters::design_crossover(edges, c.sample_rate);
}

void check_multiband_drc(Checker& c, int channel) {
  const Where where{AUDIOPOST_EFFECT_MULTIBAND_DRC, channel};
  const int start = start_of(where), bands = c.int_at(start), run = std::min(bands, 4);
  c.usable(where, fields(kCrossoverFields), start);
  if (bands < 2 || bands > 4) c.warn(AUDIOPOST_RULE_CROSSOVER_BANDS, where, {start}, {2.0f, 4.0f});
  int compressed = 0;
  for (int b = 0; b < run; ++b) {  // in the order in which the chain numbers them
    const BandAt band = band_at(channel, b);
    check_band(c, band);
    compressed += c.int_at(band.start + AUDIOPOST_DRC_BAND_ENABLE) != 0;
  }
  if (compressed > 0 && compressed < run) c.note(AUDIOPOST_RULE_SOME_COMPRESSED, where, {start});
  if (bands >= 2 && bands <= 4) check_crossover(c, channel, bands);
}

// ---- Agc, Maximizer ---------------------------------------------------------------------------------
void check_peak_stage(Checker& c, int channel, bool agc, bool limiter) {
  const Where agc_where{AUDIOPOST_EFFECT_AGC, channel}, where{AUDIOPOST_EFFECT_MAXIMIZER, channel};
  const int start = start_of(where), hold_time = start + AUDIOPOST_AGC_HOLD_TIME;
  if (agc) {
    c.usable(agc_where, fields(kAgcFields), start);
    for (const int time : {start + AUDIOPOST_AGC_ATTACK_TIME, start + AUDIOPOST_AGC_RELEASE_TIME})
      c.time(agc_where, time, c.at(time));
    if (c.at(hold_time) != 0.0f) c.note(AUDIOPOST_RULE_HOLD_TIME, agc_where, {hold_time});
  }
  c.curve(agc_where, start + AUDIOPOST_AGC_COMPRESS_START, agc);
  if (!limiter) return;
  const int max_threshold = start + AUDIOPOST_MAXIMIZER_MAX_THRESHOLD,
            ceiling = start + AUDIOPOST_MAXIMIZER_CEILING, release = start + AUDIOPOST_MAXIMIZER_RELEASE;
  constexpr float kKnee = 2.5f;
  c.usable(where, fields(kMaximizerFields), start);
  if (c.at(max_threshold) > kKnee)
    c.warn(AUDIOPOST_RULE_LIMITER_NO_KNEE, where, {max_threshold}, {-INFINITY, kKnee});
  if (c.at(ceiling) > 0.0f) c.note(AUDIOPOST_RULE_CEILING_HIGH, where, {ceiling}, {-INFINITY, 0.0f});
  c.time(where, release, c.at(release));
}

}  // namespace check
