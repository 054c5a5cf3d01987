// The layout of the records that a host fills or reads itself is part of the binary interface: a change here breaks
// hosts that are already built.
#include <cstddef>

#include "zelkaudio_effect_eqdrc.h"

static_assert(sizeof(AudioPostParam) == 2000);

static_assert(sizeof(BiquadCoeffs) == 20 && offsetof(BiquadCoeffs, b0) == 0 &&
              offsetof(BiquadCoeffs, b1) == 4 && offsetof(BiquadCoeffs, b2) == 8 &&
              offsetof(BiquadCoeffs, a1) == 12 && offsetof(BiquadCoeffs, a2) == 16);
static_assert(sizeof(BiquadHistory) == 8 && offsetof(BiquadHistory, s1) == 0 &&
              offsetof(BiquadHistory, s2) == 4);
static_assert(sizeof(BiquadFilter) == 2 * sizeof(void*) && offsetof(BiquadFilter, coeffs) == 0 &&
              offsetof(BiquadFilter, history) == sizeof(void*));

static_assert(sizeof(CrossoverParam) == 28 && offsetof(CrossoverParam, mid_bands) == 0 &&
              offsetof(CrossoverParam, low_fc) == 4 && offsetof(CrossoverParam, high_fc) == 8 &&
              offsetof(CrossoverParam, mid1_low_fc) == 12 && offsetof(CrossoverParam, mid1_high_fc) == 16 &&
              offsetof(CrossoverParam, mid2_low_fc) == 20 && offsetof(CrossoverParam, mid2_high_fc) == 24);

static_assert(sizeof(LevelDetectorResult) == 40 && offsetof(LevelDetectorResult, freq) == 0 &&
              offsetof(LevelDetectorResult, level) == 20);

static_assert(Parametric == 0 && LowShelf == 1 && HighShelf == 2 && GeneralLP == 3 && GeneralHP == 4 &&
              BandPass == 5 && ButterworthLP == 6 && ButterworthHP == 7);
