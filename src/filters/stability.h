// What single precision makes of a section: whether it comes to rest, and how loud its rounding is.
#pragma once

#include "zelkaudio_effect_eqdrc.h"

namespace filters {

enum class Fate {
  rests,       // whatever went in, silence follows
  not_finite,  // a coefficient is no number, or infinite
  unstable,    // a pole on the unit circle or outside: the output grows until it is infinite
  lingers,  // inside the circle, but so close that rounding replaces what the section loses: a constant, or
            // a tone at half the rate, may stay for ever
};

// Of a section as biquad_step runs it; a first-order one has b2 = a2 = 0.
Fate fate(const BiquadCoeffs& c);

// A bound of the largest magnitude of the frequency response of stable sections in series: exact for one section, and
// hardly above for several. Of more than kMostInSeries, the product of what so many at a time give.
constexpr int kMostInSeries = 10;
double peak_gain(const BiquadCoeffs* sections, int count);

// The rms of the section's rounding errors at its output, relative to full scale, while it plays music that
// reaches full scale. Only for a section that rests.
double noise_dBFS(const BiquadCoeffs& c, int sample_rate);

// A step of 16-bit PCM: louder noise is more than what the chain's output rounds away in any case.
constexpr double kNoticeableNoise_dBFS = -90.3;

}  // namespace filters
