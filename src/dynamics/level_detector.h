// Design of the level meter's ten bands.
#pragma once

#include "zelkaudio_effect_eqdrc.h"

namespace dynamics {

constexpr int kDetectorBands = 10;

struct DetectorBand {
  float freq, q;  // Hz; Q at both ends, octaves in between
};
constexpr DetectorBand kDefaultDetectorBands[kDetectorBands] = {
    {31, 0.7f},   {62, 1.2f},   {125, 1.2f},  {250, 1.2f},  {500, 1.2f},
    {1000, 1.2f}, {2000, 1.2f}, {4000, 1.2f}, {8000, 1.2f}, {16000, 0.7f}};

// The lowest band is a low-pass, the highest a high-pass.
BiquadCoeffs design_detector_band(int index, const DetectorBand& band, int sample_rate);

}  // namespace dynamics
