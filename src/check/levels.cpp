// Levels: how large a sample can become on its way through the chain. Beyond what a float holds it turns infinite, and
// not a number soon after; a chain whose memories hold such a value plays no sound again. Every effect's bound is taken
// from the coefficients that it would run with.
#include <algorithm>
#include <cmath>
#include <limits>

#include "check/checker.h"
#include "common/numeric.h"
#include "common/time_constant.h"
#include "dynamics/maximizer.h"
#include "dynamics/multiband_drc.h"
#include "filters/stability.h"
#include "loudness/r128_meter.h"
#include "tone/designs.h"

namespace check {
namespace {

constexpr double kMost = 0x1p124;  // a 16th of what floats hold: the rest is for rounding
constexpr double kTooMuch = std::numeric_limits<double>::infinity();

// NaN is too much.
double held(double value) {
  if (value < kMost) return value;
  return kTooMuch;
}
// The value, if what is computed on the way to it can be held as well.
double held(double value, double on_the_way) { return on_the_way < kMost ? held(value) : kTooMuch; }

// The most by which filters in series, all of them `times` over, lift a peak: of order n together, their sum of |h| is
// at most 2n + 1 times their largest gain (S. Boyd and J. Doyle, "Comparison of peak and RMS gains for discrete-time
// systems", Systems & Control Letters 9, 1987).
double peak_factor(const BiquadCoeffs* sections, int count, int times) {
  for (int i = 0; i < count; ++i)
    if (filters::fate(sections[i]) != filters::Fate::rests) return kTooMuch;
  return std::pow(filters::peak_gain(sections, count), times) * (4.0 * times * count + 1.0);
}

double peak_factor(std::initializer_list<BiquadCoeffs> sections, int times = 1) {
  return peak_factor(sections.begin(), static_cast<int>(sections.size()), times);
}

// A smoother that moves by this share stays between where it is and where it is going.
bool settles(float share) { return share >= 0.0f && share <= 1.0f; }

double largest(const dynamics::GainTable& table) {
  return static_cast<double>(*std::max_element(table.begin(), table.end()));
}

double compressor_gain(const Checker& c, int compress_start, float end) {
  const dynamics::CurvePoints points{c.at(compress_start + 2), c.at(compress_start + 1), c.at(compress_start),
                                     c.at(compress_start + 3), c.at(compress_start + 4)};
  dynamics::GainTable table;
  float start, scale;
  dynamics::build_compressor_table(points, end, table, start, scale);
  return largest(table);
}

double full_scale(const Checker& c) { return std::exp2(c.int_at(AUDIOPOST_BIT_RATE) - 1); }

// ---- Each effect: the largest sample that goes in to the largest that comes out ---------------------
double auto_gain(const Checker& c, int /*channel*/, double level) {
  constexpr int start = AUDIOPOST_AUTOGAIN_SECTION;
  for (const int time : {start + AUDIOPOST_AUTOGAIN_ATTACK_TIME, start + AUDIOPOST_AUTOGAIN_RELEASE_TIME})
    if (!settles(loudness::share_per_block(c.block, c.sample_rate, c.at(time)))) return kTooMuch;
  const loudness::KWeightingCoeffs meter = loudness::design_k_weighting(static_cast<float>(c.sample_rate));
  const double weighted = level / full_scale(c) * peak_factor({meter.shelf, meter.high_pass});
  constexpr double kMostGain = 10.0;
  // The meter sums the squares of a window, which may be as long as memory allows.
  return held(kMostGain * level, weighted * weighted * static_cast<double>(kMostSamples));
}

double bass_enhancer(const Checker& c, int channel, double level) {
  const int start = start_of({AUDIOPOST_EFFECT_BASS_ENHANCER, channel});
  const tone::BassDesign d = tone::design_bass_enhancer(
      c.at(start + AUDIOPOST_BASS_DRIVE), c.at(start + AUDIOPOST_BASS_BLEND),
      c.at(start + AUDIOPOST_BASS_FREQ), c.at(start + AUDIOPOST_BASS_FLOOR), c.sample_rate);
  if (!settles(d.dc_pole)) return kTooMuch;
  const double x = level / full_scale(c), low = x * peak_factor({d.bass_lowpass}, 2);
  const auto half = [&](float offset, float constant, float bias) {
    const double under_root =
        held((std::fabs(static_cast<double>(offset)) + low) * low + std::fabs(static_cast<double>(constant)));
    return std::fabs(static_cast<double>(d.shaper.gain)) *
           (std::sqrt(under_root) + std::fabs(static_cast<double>(bias)));
  };
  const tone::BassShaper& s = d.shaper;
  const double shaped =
      held(half(s.pos_offset, s.pos_const, s.pos_bias) + half(s.neg_offset, s.neg_const, s.neg_bias));
  const bool floor = c.int_at(start + AUDIOPOST_BASS_FLOOR_ACTIVE) > 0;
  // The DC blocker doubles a peak at most.
  const double harmonics =
      2.0 * shaped *
      (floor ? peak_factor({d.harmonic_lowpass, d.harmonic_highpass, d.floor_highpass}, 2)
             : peak_factor({d.harmonic_lowpass, d.harmonic_highpass}, 2));
  const double amount = static_cast<double>(common::dB_to_linear(c.at(start + AUDIOPOST_BASS_AMOUNT_DB)));
  return held(full_scale(c) * (held(harmonics) * amount + x * peak_factor({d.main_highpass}, 2)));
}

double exciter(const Checker& c, int channel, double level) {
  const int start = start_of({AUDIOPOST_EFFECT_EXCITER, channel});
  const tone::ExciterDesign d = tone::design_exciter(c.at(start + AUDIOPOST_EXCITER_DISTORTION_AMOUNT),
                                                     c.at(start + AUDIOPOST_EXCITER_CUTOFF), c.sample_rate);
  const float mix = c.at(start + AUDIOPOST_EXCITER_MIX);
  const double wet = held(std::fabs(static_cast<double>(mix * d.inverse_drive))),
               dry = std::fabs(static_cast<double>(1.0f - mix)), filter = peak_factor({d.high_pass});
  // The clipper answers any number, and none, with at most 1.
  return held(full_scale(c) * wet * filter + dry * level, level * filter);
}

double de_esser(const Checker& c, int channel, double level) {
  const tone::DeEsserDesign d = tone::design_de_esser(c.at(start_of({AUDIOPOST_EFFECT_DE_ESSER, channel})),
                                                      tone::kDeEsserQ, c.sample_rate);
  const double band = level * peak_factor({d.detector}), notched = level * peak_factor({d.notch});
  return held(level + notched, 2.0 * band * band);  // of both channels
}

// Enables other than 0 and 1 run a channel through bands of others, but none twice: then all count, but for those that
// make it softer.
double eq10(const Checker& c, int channel, double level) {
  constexpr int kMostRecords = (AUDIOPOST_PARAM_LENGTH - AUDIOPOST_EQ10_SECTION) / AUDIOPOST_EQ10_STRIDE;
  const int records = c.linked ? 1 : std::min(c.channels, kMostRecords);  // all beyond are off
  BiquadCoeffs sections[kMostRecords * AUDIOPOST_EQ10_BANDS];
  int ends[kMostRecords + 1] = {}, count = 0;
  bool own = true;
  for (int ch = 0; ch < records; ++ch) {
    for (int b = 0; b < AUDIOPOST_EQ10_BANDS; ++b) {
      float record[AUDIOPOST_EQ10_BAND_STRIDE];
      const int start = start_of({AUDIOPOST_EFFECT_EQ10, ch}) + AUDIOPOST_EQ10_BAND_STRIDE * b;
      for (int i = 0; i < AUDIOPOST_EQ10_BAND_STRIDE; ++i) record[i] = c.at(start + i);
      const tone::EqBand band = tone::read_eq_band(record);
      if (band.enable) sections[count++] = tone::design_eq_band(band, c.sample_rate);
      own &= band.enable == 0 || band.enable == 1;
    }
    ends[ch + 1] = count;
  }
  if (channel >= records) return level;
  if (own) return held(level * peak_factor(sections + ends[channel], ends[channel + 1] - ends[channel], 1));
  double factor = 4.0 * count + 1.0;
  for (int i = 0; i < count; ++i) factor *= std::max(1.0, peak_factor(sections + i, 1, 1) / 5.0);
  return held(level * factor);
}

double multiband_drc(const Checker& c, int channel, double level) {
  const int start = start_of({AUDIOPOST_EFFECT_MULTIBAND_DRC, channel});
  const int bands = c.int_at(start + AUDIOPOST_DRC_CROSSOVER_BAND);
  if (bands < 1) return 0.0;
  const filters::CrossoverDesign d = crossover_of(c, channel);
  double sum = 0.0;
  for (int b = 0; b < std::min(bands, 4); ++b) {
    const int band = start + kDrcBands[b].offset;
    // A fourth band beside more than two middle ones is not filtered and stays silent, however it is scaled.
    const bool filtered = b < 3 || bands == 4;
    const double path = b == AUDIOPOST_BAND_LOW    ? peak_factor({d.low}, 2)
                        : b == AUDIOPOST_BAND_HIGH ? peak_factor({d.high}, 2)
                        : b == AUDIOPOST_BAND_MID1 ? peak_factor({d.mid1_highpass, d.mid1_lowpass}, 2)
                        : filtered                 ? peak_factor({d.mid2_highpass, d.mid2_lowpass}, 2)
                                                   : 1.0;
    double value =
        held(path * level) * static_cast<double>(common::dB_to_linear(c.at(band + AUDIOPOST_DRC_GAIN_DB)));
    if (c.int_at(band + AUDIOPOST_DRC_BAND_ENABLE) != 0)
      value = held(value) * compressor_gain(c, band + AUDIOPOST_DRC_COMPRESS_START, 0.0f);
    sum = held(sum + value);
  }
  return sum;
}

double agc(const Checker& c, int channel, double level) {
  const int start = start_of({AUDIOPOST_EFFECT_AGC, channel});
  for (const int time : {start + AUDIOPOST_AGC_ATTACK_TIME, start + AUDIOPOST_AGC_RELEASE_TIME})
    if (!settles(dynamics::block_share(c.block, c.sample_rate, c.at(time)))) return kTooMuch;
  const double gain = std::max(1.0, compressor_gain(c, start + AUDIOPOST_AGC_COMPRESS_START, 10.0f));
  return held(gain * level, level * level);
}

double maximizer(const Checker& c, int channel, double level) {
  const int start = start_of({AUDIOPOST_EFFECT_MAXIMIZER, channel});
  if (!settles(dynamics::block_share(c.block, c.sample_rate, c.at(start + AUDIOPOST_MAXIMIZER_RELEASE))))
    return kTooMuch;
  const float max_threshold = c.at(start + AUDIOPOST_MAXIMIZER_MAX_THRESHOLD);
  dynamics::GainTable table;
  float from, scale;
  dynamics::build_limiter_table(
      max_threshold, dynamics::limiter_factor(max_threshold, c.at(start + AUDIOPOST_MAXIMIZER_CEILING)),
      table, from, scale);
  return held(level * largest(table));
}

// In the order of processing, with the setting to change first.
constexpr struct {
  int effect, field;
  double (*bound)(const Checker& c, int channel, double level);
} kStages[] = {
    {AUDIOPOST_EFFECT_AUTO_GAIN, AUDIOPOST_AUTOGAIN_TARGET_I_DB, auto_gain},
    {AUDIOPOST_EFFECT_BASS_ENHANCER, AUDIOPOST_BASS_AMOUNT_DB, bass_enhancer},
    {AUDIOPOST_EFFECT_EXCITER, AUDIOPOST_EXCITER_MIX, exciter},
    {AUDIOPOST_EFFECT_DE_ESSER, AUDIOPOST_DEESSER_F0, de_esser},
    {AUDIOPOST_EFFECT_EQ10, AUDIOPOST_EQ10_BOOST, eq10},
    {AUDIOPOST_EFFECT_MULTIBAND_DRC, AUDIOPOST_DRC_LOW + AUDIOPOST_DRC_GAIN_DB, multiband_drc},
    {AUDIOPOST_EFFECT_AGC, AUDIOPOST_AGC_MAX_GAIN, agc},
    {AUDIOPOST_EFFECT_MAXIMIZER, AUDIOPOST_MAXIMIZER_CEILING, maximizer},
};

}  // namespace

// Of a record that is not refused already.
void check_levels(Checker& c) {
  if (AUDIOPOST_REFUSED(c.worst())) return;
  c.runs = true;
  const int records = c.linked ? std::min(c.channels, 1) : c.channels;
  for (int ch = 0; ch < records; ++ch) {
    const int gain = AUDIOPOST_GAIN_SECTION + AUDIOPOST_GAIN_STRIDE * ch;
    double level = held(32768.0 * static_cast<double>(common::dB_to_linear(c.at(gain))));
    if (!(level < kMost)) return c.refuse(AUDIOPOST_RULE_LEVEL, {AUDIOPOST_EFFECT_CHAIN, ch}, {gain});
    for (const auto& stage : kStages) {
      if (c.int_at(kEffects[stage.effect].flag) != 1) continue;
      level = stage.bound(c, ch, level);
      const Where where{stage.effect, kEffects[stage.effect].stride > 0 ? ch : -1};
      if (!(level < kMost)) return c.refuse(AUDIOPOST_RULE_LEVEL, where, {start_of(where) + stage.field});
    }
  }
}

}  // namespace check
