// The rules of all effects over a record, in its order.
#include "audiopost_check.h"

#include "check/checker.h"

namespace check {
namespace {

void check_stereo(Checker& c, int effect, void (*rules)(Checker&, int channel)) {
  if (!c.created(effect) || !c.fits(effect)) return;
  for (int ch = 0; ch < c.stereo_records(); ++ch) rules(c, ch);
}

// Agc and Maximizer are two flags of one effect: it exists when either is set, and reads the settings of both.
void check_peak_stages(Checker& c) {
  const bool agc = c.created(AUDIOPOST_EFFECT_AGC), agc_runs = c.runs;
  const bool limiter = c.created(AUDIOPOST_EFFECT_MAXIMIZER);
  c.runs |= agc_runs;
  if ((!agc && !limiter) || !c.fits(limiter ? AUDIOPOST_EFFECT_MAXIMIZER : AUDIOPOST_EFFECT_AGC)) return;
  for (int ch = 0; ch < c.stereo_records(); ++ch) check_peak_stage(c, ch, agc, limiter);
}

void check_all(Checker& c) {
  check_chain(c);
  check_unheard(c);
  if (c.created(AUDIOPOST_EFFECT_AUTO_GAIN)) check_auto_gain(c);
  check_stereo(c, AUDIOPOST_EFFECT_BASS_ENHANCER, check_bass_enhancer);
  check_stereo(c, AUDIOPOST_EFFECT_EXCITER, check_exciter);
  check_stereo(c, AUDIOPOST_EFFECT_DE_ESSER, check_de_esser);
  if (c.created(AUDIOPOST_EFFECT_EQ10)) check_eq10(c);
  check_stereo(c, AUDIOPOST_EFFECT_MULTIBAND_DRC, check_multiband_drc);
  check_peak_stages(c);
  check_levels(c);
}

}  // namespace
}  // namespace check

int audiopost_check(const float record[500], int block, audiopost_finding* out, int room) {
  check::Checker checker(record, block, out, room);
  check::check_all(checker);
  return checker.count();
}

int audiopost_check_worst(const float record[500], int block) {
  check::Checker checker(record, block, nullptr, 0);
  check::check_all(checker);
  return checker.worst();
}
