// The judgement of sections against sections that run.
#include "filters/stability.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>
#include <random>

#include "common/flush_denormals.h"
#include "filters/biquad.h"
#include "filters/design.h"
#include "loudness/r128_meter.h"
#include "support.h"

using filters::Fate;

namespace {

// The loudest of 2000 samples, full scale being 1, after `seconds` of silence behind half a second of what swings
// between the rails.
float left_after(const BiquadCoeffs& c, int sample_rate, double seconds) {
  const common::FlushDenormals flush;
  float loudest = 0;
  for (const int half_period : {1, 7, 400}) {
    BiquadHistory h{};
    for (int i = 0; i < sample_rate / 2; ++i)
      filters::biquad_step(c, h, i / half_period % 2 ? 32767.0f : -32768.0f);
    for (long i = long(seconds * sample_rate); i > 0; --i) filters::biquad_step(c, h, 0.0f);
    for (int i = 0; i < 2000; ++i) {
      const float y = std::fabs(filters::biquad_step(c, h, 0.0f)) / 32768.0f;
      loudest = y <= loudest ? loudest : y;  // NaN stays
    }
  }
  return loudest;
}

// Whether some output, constant or alternating, keeps itself up without an input: every third mantissa is tried.
bool some_output_stands(const BiquadCoeffs& c) {
  for (const float sign : {1.0f, -1.0f})
    for (uint32_t mantissa = 0; mantissa < 1u << 23; mantissa += 3) {
      const float y = 1.0f + float(mantissa) * 0x1p-23f;
      BiquadHistory h{y, sign * -c.a2 * y};
      filters::biquad_step(c, h, 0.0f);
      if (h.s1 == sign * y) return true;
    }
  return false;
}

// Samples of 16 bits with equal power in equal parts of an octave, 20 Hz to 20 kHz, together at -12 dBFS.
std::vector<float> programme(int sample_rate, size_t frames) {
  constexpr int kTones = 1500;
  std::mt19937 random(1);
  const auto share = [&] { return double(random()) * 0x1p-32; };
  std::vector<double> sum(frames);
  for (int k = 0; k < kTones; ++k) {
    const double w = 2 * M_PI * 20.0 * std::exp2(9.966 * (k + share()) / kTones) / sample_rate;
    const double phase = 2 * M_PI * share();
    if (w >= M_PI) break;
    double y1 = std::sin(phase - w), y2 = std::sin(phase - 2 * w);
    for (double& x : sum) {
      const double y = 2 * std::cos(w) * y1 - y2;
      y2 = y1, y1 = y, x += std::sqrt(2 * 0.0631 / kTones) * y;
    }
  }
  std::vector<float> pcm(frames);
  std::transform(sum.begin(), sum.end(), pcm.begin(),
                 [](double x) { return float(std::lrint(32768 * std::clamp(x, -1.0, 0.9999))); });
  return pcm;
}

// Float output less double output, over the last three quarters.
double measured_noise_dBFS(const BiquadCoeffs& c, const std::vector<float>& in) {
  const common::FlushDenormals flush;
  BiquadHistory h{};
  double s1 = 0, s2 = 0, power = 0;
  for (size_t i = 0; i < in.size(); ++i) {
    const double x = double(in[i]), y = double(c.b0) * x + s1;
    s1 = s2 + double(c.b1) * x - double(c.a1) * y, s2 = double(c.b2) * x - double(c.a2) * y;
    const double error = (double(filters::biquad_step(c, h, in[i])) - y) / 32768;
    if (i >= in.size() / 4) power += error * error;
  }
  return 10 * std::log10(power / (0.75 * double(in.size())));
}

}  // namespace

TEST_CASE("sections that blow up or never come to rest are told from those that do, and both do as told") {
  const struct {
    int type, sample_rate;
    float fc, q, gain_dB;
    Fate fate;
  } rows[] = {
      {BandPass, 48000, 23545, 5.2f, 0, Fate::not_finite},
      {BandPass, 44100, 21200, 11, 0, Fate::not_finite},
      {BandPass, 8000, 3900, 8, 0, Fate::not_finite},
      {BandPass, 48000, 22500, 5.2f, 0, Fate::unstable},
      {Parametric, 48000, 30000, 1, 3, Fate::unstable},
      {ButterworthLP, 48000, 2, 1, 0, Fate::unstable},
      {ButterworthLP, 48000, 100, 1, 20, Fate::unstable},
      {ButterworthHP, 192000, 10, 1, 0, Fate::unstable},
      {GeneralHP, 48000, 0, 1, 0, Fate::unstable},
      {GeneralLP, 48000, NAN, 1, 0, Fate::not_finite},
      {ButterworthHP, 48000, 2, 1, 0, Fate::lingers},
      {Parametric, 48000, 2, 0.7f, 20, Fate::lingers},
      {Parametric, 192000, 10, 16, 20, Fate::lingers},
      {ButterworthHP, 192000, 5, 1, 0, Fate::lingers},
      // What people use, and the corners of the equalizer's range.
      {ButterworthHP, 48000, 20, 1, 0, Fate::rests},
      {ButterworthLP, 192000, 20, 1, 0, Fate::rests},
      {ButterworthHP, 48000, 23990, 1, 0, Fate::rests},
      {Parametric, 192000, 30, 16, 20, Fate::rests},
      {Parametric, 48000, 23900, 16, 20, Fate::rests},
      {LowShelf, 48000, 20, 2, 20, Fate::rests},
      {HighShelf, 48000, 20000, 2, -20, Fate::rests},
      {BandPass, 48000, 1000, 11, 0, Fate::rests},
      {BandPass, 48000, 30, 0.01f, 0, Fate::rests},
      {BandPass, 48000, 20000, 3, 0, Fate::rests},
  };
  for (const auto& r : rows) {
    CAPTURES(r.type, r.sample_rate, r.fc, r.q);
    const BiquadCoeffs c = filters::design(r.type, float(r.sample_rate), r.fc, r.q, r.gain_dB);
    CHECK(int(filters::fate(c)) == int(r.fate));
    const bool rests = left_after(c, r.sample_rate, 20) < 1e-6f && !some_output_stands(c);
    CHECK(rests == (r.fate == Fate::rests));
  }
  for (const int sample_rate : {8000, 48000, 192000}) {
    const auto k = loudness::design_k_weighting(float(sample_rate));
    CHECK(int(filters::fate(k.shelf)) == int(Fate::rests));
    CHECK(int(filters::fate(k.high_pass)) == int(Fate::rests));
  }
}

TEST_CASE("outputs that rounding keeps up at half the rate, and rings that it keeps up, are foreseen") {
  for (const auto& [a1, a2] : {std::pair(1.96811867f, 0.968118846f), std::pair(-1.96811867f, 0.968118846f)}) {
    const BiquadCoeffs c{1, 0, 0, a1, a2};
    CHECK(some_output_stands(c));
    CHECK(int(filters::fate(c)) == int(Fate::lingers));
  }
  // A ring that should lose all but a fifteenth of its size in so many samples, and keeps a fifth. Found by trying.
  const BiquadCoeffs c{1, 0, 0, 1.9999392f, 0.999999762f};
  CHECK(int(filters::fate(c)) == int(Fate::lingers));
  const common::FlushDenormals flush;
  BiquadHistory h{0.7f, 0.7f};
  for (int i = 0; i < 33000000; ++i) filters::biquad_step(c, h, 0.0f);
  float left = 0;
  for (int i = 0; i < 1000; ++i) left = std::max(left, std::fabs(filters::biquad_step(c, h, 0.0f)));
  CHECK(left > 0.1f);
}

TEST_CASE("the rounding noise of a section is what is predicted from its coefficients, within 3 dB") {
  std::mt19937 random(7);
  const auto share = [&] { return double(random()) * 0x1p-32; };
  std::vector<double> off;
  for (const int sample_rate : {16000, 48000, 192000}) {
    const std::vector<float> in = programme(sample_rate, size_t(sample_rate) * 3 / 2);
    for (int i = 0; i < 60; ++i) {
      const int type = i % 8;
      const float fc = float(10 * std::exp2(share() * std::log2(0.04 * sample_rate)));
      const float q = float(type == BandPass ? 0.3 * std::exp2(share() * 5) : 0.2 * std::exp2(share() * 6));
      const float gain_dB = float(type < ButterworthLP ? 40 * share() - 20 : 0);
      const BiquadCoeffs c = filters::design(type, float(sample_rate), fc, q, gain_dB);
      // A ring that lasts longer than the programme leaves too little to measure.
      if (filters::fate(c) != Fate::rests || 1 - double(c.a2) < 20.0 / sample_rate) continue;
      CAPTURES(sample_rate, type, fc, q, gain_dB);
      off.push_back(filters::noise_dBFS(c, sample_rate) - measured_noise_dBFS(c, in));
      CHECK(std::fabs(off.back()) < 3.0);
    }
  }
  CHECK(off.size() > 120);
  CHECK(std::fabs(std::accumulate(off.begin(), off.end(), 0.0) / double(off.size())) < 0.3);
}

TEST_CASE("the peak gain of sections in series is the largest value of their response, or a little more") {
  std::mt19937 random(3);
  const auto share = [&] { return double(random()) * 0x1p-32; };
  for (int i = 0; i < 300; ++i) {
    std::vector<BiquadCoeffs> sections;
    for (int k = 0; k < (i % 2 ? 1 : 10);) {
      const float fc = float(10 * std::exp2(share() * 11.2)), q = float(0.1 * std::exp2(share() * 7));
      const int type = int(random() % 8);
      const BiquadCoeffs c = filters::design(type, 48000, fc, q, type < 6 ? float(40 * share() - 20) : 0.0f);
      if (filters::fate(c) == Fate::rests) sections.push_back(c), ++k;
    }
    // All over, and closely around every pair of poles.
    double largest = 0;
    const auto look = [&](double w) {
      double product = 1;
      for (const BiquadCoeffs& c : sections) {
        const auto z1 = std::polar(1.0, -w);
        product *= std::abs((double(c.b0) + z1 * (double(c.b1) + z1 * double(c.b2))) /
                            (1.0 + z1 * (double(c.a1) + z1 * double(c.a2))));
      }
      largest = std::max(largest, product);
    };
    for (int k = 0; k <= 4000; ++k) look(M_PI * k / 4000), look(M_PI * std::exp2(-k / 200.0));
    for (const BiquadCoeffs& c : sections) {
      const double cosine = -double(c.a1) / 2 / std::sqrt(std::max(1e-9, double(c.a2)));
      const double at = std::acos(std::clamp(cosine, -1.0, 1.0)), width = std::max(1e-5, 1 - double(c.a2));
      for (int k = -200; k <= 200; ++k) look(at + width * k / 50);
    }
    CAPTURE(i);
    const double bound = filters::peak_gain(sections.data(), int(sections.size()));
    CHECK(bound > largest * 0.9999);
    CHECK(bound < largest * (sections.size() == 1 ? 1.002 : 2.0));
  }
}
