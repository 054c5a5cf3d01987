#include "analysis/readings.h"

#include <algorithm>
#include <cmath>

namespace analysis {

using host::kPi;

namespace {

// The four-term window, over 0 ... 1 (F. J. Harris, Proc. IEEE 66:1, 1978).
double blackman_harris(double t) {
  return 0.35875 - 0.48829 * std::cos(2 * kPi * t) + 0.14128 * std::cos(4 * kPi * t) -
         0.01168 * std::cos(6 * kPi * t);
}

}  // namespace

// Radix-2.
void fft(std::vector<Complex>& x) {
  const size_t n = x.size();
  for (size_t i = 1, j = 0; i < n; ++i) {  // bit reversal
    size_t bit = n >> 1;
    for (; j & bit; bit >>= 1) j ^= bit;
    j ^= bit;
    if (i < j) std::swap(x[i], x[j]);
  }
  for (size_t span = 1; span < n; span *= 2)
    for (size_t k = 0; k < span; ++k) {
      const Complex twiddle = std::polar(1.0, -kPi * static_cast<double>(k) / static_cast<double>(span));
      for (size_t i = k; i < n; i += 2 * span) {
        const Complex t = twiddle * x[i + span];
        x[i + span] = x[i] - t;
        x[i] += t;
      }
    }
}

Complex component(const std::vector<float>& x, double hz, double sample_rate) {
  const size_t n = x.size();
  Complex sum = 0;
  for (size_t i = 0; i < n; ++i)
    sum += static_cast<double>(x[i]) *
           std::polar(2.0 / static_cast<double>(n), -2 * kPi * hz * static_cast<double>(i) / sample_rate);
  return sum;
}

double windowed_level_dB(const std::vector<double>& x) {
  double sum = 0;
  for (size_t i = 0; i < x.size(); ++i)
    sum += x[i] * x[i] * blackman_harris(static_cast<double>(i) / static_cast<double>(x.size()));
  return 10 * std::log10(std::max(sum / static_cast<double>(x.size()), 1e-30));
}

Complex Response::at(double hz) const {
  const auto bin = static_cast<size_t>(std::lround(hz / sample_rate_ * static_cast<double>(bins_.size())));
  return bins_[std::min(bin, bins_.size() / 2)];
}

Distortion read_distortion(const std::vector<double>& out, double hz, double level_dB, double sample_rate,
                           bool settled) {
  // Power around a frequency, under a window whose side lobes lie below 92 dB.
  std::vector<Complex> spectrum(out.begin(), out.end());
  double window_power = 0;
  for (size_t i = 0; i < spectrum.size(); ++i) {
    const double w = blackman_harris(static_cast<double>(i) / kToneLength);
    spectrum[i] *= w;
    window_power += w * w;
  }
  fft(spectrum);
  const auto power = [&](double from_bin, double to_bin) {
    double sum = 0;
    for (int i = static_cast<int>(std::max(0.0, std::ceil(from_bin))); i <= to_bin && i <= kToneLength / 2;
         ++i)
      sum += std::norm(spectrum[static_cast<size_t>(i)]);
    return sum / (window_power * kToneLength / 4);  // so that a sine of amplitude 1 gives 1
  };
  // Wide enough for the window, and for the slow gain of a stage that is still moving.
  constexpr double kSkirt = 8;
  const double bin = hz / sample_rate * kToneLength, skirt = std::min(kSkirt, bin / 2);
  const double tone = power(bin - skirt, bin + skirt);
  double harmonics = 2 * hz < sample_rate / 2 ? 0 : NAN;
  for (int k = 2; k <= 10 && k * hz < sample_rate / 2; ++k)
    harmonics += power(k * bin - skirt, k * bin + skirt);
  const double rest = power(kSkirt / 2, bin - skirt) + power(bin + skirt, kToneLength);
  const auto ratio_dB = [&](double x) { return 10 * std::log10(std::max(x, 1e-30) / std::max(tone, 1e-30)); };
  return {hz,
          level_dB,
          10 * std::log10(std::max(tone, 1e-30)),
          std::isnan(harmonics) ? NAN : ratio_dB(harmonics),
          ratio_dB(rest),
          settled};
}

}  // namespace analysis
