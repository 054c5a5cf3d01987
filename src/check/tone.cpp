// BassEnhancer, Exciter and DeEsser: their filters, the shaper and the drive.
#include <cmath>

#include "check/checker.h"
#include "tone/designs.h"

namespace check {

// ---- BassEnhancer -----------------------------------------------------------------------------------
void check_bass_enhancer(Checker& c, int channel) {
  const Where where{AUDIOPOST_EFFECT_BASS_ENHANCER, channel};
  const int start = start_of(where);
  const int drive = start + AUDIOPOST_BASS_DRIVE, blend = start + AUDIOPOST_BASS_BLEND,
            freq = start + AUDIOPOST_BASS_FREQ, floor = start + AUDIOPOST_BASS_FLOOR;
  if (!c.usable(where, fields(kBassEnhancerFields), start)) return;
  c.gain(where, start + AUDIOPOST_BASS_AMOUNT_DB);
  const tone::BassDesign d =
      tone::design_bass_enhancer(c.at(drive), c.at(blend), c.at(freq), c.at(floor), c.sample_rate);
  const bool low = c.at(freq) * 3.0f < c.half_rate();
  if (c.at(freq) < c.half_rate() && !low)
    c.refuse(AUDIOPOST_RULE_HARMONICS_HIGH, where, {freq}, {-INFINITY, c.half_rate() / 3.0f});
  else
    c.filter(where, {freq}, {d.bass_lowpass, d.main_highpass, d.harmonic_lowpass, d.harmonic_highpass});
  if (c.int_at(start + AUDIOPOST_BASS_FLOOR_ACTIVE) > 0) c.filter(where, {floor}, {d.floor_highpass});
  const tone::BassShaper& s = d.shaper;
  for (const float x : {s.pos_offset, s.pos_bias, s.pos_const, s.neg_offset, s.neg_bias, s.neg_const, s.gain})
    if (!std::isfinite(x)) {
      c.refuse(AUDIOPOST_RULE_SHAPER_INFINITE, where, {drive, blend});
      break;
    }
  constexpr float kSmooth = 12.0f;
  if (c.at(drive) > kSmooth) c.warn(AUDIOPOST_RULE_SHAPER_JUMPS, where, {drive}, {-INFINITY, kSmooth});
}

// ---- Exciter ----------------------------------------------------------------------------------------
void check_exciter(Checker& c, int channel) {
  const Where where{AUDIOPOST_EFFECT_EXCITER, channel};
  const int start = start_of(where), cutoff = start + AUDIOPOST_EXCITER_CUTOFF,
            distortion_amount = start + AUDIOPOST_EXCITER_DISTORTION_AMOUNT;
  c.usable(where, fields(kExciterFields), start);
  const tone::ExciterDesign d = tone::design_exciter(c.at(distortion_amount), c.at(cutoff), c.sample_rate);
  if (std::isfinite(c.at(distortion_amount)) && (!std::isfinite(d.drive) || !std::isfinite(d.inverse_drive)))
    c.refuse(AUDIOPOST_RULE_DRIVE, where, {distortion_amount});
  c.filter(where, {cutoff}, {d.high_pass});
}

// ---- DeEsser ----------------------------------------------------------------------------------------
void check_de_esser(Checker& c, int channel) {
  const Where where{AUDIOPOST_EFFECT_DE_ESSER, channel};
  const int start = start_of(where), f0 = start + AUDIOPOST_DEESSER_F0,
            threshold = start + AUDIOPOST_DEESSER_THRESHOLD;
  c.usable(where, fields(kDeEsserFields), start);
  const tone::DeEsserDesign d = tone::design_de_esser(c.at(f0), tone::kDeEsserQ, c.sample_rate);
  const int before = c.count();
  c.filter(where, {f0}, {d.notch});
  if (c.count() == before) c.filter(where, {f0}, {d.detector}, Checker::Path::measures);
  if (c.at(threshold) >= 0.0f) c.note(AUDIOPOST_RULE_THRESHOLD_HIGH, where, {threshold}, {-INFINITY, 0.0f});
}

}  // namespace check
