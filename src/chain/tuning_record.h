// What the chain knows of the tuning record beyond the public indices: 500 floats, integers among them truncated toward
// zero.
#pragma once

#include "zelkaudio_effect_eqdrc.h"

namespace chain {

// The enable flags stand side by side, one for each step of processing.
constexpr int kFirstFlag = AUDIOPOST_AUTOGAIN_ENABLE;
constexpr int kFlags = AUDIOPOST_MAXIMIZER_ENABLE - kFirstFlag + 1;
constexpr int kEq10SectionLength = 2 * AUDIOPOST_EQ10_STRIDE;
constexpr float kToolVersion = 2.0f;

// From the third channel on the gains carry on into the AutoGain section: required behaviour.
constexpr int gain_index(int channel) { return AUDIOPOST_GAIN_SECTION + AUDIOPOST_GAIN_STRIDE * channel; }

}  // namespace chain
