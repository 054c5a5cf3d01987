// What is read off the samples that come out: spectra, levels, distortion.
#pragma once

#include <vector>

#include "host/design.h"

namespace analysis {

using host::Complex;

// In place; the length is a power of two.
void fft(std::vector<Complex>& x);

// Phasor of the component at this frequency.
Complex component(const std::vector<float>& x, double hz, double sample_rate);

// Mean square under a window, in dB: free of where the end cuts the tone's period.
double windowed_level_dB(const std::vector<double>& x);

class Response {
 public:
  Response(double sample_rate, std::vector<Complex> bins)
      : sample_rate_(sample_rate), bins_(std::move(bins)) {}
  Complex at(double hz) const;  // of the nearest bin

 private:
  double sample_rate_;
  std::vector<Complex> bins_;
};

struct Distortion {
  double hz, level_dB;  // the tone that went in; its amplitude against full scale
  double out_dB;        // the tone as it came out
  // Harmonics 2 ... 10 and everything else, against the tone as it came out; the former NaN when none lies below half the
  // sample rate.
  double thd_dB, thdn_dB;
  bool settled;
};
// Of the tone of `hz` that went in as `level_dB`, in so many samples of what came out.
constexpr int kToneLength = 1 << 15;
Distortion read_distortion(const std::vector<double>& out, double hz, double level_dB, double sample_rate,
                           bool settled);

}  // namespace analysis
