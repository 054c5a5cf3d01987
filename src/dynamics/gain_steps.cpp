// Where each entry of a gain table begins, found by bisection through the very expression that the plain compressor
// evaluates, so that comparing with these values gives the same entry for every float.
#include "dynamics/gain_steps.h"

#include <cfloat>
#include <cmath>
#include <cstdint>

#include "common/numeric.h"

namespace {

using common::bits_of, common::float_of;
using dynamics::GainSteps;

constexpr uint32_t kInfinity =
    0x7f800000;  // its bits; non-negative floats and their bits stand in the same order

struct Scale {
  float start, scale, full_scale_log10;

  int entry(float follower_and_1) const {
    const float level_dB = 20.0f * (common::log10_portable(follower_and_1) - full_scale_log10);
    return dynamics::table_entry(dynamics::kLastEntry, level_dB, start, scale);
  }
  int entry(uint32_t follower_bits) const { return entry(float_of(follower_bits) + 1.0f); }
};

// The first follower from 0 to infinity whose entry is k or more; `guess` is near; all three are bits.
uint32_t first_of(const Scale& scale, int k, uint32_t guess) {
  uint32_t below = guess, above = guess;
  for (uint32_t reach = 8; below > 0 && scale.entry(below) >= k; reach *= 2)
    below = below > reach ? below - reach : 0;
  if (scale.entry(below) >= k) return 0;
  for (uint32_t reach = 8; above < kInfinity && scale.entry(above) < k; reach *= 2)
    above = kInfinity - above > reach ? above + reach : kInfinity;
  while (above - below > 1) {
    const uint32_t middle = below + (above - below) / 2;
    (scale.entry(middle) >= k ? above : below) = middle;
  }
  return above;
}

// A logarithm that falls by its last bit somewhere would make the step at this follower not a single one.
bool is_single_step(const Scale& scale, int k, float follower) {
  float below = follower + 1.0f, above = below;
  for (int i = 0; i < 4; ++i) {
    below = std::nextafterf(below, 0.0f), above = std::nextafterf(above, INFINITY);
    if ((below >= 1.0f && scale.entry(below) >= k) || scale.entry(above) < k) return false;
  }
  return true;
}

// Whether the kernels' estimate is the entry or one less over the whole entry k; its log2 is less than 0.006 off.
bool estimate_holds(const GainSteps& s, int k) {
  const float first = s.begin[k], last = float_of(bits_of(s.begin[k + 1]) - 1);
  if (!(first < s.begin[k + 1])) return true;
  const float margin = 0.006f * s.slope + 0.02f;
  const auto estimate = [&](float x) { return s.slope * log2f(x + 1.0f) + s.offset; };
  return (k == 0 || estimate(first) - margin >= static_cast<float>(k - 1)) &&
         (k == dynamics::kLastEntry || estimate(last) + margin < static_cast<float>(k + 1));
}

bool find(const Scale& scale, GainSteps& s) {
  constexpr float kdBPerOctave = 6.0206f;
  s.slope = kdBPerOctave * scale.scale;
  s.offset = (-20.0f * scale.full_scale_log10 - scale.start) * scale.scale;
  if (!(s.slope > 0.0f && s.slope < 1000.0f && std::fabs(s.offset) < 1e5f)) return false;
  s.begin[0] = 0.0f, s.begin[dynamics::kLastEntry + 1] = INFINITY;
  for (int k = 1; k <= dynamics::kLastEntry; ++k) {
    const float octaves = (static_cast<float>(k) - 0.5f - s.offset) / s.slope;
    const float guess = octaves > 0.0f ? exp2f(octaves < 127.0f ? octaves : 127.0f) - 1.0f : 0.0f;
    const uint32_t at = first_of(scale, k, bits_of(guess));
    if (!is_single_step(scale, k, float_of(at))) return false;
    s.begin[k] = float_of(at);
  }
  for (int k = 0; k <= dynamics::kLastEntry; ++k)
    if (!estimate_holds(s, k)) return false;
  return true;
}

}  // namespace

void dynamics::find_gain_steps(const GainTable& table, float start, float scale, float full_scale_log10,
                               float band_scale, GainSteps& steps) {
  for (size_t k = 0; k < table.size(); ++k) steps.gain[k] = table[k] * band_scale;
  steps.usable = find({start, scale, full_scale_log10}, steps);
}
