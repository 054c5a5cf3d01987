#include <complex>

#include "support.h"

using namespace support;

namespace {

constexpr double kFs = 48000;

struct Settings {
  float amount_dB, drive, blend, freq, floor_active, floor;
};

Samples enhance(const Settings& p, Samples x) {
  using Enhancer = Effect<BassEnhancerState, BassEnhancer_Process, BassEnhancer_Destroy>;
  return Enhancer(BassEnhancer_Init(&p.amount_dB, 16, 48000, 1, 0)).mono(std::move(x));
}

// Response of two second-order Butterworth sections in series under the bilinear transform.
std::complex<double> pair(bool high_pass, double hz, double corner_hz) {
  const std::complex<double> s(0, std::tan(M_PI * hz / kFs) / std::tan(M_PI * corner_hz / kFs));
  const auto section = (high_pass ? s * s : 1.0) / (s * s + std::sqrt(2.0) * s + 1.0);
  return section * section;
}

// The waveshaper in double: two parabolas' roots, joined at 0.
struct Shaper {
  double P, Q, R, S, T, U, gain;
  Shaper(double drive, double blend) {
    const double a = 12 / drive, k = a / (10.5 - blend) * 23.64, s1 = std::sqrt(std::fabs(2 * a * a - 1));
    P = 1 + s1, Q = (1 - s1) / 2, T = (a * a - s1) / 2;
    const double m = P / std::sqrt(std::fabs(2 * s1 - 2 * a * a)), r = std::sqrt(m * m + 1);
    S = -k / r, R = 2 * m * k / r, U = k * k / (r * r);
    gain = 2 / (2 * S + std::sqrt(std::fabs(2 * R + 4 * U - 1)) + 1);
  }
  double operator()(double l) const {
    return l >= 0 ? gain * (std::sqrt(std::fabs((P - l) * l + T)) + Q)
                  : -gain * (std::sqrt(std::fabs(U - (l + R) * l)) + S);
  }
};

}  // namespace

TEST_CASE(
    "a low tone comes out as its harmonics, mostly between the split and three times it, without itself") {
  const Settings rows[] = {{0, 8, 2, 100, 0, 0},   {0, 8, 8, 60, 0, 0},  {6, 4, 5, 100, 1, 80},
                           {-6, 20, 5, 100, 0, 0}, {0, 6, 0, 60, 2, 30}, {0, -8, 2, 100, 0.9f, 80},
                           {0, 8, 2, 100, -1, 80}};
  for (const Settings& p : rows) {
    const double hz = 40, amplitude = 0.5;
    const auto y = enhance(p, sine(144000, hz, kFs, 32768 * amplitude));
    // Brute force: one period through the low-pass's steady response and the shaper, harmonics by summation.
    const Shaper shaper(p.drive, p.blend);
    const auto low = std::polar(amplitude, 0.0) * pair(false, hz, p.freq);
    double strongest = 0, strongest_hz = 0;
    for (int h = 1; h <= 8; ++h) {
      std::complex<double> line = 0;
      for (int i = 0; i < 4800; ++i) {
        const auto phase = std::polar(1.0, 2 * M_PI * i / 4800);
        line += shaper((low * phase).imag()) * std::pow(phase, -h) / 2400.0;
      }
      // The DC blocker: c (1 - z^-1) / (1 - c z^-1).
      const double c = 0.1 * kFs / (0.1 * kFs + 1);
      const auto delay = std::polar(1.0, -2 * M_PI * h * hz / kFs);
      line *= c * (1.0 - delay) / (1.0 - c * delay) * pair(false, h * hz, 3 * p.freq) *
              pair(true, h * hz, p.freq) * std::pow(10, p.amount_dB / 20);
      if (p.floor_active >= 1) line *= pair(true, h * hz, p.floor);
      if (h == 1) line += pair(true, hz, p.freq) * amplitude * std::complex<double>(0, -1);
      const double expected_dB = to_dB(std::abs(line));
      CAPTURES(p.drive, p.blend, h);
      if (expected_dB > -90)
        CHECK(std::fabs(to_dB(amplitude_at(y, h * hz, kFs, 96000) / 32768) - expected_dB) < 0.1);
      if (std::abs(line) > strongest) strongest = std::abs(line), strongest_hz = h * hz;
    }
    if (std::fabs(p.drive) < 8 || p.freq < 100) continue;  // what is left of the fundamental is stronger
    CHECK(strongest_hz >= p.freq);
    CHECK(strongest_hz <= 3 * p.freq);
    CHECK(amplitude_at(y, hz, kFs, 96000) < 32768 * amplitude * 0.05);
  }
}

TEST_CASE("the shaper's offset and a constant input decay to nothing") {
  for (float level : {0.0f, 16384.0f, -32768.0f}) {
    CAPTURE(level);
    const auto y = enhance({0, 20, 2, 100, 0, 0}, Samples(192000, level));
    CHECK(peak(y, 0) > 1000);  // the curve does not pass through 0 at this drive
    CHECK(peak(y, 96000) < 0.1);
  }
}
