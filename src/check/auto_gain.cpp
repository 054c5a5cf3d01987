// AutoGain: the window and the steps of its meter in samples, and its times.
#include <algorithm>

#include "check/checker.h"
#include "filters/stability.h"
#include "loudness/r128_meter.h"

namespace check {

void check_auto_gain(Checker& c) {
  constexpr Where where{AUDIOPOST_EFFECT_AUTO_GAIN};
  constexpr int start = kEffects[AUDIOPOST_EFFECT_AUTO_GAIN].section;
  constexpr int wins = start + AUDIOPOST_AUTOGAIN_R128_WINS, steps = start + AUDIOPOST_AUTOGAIN_R128_STEPS;
  c.usable(where, fields(kAutoGainFields), start);
  for (const int time : {start + AUDIOPOST_AUTOGAIN_ATTACK_TIME, start + AUDIOPOST_AUTOGAIN_RELEASE_TIME})
    c.time(where, time, c.at(time));
  const loudness::KWeightingCoeffs meter = loudness::design_k_weighting(static_cast<float>(c.sample_rate));
  for (const BiquadCoeffs& section : {meter.shelf, meter.high_pass}) {
    const filters::Fate fate = filters::fate(section);
    if (fate == filters::Fate::rests) continue;
    const bool lingers = fate == filters::Fate::lingers;
    c.add(lingers || !c.runs ? AUDIOPOST_WARNING : AUDIOPOST_UNSTABLE, AUDIOPOST_RULE_METER, where,
          {AUDIOPOST_SAMPLE_RATE});
    break;
  }
  // As the meter computes them, products wrapping.
  const int window = common::wrapping_mul(c.sample_rate, c.int_at(wins)) / 1000;
  const int step = common::wrapping_mul(c.sample_rate, c.int_at(steps)) / 1000;
  if (step < c.block && c.runs)
    c.fatal(AUDIOPOST_RULE_STEP_SHORT, where, {steps}, {static_cast<float>(c.block), INFINITY, step});
  if (window > kMostSamples || int64_t{std::max(c.channels, 0)} * window > kMostSamples)
    c.fatal(AUDIOPOST_RULE_WINDOW_LONG, where, {wins});
  else if (window < 1)
    c.warn(AUDIOPOST_RULE_WINDOW_NONE, where, {wins});
}

}  // namespace check
