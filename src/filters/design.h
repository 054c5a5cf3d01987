// The one filter designer as a pure function: for the effects, and for whoever judges settings before they run.
#pragma once

#include "zelkaudio_effect_eqdrc.h"

namespace filters {

// Whether `type` is one of FilterType.
bool is_filter_type(int type);

// What filter_calculateCoeffs writes; zeros for an unknown type.
BiquadCoeffs design(int type, float sample_rate, float fc, float q, float gain_dB);

// Ends the process for an unknown type, after filter_calculateCoeffs' message.
void require_filter_type(int type);

}  // namespace filters
