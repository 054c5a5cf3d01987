// Where each entry of a gain table begins, found by bisection through the very expression that the plain compressor
// evaluates, so that comparing with these values gives the same entry for every float.
#include "dynamics/gain_steps.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "common/numeric.h"

namespace {

using common::bits_of, common::float_of;
using dynamics::GainSteps;

// Non-negative floats and their bits stand in the same order.
constexpr uint32_t kInfinity = 0x7f800000;

// The first float from `least` to infinity for which `holds`, as it does for all above; the search begins at `guess`.
template <class Holds>
float first_float(float least, float guess, Holds holds) {
  const uint32_t bottom = bits_of(least);
  uint32_t below = std::clamp(bits_of(guess), bottom, kInfinity), above = below;
  for (uint32_t reach = 8; holds(float_of(below)); reach *= 2) {
    if (below == bottom) return least;
    above = below, below -= std::min(reach, below - bottom);
  }
  for (uint32_t reach = 8; above < kInfinity && !holds(float_of(above)); reach *= 2)
    below = above, above += std::min(reach, kInfinity - above);
  while (above - below > 1) {
    const uint32_t middle = below + (above - below) / 2;
    (holds(float_of(middle)) ? above : below) = middle;
  }
  return float_of(above);
}

struct Scale {
  float start, scale, full_scale_log10;

  // Of a follower + 1, as the plain compressor finds it; it never falls where that rises, since the logarithm never does.
  int entry(float x) const {
    const float level_dB = 20.0f * (common::log10_portable(x) - full_scale_log10);
    return dynamics::table_entry(dynamics::kLastEntry, level_dB, start, scale);
  }
  // The first follower with entry k or a higher one.
  float first_follower(int k) const {
    const double level_dB = (k - 0.5) / static_cast<double>(scale) + static_cast<double>(start);
    const double octaves = (level_dB / 20.0 + static_cast<double>(full_scale_log10)) * 3.321928094887362;
    const auto guess = static_cast<float>(std::exp2(std::clamp(octaves, 0.0, 128.0)));
    const float x = first_float(1.0f, guess, [&](float at) { return entry(at) >= k; });
    return first_float(0.0f, x - 1.0f, [&](float follower) { return follower + 1.0f >= x; });
  }
};

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
  for (int k = 1; k <= dynamics::kLastEntry; ++k) s.begin[k] = scale.first_follower(k);
  for (int k = 0; k <= dynamics::kLastEntry; ++k)
    if (!estimate_holds(s, k)) return false;
  return true;
}

}  // namespace

void dynamics::find_gain_steps(const GainTable& table, float start, float scale, float full_scale_log10,
                               float band_scale, GainSteps& steps, const GainSteps* known, int count) {
  const auto is_it = [&](const GainSteps& s) { return s.start == start && s.scale == scale; };
  if (!is_it(steps)) {
    const GainSteps* const it = std::find_if(known, known + count, is_it);
    if (it != known + count)
      steps = *it;
    else
      steps.usable = find({start, scale, full_scale_log10}, steps);
    steps.start = start, steps.scale = scale;
  }
  for (size_t k = 0; k < table.size(); ++k) steps.gain[k] = table[k] * band_scale;
}
