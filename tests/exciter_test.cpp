#include <numeric>

#include "support.h"

using namespace support;

namespace {

constexpr double kFs = 48000;

Samples excite(const Samples& section, Samples x) {
  using Exciter = Effect<ExciterState, Exciter_Process, Exciter_Destroy>;
  return Exciter(Exciter_Init(section.data(), 16, 48000, 1, 0)).mono(std::move(x));
}

// Magnitude of a second-order Butterworth high-pass under the bilinear transform.
double high_pass(double hz, double corner_hz) {
  const double r = std::tan(M_PI * hz / kFs) / std::tan(M_PI * corner_hz / kFs);
  return r * r / std::sqrt(1 + std::pow(r, 4));
}

double clip(double u) { return u > 1 ? 1 : u < -1 ? -1 : 1.5 * u - 0.5 * u * u * u; }

}  // namespace

TEST_CASE("a mix of 0 is the dry signal, bit for bit") {
  const auto x = noise(4800, 32767);
  CHECK(same_bits(excite({0.3f, 1, 2000, 0}, x), x));
}

TEST_CASE("the clipper makes odd harmonics, with a bias even ones too, and no offset") {
  const struct {
    float bias, amount;
    double amplitude;
  } rows[] = {
      {0, 0, 0.01},   {0, 0, 0.9},     {0, 0.5f, 0.05},    {0, 0.5f, 0.5}, {0, 1, 0.9},          // odd only
      {0.2f, 0, 0.5}, {-0.2f, 0, 0.5}, {0.05f, 0.5f, 0.2}, {0.5f, 0, 0.9}, {0.09f, 0.5f, 0.01},  // even too
  };
  const double hz = 1003, corner = 800;  // harmonics that alias fall between the lines that are looked at
  for (const auto& r : rows) {
    const auto y = excite({r.bias, r.amount, float(corner), 1}, sine(144000, hz, kFs, 32768 * r.amplitude));
    const double drive = std::pow(10, 2 * r.amount);
    for (int h = 1; h <= 7; ++h) {
      CAPTURES(r.bias, r.amount, r.amplitude, h);
      double line = 0;  // a cosine in gives cosines out
      for (int i = 0; i < 4800; ++i) {
        const double phase = 2 * M_PI * i / 4800, x = r.amplitude * high_pass(hz, corner) * std::cos(phase);
        line += clip((x + r.bias) * drive) * std::cos(h * phase) / 2400;
      }
      const double expected = std::fabs(line) * high_pass(h * hz, corner) / drive;
      const double got = amplitude_at(y, h * hz, kFs, 96000) / 32768;
      if (expected > 1e-5 * r.amplitude)
        CHECK(std::fabs(to_dB(got / expected)) < 0.1);
      else
        CHECK(got < 1e-4 * r.amplitude);
      if (h % 2 == 0 && r.bias == 0) CHECK(got < 1e-5 * r.amplitude);
      if (h == 2 && r.bias != 0) CHECK(got > 1e-3 * r.amplitude);
    }
    const double mean = std::accumulate(y.begin() + 96000, y.end(), 0.0) / 48000;
    CHECK(std::fabs(mean) < 0.01 * 32768 * r.amplitude);
  }
}
