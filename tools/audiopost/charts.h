// The charts of a tuning: what its record designs, and what the effects do when measured.
#pragma once

#include <vector>

#include "host/tuning.h"
#include "svg.h"

namespace audiopost {

// Equalizer, crossover, compressor, AGC, limiter and bass enhancer, as far as the record runs them, each distinct
// channel on its own. The record must be usable.
std::vector<Chart> tuning_charts(const host::Record& record);

// The effects that the record does not run, for a line of text; empty when it runs all eight.
std::string effects_off(const host::Record& record);

}  // namespace audiopost
