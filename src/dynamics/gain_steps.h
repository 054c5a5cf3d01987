// Finds the gain steps of a compressor's table: see GainSteps.
#pragma once

#include "dynamics/gain_table.h"
#include "dynamics/multiband_drc.kernel.h"

namespace dynamics {

// Of a table over 20 (log10(follower + 1) - full_scale_log10) dB. Where the entries begin depends on start and scale
// alone: `steps`, or one of `count` others at `known`, for the same full scale, may have it already.
void find_gain_steps(const GainTable& table, float start, float scale, float full_scale_log10,
                     float band_scale, GainSteps& steps, const GainSteps* known = nullptr, int count = 0);

}  // namespace dynamics
