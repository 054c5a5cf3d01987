#include <algorithm>
#include <complex>
#include <cstdlib>

#include "support.h"

using namespace support;

namespace {

using Bank = Handle<CrossoverFilter, Filters_Crossover_filterDestroy>;
using Bands = std::vector<Samples>;  // one impulse response or signal per band
constexpr int kLow = 0, kHigh = 1, kMid1 = 2, kMid2 = 3;

Bands split(const Bank& bank, int bands, const Samples& x) {
  Bands y(static_cast<size_t>(bands));
  float out[4];
  for (float v : x) {
    Filters_Crossover_filterProcess(bank.get(), &v, out);
    for (size_t b = 0; b < y.size(); ++b) y[b].push_back(out[b]);
  }
  return y;
}

Bands impulse_responses(int sample_rate, const CrossoverParam& param, int n) {
  const Bank bank(Filters_Crossover_filterInit(sample_rate, 1, &param));
  Samples impulse(static_cast<size_t>(n));
  impulse[0] = 1.0f;
  return split(bank, 2 + param.mid_bands, impulse);
}

std::complex<double> response(const std::vector<float>& impulse, double frequency_hz, double sample_rate) {
  const std::complex<double> step = std::polar(1.0, -2 * M_PI * frequency_hz / sample_rate);
  std::complex<double> sum = 0, turn = 1;
  for (float v : impulse) sum += double(v) * turn, turn *= step;
  return sum;
}

// Squared magnitude of a second-order Butterworth edge, which is the magnitude of the pair, under the bilinear transform.
double low_pass(double f, double fc, double fs) {
  return 1 / (1 + std::pow(std::tan(M_PI * f / fs) / std::tan(M_PI * fc / fs), 4));
}
double high_pass(double f, double fc, double fs) { return 1 - low_pass(f, fc, fs); }

CrossoverParam four_bands(float low, float mid, float high) { return {2, low, high, low, mid, mid, high}; }

}  // namespace

TEST_CASE("each band is its Linkwitz-Riley curve: -6 dB at its corners, 24 dB per octave, 0 dB inside") {
  const struct {
    int fs;
    CrossoverParam p;
  } rows[] = {{8000, four_bands(200, 900, 2500)},
              {48000, {2, 120, 9000, 300, 800, 1500, 15000}},  // gaps and overlaps stay
              {192000, four_bands(2000, 10000, 60000)}};
  for (const auto& r : rows) {
    const int fs = r.fs;
    const CrossoverParam& p = r.p;
    const Bands h = impulse_responses(fs, p, 16384);
    for (double f : {0.0, 50.0, double(p.low_fc), double(p.mid1_low_fc), double(p.mid1_high_fc),
                     double(p.mid2_low_fc), double(p.mid2_high_fc), double(p.high_fc), 0.4 * fs, 0.5 * fs}) {
      const double expected[4] = {low_pass(f, p.low_fc, fs), high_pass(f, p.high_fc, fs),
                                  high_pass(f, p.mid1_low_fc, fs) * low_pass(f, p.mid1_high_fc, fs),
                                  high_pass(f, p.mid2_low_fc, fs) * low_pass(f, p.mid2_high_fc, fs)};
      for (size_t b = 0; b < 4; ++b) {
        CAPTURES(fs, f, b);
        // 0.02 dB, and -99 dB beside that: what float32 leaves at corners of fs / 400
        CHECK(std::abs(response(h[b], f, fs)) == doctest::Approx(expected[b]).epsilon(0.0023).scale(0.005));
      }
    }
  }
}

TEST_CASE("two adjacent bands that share a corner add up to a flat response") {
  const struct {
    CrossoverParam param;
    int lower, upper;
    double least_hz, most_hz;  // where the bands' outer edges are far enough away to play no part
    double most_dB;
  } rows[] = {{{0, 100, 100, 0, 0, 0, 0}, kLow, kHigh, 20, 23000, 0.03},
              {{1, 200, 20000, 200, 20000, 0, 0}, kLow, kMid1, 20, 600, 0.1},
              {four_bands(20, 700, 20000), kMid1, kMid2, 350, 1400, 0.1},
              {four_bands(20, 100, 3000), kMid2, kHigh, 2000, 23000, 0.1}};
  for (const auto& r : rows) {
    const Bands h = impulse_responses(48000, r.param, 32768);
    for (int step = 0; r.least_hz * std::pow(1.2, step) <= r.most_hz; ++step) {
      const double f = r.least_hz * std::pow(1.2, step);
      CAPTURES(r.lower, r.upper, f);
      const auto sum = response(h[size_t(r.lower)], f, 48000) + response(h[size_t(r.upper)], f, 48000);
      CHECK(std::fabs(to_dB(std::abs(sum))) < r.most_dB);
    }
  }
}

TEST_CASE("any mid_bands and channel count writes what 2 + mid_bands floats per channel hold, no more") {
  const Samples x = {1000, -500, 250};
  CrossoverParam param = four_bands(250, 1000, 3000);
  const Bank mono(Filters_Crossover_filterInit(48000, 1, &param));
  for (int mid_bands : {INT32_MIN, -5, -2, -1, 0, 1, 2, 3, 9})
    for (int channels : {-1, 0, 1, 3}) {
      CAPTURES(mid_bands, channels);
      param.mid_bands = mid_bands;
      Bank bank(Filters_Crossover_filterInit(48000, channels, &param));
      REQUIRE(bank);
      const size_t stride = mid_bands < -2 ? 0 : size_t(2 + mid_bands), used = size_t(std::max(channels, 0));
      std::vector<float> expected(stride * used + 8, -7.0f),
          out = expected;  // the spare floats show an overrun
      for (size_t ch = 0; ch < used; ++ch) {
        Filters_Crossover_filterSetParam(mono.get(), &param);  // restarts
        float y[4];
        Filters_Crossover_filterProcess(mono.get(), &x[ch], y);
        std::copy_n(y, mid_bands == 2 ? 4 : std::min<size_t>(stride, 3), &expected[stride * ch]);
      }
      Filters_Crossover_filterProcess(bank.get(), x.data(), out.data());
      CHECK(same_bits(out, expected));
      CHECK(Filters_Crossover_filterDestroy(bank.release()) == 0);
    }
}

TEST_CASE("without a record a bank has the defaults of a fresh record: two bands, 250 and 3000 Hz") {
  CrossoverParam* param = Filters_Crossover_paramInit();
  const CrossoverParam expected{0, 250, 3000, 250, 1000, 1000, 3000};
  CHECK(std::memcmp(param, &expected, sizeof expected) == 0);
  const Bank with(Filters_Crossover_filterInit(48000, 1, param)),
      without(Filters_Crossover_filterInit(48000, 1, nullptr));
  const auto x = noise(100, 20000.0f);
  CHECK(split(with, 2, x) == split(without, 2, x));
  std::free(param);
  CHECK(Filters_Crossover_filterDestroy(nullptr) == -3);
  CHECK(Filters_Crossover_filterInit(48000, 1025, nullptr) == nullptr);
}
