// The gain steps of a compressor's table.
#pragma once

#include "dynamics/gain_table.h"

namespace dynamics {

// Where each entry of a 201-entry gain table begins, in terms of the follower: entry k holds for begin[k] <= follower <
// begin[k + 1]. The index is a step function of that value, so a gain can be found, and kept, without a logarithm.
constexpr int kGainSteps = 201;
struct GainSteps {
  float begin[kGainSteps + 1];  // ascending, from 0 to infinity
  float gain[kGainSteps];       // table entry times the band scale, as rounded at run time
  // slope * log2(follower + 1) + offset is less than half an entry off the fractional index.
  float slope, offset;
  bool usable;         // false: only the logarithm itself answers exactly
  float start, scale;  // of the table that `begin` was found for
};

// Of a table over 20 (log10(follower + 1) - full_scale_log10) dB. Where the entries begin depends on start and scale
// alone: `steps`, or one of `count` others at `known`, for the same full scale, may have it already.
void find_gain_steps(const GainTable& table, float start, float scale, float full_scale_log10,
                     float band_scale, GainSteps& steps, const GainSteps* known = nullptr, int count = 0);

}  // namespace dynamics
