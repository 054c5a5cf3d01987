// AutoGain: the window and the steps of its meter in samples, and its times.
#include <algorithm>

#include "check/checker.h"

namespace check {

void check_auto_gain(Checker& c) {
  constexpr Where where{AUDIOPOST_EFFECT_AUTO_GAIN};
  constexpr int section = kEffects[AUDIOPOST_EFFECT_AUTO_GAIN].section;
  constexpr int attack_time = section + 1, release_time = section + 2, wins = section + 3,
                steps = section + 4;
  c.usable(where, fields(kAutoGainFields), section);
  c.time(where, attack_time, c.at(attack_time));
  c.time(where, release_time, c.at(release_time));
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
