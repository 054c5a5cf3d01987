// Designs of the effects: settings in, coefficients out. The effects load them, and whoever judges settings asks them what
// would run.
#pragma once

#include "zelkaudio_effect_eqdrc.h"

namespace tone {

// ---- Ten-band equalizer ----------------------------------------------------------------------------
struct EqBand {
  int enable;          // 0 is off; every other value counts
  int type;            // FilterType
  float fc, q, boost;  // Hz; Q, slope or octaves; dB
};
EqBand read_eq_band(const float* record);
BiquadCoeffs design_eq_band(const EqBand& band, int sample_rate);  // zeros for an unknown type

// ---- Bass enhancer ---------------------------------------------------------------------------------
struct BassShaper {
  float pos_offset, pos_bias, neg_offset, neg_bias, pos_const, neg_const;
  float gain;
};
struct BassDesign {
  // Each runs twice in series.
  BiquadCoeffs bass_lowpass, main_highpass, harmonic_lowpass, harmonic_highpass, floor_highpass;
  BassShaper shaper;
  float dc_pole;
};
// freq, floor  Hz
BassDesign design_bass_enhancer(float drive, float blend, float freq, float floor, int sample_rate);

// ---- Exciter ---------------------------------------------------------------------------------------
struct ExciterDesign {
  float drive, inverse_drive;
  BiquadCoeffs high_pass;  // before the clipper and after it
};
ExciterDesign design_exciter(float distortion_amount, float cutoff_hz, int sample_rate);

// ---- De-esser --------------------------------------------------------------------------------------
constexpr float kDeEsserQ = 1.0f;  // octaves for the detector, Q for the notch
struct DeEsserDesign {
  BiquadCoeffs detector, notch;
};
DeEsserDesign design_de_esser(float f0, float q, int sample_rate);

}  // namespace tone
