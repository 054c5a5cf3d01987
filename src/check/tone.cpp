// BassEnhancer, Exciter and DeEsser: their filters' frequencies, the shaper and the drive.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "check/checker.h"
#include "tone/designs.h"

namespace check {

// ---- BassEnhancer -----------------------------------------------------------------------------------
void check_bass_enhancer(Checker& c, int channel) {
  const Where where{AUDIOPOST_EFFECT_BASS_ENHANCER, channel};
  const int start = start_of(where);
  const int amount_dB = start, drive = start + 1, blend = start + 2, freq = start + 3,
            floor_active = start + 4, floor = start + 5;
  if (!c.usable(where, fields(kBassEnhancerFields), start)) return;
  c.gain(where, amount_dB);
  const int before = c.count();
  c.frequency(where, freq);
  if (c.at(freq) * 3.0f >= c.half_rate() && c.count() == before)
    c.refuse(AUDIOPOST_RULE_HARMONICS_HIGH, where, {freq}, {-INFINITY, c.half_rate() / 3.0f});
  if (c.int_at(floor_active) > 0) c.frequency(where, floor);
  const tone::BassShaper shaper =
      tone::design_bass_enhancer(c.at(drive), c.at(blend), c.at(freq), c.at(floor), c.sample_rate).shaper;
  const float design[] = {shaper.pos_offset, shaper.pos_bias,  shaper.pos_const, shaper.neg_offset,
                          shaper.neg_bias,   shaper.neg_const, shaper.gain};
  if (!std::all_of(std::begin(design), std::end(design), [](float x) { return std::isfinite(x); }))
    c.refuse(AUDIOPOST_RULE_SHAPER_INFINITE, where, {drive, blend});
  constexpr float kSmooth = 12.0f;
  if (c.at(drive) > kSmooth) c.warn(AUDIOPOST_RULE_SHAPER_JUMPS, where, {drive}, {-INFINITY, kSmooth});
}

// ---- Exciter ----------------------------------------------------------------------------------------
void check_exciter(Checker& c, int channel) {
  const Where where{AUDIOPOST_EFFECT_EXCITER, channel};
  const int start = start_of(where), distortion_amount = start + 1, cutoff = start + 2;
  c.usable(where, fields(kExciterFields), start);
  const float drive = std::pow(10.0f, 2.0f * c.at(distortion_amount));
  if (std::isfinite(c.at(distortion_amount)) && (!std::isfinite(drive) || !std::isfinite(1.0f / drive)))
    c.refuse(AUDIOPOST_RULE_DRIVE, where, {distortion_amount});
  c.frequency(where, cutoff);
}

// ---- DeEsser ----------------------------------------------------------------------------------------
void check_de_esser(Checker& c, int channel) {
  const Where where{AUDIOPOST_EFFECT_DE_ESSER, channel};
  const int f0 = start_of(where), threshold = f0 + 1;
  c.usable(where, fields(kDeEsserFields), f0);
  c.frequency(where, f0);
  if (c.at(threshold) >= 0.0f) c.note(AUDIOPOST_RULE_THRESHOLD_HIGH, where, {threshold}, {-INFINITY, 0.0f});
}

}  // namespace check
