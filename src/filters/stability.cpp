// Every operation of biquad_step rounds to 24 bits, an error of up to 2^-24 of its result. An error at y, or at
// a history, runs through 1/A(z), A = 1 + a1/z + a2/z^2: its impulse response h says what becomes of it.
#include "filters/stability.h"

#include <cmath>
#include <complex>

namespace {

constexpr double kRounding = 1.0 / 16777216.0;  // 2^-24

// Roots of z^2 + a1 z + a2 inside the unit circle: Schur's and Cohn's conditions, exact in double for float
// coefficients.
bool poles_inside(double a1, double a2) { return a2 < 1.0 && 1.0 + a1 + a2 > 0.0 && 1.0 - a1 + a2 > 0.0; }

// Sum of h^2 (E. I. Jury, "Theory and Application of the z-Transform Method").
double noise_power_gain(double a1, double a2) {
  return (1.0 + a2) / ((1.0 - a2) * (1.0 + a1 + a2) * (1.0 - a1 + a2));
}

}  // namespace

filters::Fate filters::fate(const BiquadCoeffs& c) {
  const double a1 = c.a1, a2 = c.a2;
  if (!std::isfinite(c.b0) || !std::isfinite(c.b1) || !std::isfinite(c.b2) || !std::isfinite(c.a1) ||
      !std::isfinite(c.a2))
    return Fate::not_finite;
  if (!poles_inside(a1, a2)) return Fate::unstable;
  // With nothing at the input, the errors of one step add up to at most this share of the largest y.
  const double error = (1.0 + std::fabs(a1) + std::fabs(a2)) * kRounding;
  // A constant y, or one that alternates, stays where the errors make up for A(1) y or A(-1) y. Poles on the
  // real axis can do nothing else: the sum of |h|, by which errors of bounded size grow at most, is then the
  // larger of 1 / A(1) and 1 / A(-1).
  if (std::fmin(1.0 + a1 + a2, 1.0 - a1 + a2) <= error) return Fate::lingers;
  // A resonance would need errors in step with it. They are as good as random and merely add power: that wears
  // off while what they add in a ring's lifetime stays below what was there. 20 dB of room; up to 15 dB of it
  // have been tried, with 50 million rings, and all came to rest.
  if (error * error * noise_power_gain(a1, a2) > 0.01) return Fate::lingers;
  return Fate::rests;
}

// Errors are uniform and independent. An error's power relative to its result's: (ulp^2 / 12), averaged over
// mantissas that are spread evenly on a logarithmic scale.
double filters::noise_dBFS(const BiquadCoeffs& c, int sample_rate) {
  constexpr double kErrorPower = kRounding * kRounding * 4.0 / 12.0 * 0.541;
  // The music: equal power in every third of an octave from 20 Hz to 20 kHz, an rms of -12 dBFS together.
  constexpr int kPoints = 512;
  constexpr double kPower = 0.0631 / kPoints, kFrom = 20.0, kOctaves = 9.966;
  double rounded = 0;  // power of all that is rounded
  for (int i = 0; i < kPoints; ++i) {
    const double hz = kFrom * std::exp2(kOctaves * (i + 0.5) / kPoints);
    if (hz >= 0.5 * sample_rate) break;
    const std::complex<double> z1 = std::polar(1.0, -2.0 * M_PI * hz / sample_rate);  // a delay
    const std::complex<double> y = (double{c.b0} + z1 * (double{c.b1} + z1 * double{c.b2})) /
                                   (1.0 + z1 * (double{c.a1} + z1 * double{c.a2}));
    const std::complex<double> s1 = y - double{c.b0}, u = double{c.b1} - double{c.a1} * y;
    const std::complex<double> s2 = double{c.b2} - double{c.a2} * y;
    rounded += std::norm(y) + std::norm(s1) + std::norm(u) + std::norm(s2) + double{c.b1} * c.b1 +
               double{c.b2} * c.b2;
  }
  return 10.0 * std::log10(kErrorPower * kPower * rounded * noise_power_gain(c.a1, c.a2));
}
