// EQ10, band by band.
#include <algorithm>

#include "check/checker.h"
#include "tone/designs.h"

namespace check {
namespace {

void check_band(Checker& c, int channel, int band) {
  const Where where{AUDIOPOST_EFFECT_EQ10, channel, band};
  const int start = start_of(where) + AUDIOPOST_EQ10_BAND_STRIDE * band;
  const int type = start + AUDIOPOST_EQ10_TYPE, fc = start + AUDIOPOST_EQ10_FC, q = start + AUDIOPOST_EQ10_Q,
            boost = start + AUDIOPOST_EQ10_BOOST;
  c.usable(where, kEqBandFields[0], start);
  const int enable = c.int_at(start), code = c.int_at(type);
  if (enable == 0) return;
  if (enable != 1) c.warn(AUDIOPOST_RULE_BAND_COUNT, where, {start});
  for (const Field& field : kEqBandFields)
    if (field.offset != AUDIOPOST_EQ10_BAND_ENABLE) c.usable(where, field, start + field.offset);
  if (code < 0 || code >= kFilterTypes) {
    c.fatal(AUDIOPOST_RULE_FILTER_TYPE, where, {type}, {0.0f, static_cast<float>(kFilterTypes - 1)});
    return;
  }
  const tone::EqBand settings{enable, code, c.at(fc), c.at(q), c.at(boost)};
  const bool butterworth = code == ButterworthLP || code == ButterworthHP;  // uses no Q
  const BiquadCoeffs section = tone::design_eq_band(settings, c.sample_rate);
  if (butterworth)
    c.filter(where, {fc}, {section});
  else
    c.filter(where, {fc, q, type}, {section});
  if (butterworth) {
    if (c.at(boost) != 0.0f) c.warn(AUDIOPOST_RULE_BUTTERWORTH_BOOST, where, {boost, type}, {0.0f, 0.0f});
    return;
  }
  const bool shelf = code == LowShelf || code == HighShelf;
  c.clamped(where, q, 0.01f, shelf ? 2.0f : code == BandPass ? 11.0f : 16.0f, type);
  c.clamped(where, boost, -20.0f, 20.0f, type);
}

}  // namespace

// Any number of channels: from the third on an unlinked record's bands lie beyond EQ10's own section.
void check_eq10(Checker& c) {
  const int channels = std::min(c.channels, c.linked ? 1 : kMostChannels);
  for (int ch = 0; ch < channels; ++ch)
    for (int band = 0; band < AUDIOPOST_EQ10_BANDS; ++band) check_band(c, ch, band);
  if (channels > 2)
    c.warn(AUDIOPOST_RULE_BANDS_BEYOND, {AUDIOPOST_EFFECT_EQ10},
           {AUDIOPOST_CHANNEL_LINK, AUDIOPOST_CHANNELS});
}

}  // namespace check
