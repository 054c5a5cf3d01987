// What a chain or one of its effects does to test signals.
#pragma once

#include <functional>
#include <vector>

#include "analysis/readings.h"
#include "analysis/signals.h"

namespace analysis {

// ---- Response ------------------------------------------------------------------------------------------------
std::vector<Response> chain_response(const host::Record& record, double level_dB);
std::vector<Response> eq_response(const host::Record& record);  // EQ10 alone
// Each band of one channel's crossover, in ascending frequency, without make-up gain.
std::vector<Response> crossover_responses(const host::Record& record, int channel);

// ---- Distortion ----------------------------------------------------------------------------------------------
// A tone on every channel of a fresh chain, measured on channel 0 when its level has moved by less than 0.01 dB in each
// of the last two seconds, or after kLongestWait seconds all the same.
constexpr int kLongestWait = 60;
Distortion distortion(const host::Record& record, double hz, double level_dB);

// ---- Static curves: settled output against input, each in dB against full scale ---------------------------------
struct CurvePoint {
  double in_dB, out_dB;
};
using Curve = std::vector<CurvePoint>;

// Stepped square waves: their peak and mean square agree, so both of the AGC's detectors read the same level.
Curve agc_curve(const host::Record& record, int channel);
Curve limiter_curve(const host::Record& record, int channel);
// Stepped sines in the middle of the band, the other bands silenced; in_dB is the level inside the band.
Curve compressor_curve(const host::Record& record, int channel, size_t band);
double band_centre_hz(const host::CompressorBand& band, double sample_rate);

// The bass enhancer's waveshaper, for a low-band sample of -1 ... 1: the record's drive and blend in an enhancer whose
// split lies far above a tone that fills the low band to full scale. The tone's harmonics at the output, less what the
// filters around the shaper make of them by design, are the Chebyshev series of the curve. Its constant never gets past
// the DC blocker; it is taken from the design.
std::function<double(double)> measured_bass_shaper(const host::Record& record, int channel);
// Amplitudes of harmonics 1 ... n that the bass enhancer makes of a sine of this amplitude, full scale 1.
std::vector<double> measured_bass_harmonics(const host::Record& record, int channel, double hz,
                                            double amplitude, int n);

// ---- Latency -------------------------------------------------------------------------------------------------
// Frames from a click to the first output sample that it changes; -1 when it changes none.
int latency(const host::Record& record);

}  // namespace analysis
