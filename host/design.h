// What a tuning record asks for, in double and from the formulas alone: the curves that measurements are held to.
#pragma once

#include <array>
#include <complex>
#include <functional>
#include <vector>

#include "host/tuning.h"

namespace host {

using Complex = std::complex<double>;

// 16-bit full scale and its counterparts, as the dynamics measure levels against it.
double full_scale(const Record& record);

constexpr double kPi = 3.14159265358979323846;

inline double to_dB(double x) { return 20.0 * std::log10(x); }
inline double from_dB(double dB) { return std::pow(10.0, dB / 20.0); }

// ---- Equalizer -------------------------------------------------------------------------------------
struct EqBand {
  int number;
  bool on;
  int type;
  double fc_hz, q, boost_dB;
};
std::vector<EqBand> eq_bands(const Record& record, int channel);  // the ten
// Response of one band, of a type known to filter_calculateCoeffs, at a frequency in Hz.
Complex band_response(const EqBand& band, double sample_rate, double hz);

// ---- Multi-band compressor -----------------------------------------------------------------------------------
// A curve of an expander and compressor through its points (dB): below noise_threshold it attenuates, between
// expand_end and compress_start it adds max_gain, and full scale comes out at max_peak.
struct DynamicsCurve {
  double compress_start, expand_end, noise_threshold, max_gain, max_peak;
  double gain_dB(double x) const;  // at a level of x dB, with knees 4 dB wide
  // As a table from 4 dB below the noise threshold up to `end_dB` plays it, not below -60 dB.
  double played_gain_dB(double level_dB, double end_dB) const;
};
struct CompressorBand {
  const char* name;
  double low_hz, high_hz;  // 0 where the band has no such edge
  double gain_dB;          // make-up gain, before the follower
  bool compresses;
  DynamicsCurve curve;
  double share_dB;  // what a compressed band is turned down by, -20 log10(bands); 0 for one that is not
};
// The bands in ascending frequency; none when the record names a number of bands other than 2 to 4.
std::vector<CompressorBand> compressor_bands(const Record& record, int channel);
Complex crossover_response(const CompressorBand& band, double sample_rate, double hz);

// ---- Peak stage ------------------------------------------------------------------------------------
struct PeakStage {
  double max_threshold, ceiling;
  DynamicsCurve agc;
  double limiter_gain_dB(double level_dB) const;  // make-up gain included
};
PeakStage peak_stage(const Record& record, int channel);

// ---- Bass enhancer ---------------------------------------------------------------------------------
struct BassStage {
  double amount_dB, drive, blend, split_hz;
  bool floor_active;
  double floor_hz;
};
BassStage bass_stage(const Record& record, int channel);
// The waveshaper, for a low-band sample of -1 ... 1.
std::function<double(double)> bass_shaper(const BassStage& stage);
// Responses of the parts around it: past it, into it, and from it to the output.
struct BassPaths {
  Complex dry, to_shaper, from_shaper;
};
BassPaths bass_paths(const BassStage& stage, double sample_rate, double hz);
// Amplitudes of harmonics 1 ... n of a sine of this amplitude (full scale 1) at the enhancer's output.
std::vector<double> bass_harmonics(const BassStage& stage, double sample_rate, double hz, double amplitude,
                                   int n);

}  // namespace host
