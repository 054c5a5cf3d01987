#include <complex>

#include "support.h"

using namespace support;

namespace {

using Complex = std::complex<double>;
using Coeffs = std::vector<float>;
constexpr int kTypes = 8;

Coeffs design(int type, float sample_rate, float fc, float q, float gain_dB) {
  Coeffs c(5);
  filter_calculateCoeffs(c.data(), type, sample_rate, fc, q, gain_dB);
  return c;
}

Complex polynomial(double c0, double c1, double c2, Complex z1) { return c0 + (c1 + c2 * z1) * z1; }

// The analog prototype of each type at s = j tan(w/2) / tan(w0/2), which is where the bilinear transform puts the
// digital frequency w when it maps the corner w0 to s = j.
Complex prototype(int type, double w, double w0, double q, double gain_dB) {
  const Complex s(0, std::tan(w / 2) / std::tan(w0 / 2));
  const double A = std::pow(10, gain_dB / 40), G = A * A, root = std::sqrt(A);
  const double slope = std::sqrt((A + 1 / A) * (1 / q - 1) + 2);                      // 1/Q of a shelf
  const double bandwidth = 2 * std::sinh(std::log(2.0) / 2 * q * w0 / std::sin(w0));  // 1/Q of a band-pass
  const Complex prototypes[kTypes] = {
      (s * s + s * (A / q) + 1.0) / (s * s + s / (A * q) + 1.0),
      A * (s * s + root * slope * s + A) / (A * s * s + root * slope * s + 1.0),
      A * (A * s * s + root * slope * s + 1.0) / (s * s + root * slope * s + A),
      G / (s * s + s / q + 1.0),
      G * s * s / (s * s + s / q + 1.0),
      G * bandwidth * s / (s * s + bandwidth * s + 1.0),
      1.0 / (s * s + 1.4142 * s + 1.0),
      s * s / (s * s + 1.4142 * s + 1.0),
  };
  return prototypes[type];
}

constexpr float kLowestQ = 0.01f;
float highest_q(int type) { return type == BandPass ? 11 : type == LowShelf || type == HighShelf ? 2 : 16; }

}  // namespace

TEST_CASE("every type has its analog prototype's response, and is stable, over all its settings") {
  for (int type = 0; type < kTypes; ++type)
    for (float fs : {8000.0f, 16000.0f, 44100.0f, 48000.0f, 96000.0f, 192000.0f})
      for (float fc : {20.0f, 100.0f, 1000.0f, 0.2f * fs, 0.4f * fs, 0.499f * fs})
        for (float q : {0.01f, 0.3f, 0.7071f, 1.0f, 2.0f, 6.0f, 16.0f})
          for (float gain_dB : {-20.0f, -6.0f, 0.0f, 3.0f, 20.0f}) {
            const bool butterworth = type == ButterworthLP || type == ButterworthHP;
            if (q > highest_q(type) || (butterworth && gain_dB != 0.0f)) continue;
            // A band far wider than what is left up to Nyquist: alpha swallows the 1 of 1 + alpha.
            if (type == BandPass && fc > 0.45f * fs && q > 0.1f) continue;
            CAPTURES(type, fs, fc, q, gain_dB);
            const Coeffs c = design(type, fs, fc, q, gain_dB);
            const double w0 = fc * 6.2831855f / fs;  // rounded to float32: just under pi that is much
            REQUIRE(std::fabs(c[4]) < 1);            // with the next line: both poles inside the unit circle
            REQUIRE(std::fabs(c[3]) < 1 + c[4]);
            double worst = 0, worst_dB = 0;
            for (double w : {0.1 * w0, 0.5 * w0, w0, (w0 + M_PI) / 2, 2 * w0, 0.99 * M_PI}) {
              if (w >= M_PI) continue;
              const Complex z1 = std::polar(1.0, -w), expected = prototype(type, w, w0, q, gain_dB);
              const Complex n = polynomial(c[0], c[1], c[2], z1), d = polynomial(1, c[3], c[4], z1);
              // Only rounding may part N from H D, and a low corner magnifies it in N / D. The low- and high-pass
              // form 1 - cos(w0) and 1 + cos(w0), which round at the scale of 1 however small they come out.
              const double scale = (type == GeneralLP || type == GeneralHP ? std::pow(10, gain_dB / 20) : 0) +
                                   std::fabs(c[0]) + std::fabs(c[1]) + std::fabs(c[2]) +
                                   std::abs(expected) * (1 + std::fabs(c[3]) + std::fabs(c[4]));
              worst = std::max(worst, std::abs(n - expected * d) / scale);
              worst_dB = std::max(worst_dB, std::fabs(to_dB(std::abs(n / d) / std::abs(expected))));
            }
            REQUIRE(worst < 4e-7);  // float32 steps are 1.2e-7
            if (fc >= 0.02f * fs && fc <= 0.45f * fs) REQUIRE(worst_dB < 0.05);
          }
}

TEST_CASE("Q and gain outside their ranges design as the ends of the ranges, NaN as the upper end") {
  for (int type = 0; type < kTypes; ++type) {
    CAPTURE(type);
    const float most = highest_q(type);
    const struct {
      float q, gain_dB, same_q, same_gain_dB;
    } rows[] = {{1, 30, 1, 20},       {1, -35, 1, -20},  {1, NAN, 1, 20},   {0, 3, kLowestQ, 3},
                {-1, 3, kLowestQ, 3}, {100, 3, most, 3}, {NAN, 3, most, 3}, {INFINITY, 3, most, 3}};
    for (const auto& r : rows) {
      CAPTURES(r.q, r.gain_dB);
      CHECK(same_bits(design(type, 48000, 1000, r.q, r.gain_dB),
                      design(type, 48000, 1000, r.same_q, r.same_gain_dB)));
    }
    // Within the range they do tell, and up to its very end.
    CHECK(same_bits(design(type, 48000, 1000, most, 3), design(type, 48000, 1000, 0.99f * most, 3)) ==
          (type >= ButterworthLP));
    CHECK_FALSE(same_bits(design(type, 48000, 1000, 1, 20), design(type, 48000, 1000, 1, 19.9f)));
  }
}

TEST_CASE("the gain of a Butterworth stands once in b0 and the feedback, twice in b1 and b2") {
  for (int type : {ButterworthLP, ButterworthHP})
    for (double gain_dB : {-12.0, 6.0}) {
      const double G = std::pow(10, gain_dB / 20), power[5] = {G, G * G, G * G, G, G};
      const Coeffs unity = design(type, 48000, 3000, 0, 0), c = design(type, 48000, 3000, 0, float(gain_dB));
      for (size_t i = 0; i < 5; ++i) CHECK(c[i] == doctest::Approx(unity[i] * power[i]).epsilon(1e-6));
    }
}
