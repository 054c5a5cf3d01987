#include "support.h"

using namespace support;

namespace {

constexpr int kBlock = 480;  // 10 ms
constexpr double kFs = 48000;

struct Run : Effect<DeEsserState, DeEsser_Process, DeEsser_Destroy> {
  Run(float f0, float threshold, int channels = 1) {
    const float section[10] = {f0, threshold, 0, 0, 0, f0, threshold};
    reset(DeEsser_Init(section, 16, 48000, channels, kBlock, 0));
  }
  // One block of a sine per channel; returns the shares of it that get through, on average.
  std::vector<double> block(const std::vector<double>& peaks, double hz, int n = kBlock) {
    std::vector<Samples> x;
    x.reserve(peaks.size());
    for (double peak : peaks) x.push_back(sine(n, hz, kFs, peak, time));
    time += n;
    const auto y = run(x);
    std::vector<double> shares;
    for (size_t ch = 0; ch < peaks.size(); ++ch) shares.push_back(amplitude_at(y[ch], hz, kFs) / peaks[ch]);
    return shares;
  }
  // The share of the last of so many mono blocks.
  double after(int blocks, double peak, double hz, int n = kBlock) {
    double share = 1;
    while (blocks--) share = block({peak}, hz, n)[0];
    return share;
  }
  int time = 0;
};

double decay(double blocks, double time_ms) { return std::exp(-2.2 * 10 * blocks / time_ms); }

}  // namespace

TEST_CASE("above the threshold f0 falls by the attack, below it returns by the release") {
  for (float f0 : {4000.0f, 6000.0f, 8000.0f}) {
    CAPTURE(f0);
    Run run(f0, -40);
    for (int k = 1; k <= 60; ++k) {
      const double share = run.after(1, 8000, f0);
      // In block k the gain goes in a line from one value to the next; the notch rings in the first.
      const double expected = (decay(k - 1, 100) + decay(k, 100)) / 2;
      if (k > 1 && k < 20) CHECK(share == doctest::Approx(expected).epsilon(0.01));
      if (k == 60) CHECK(share < 1e-4);
    }
    // -55 dB; in the first blocks the loud tone still rings in the filters.
    const double start = run.after(3, 80, f0);
    CHECK(start < 0.3);
    for (int k = 1; k < 98; ++k)
      CHECK(run.after(1, 80, f0) == doctest::Approx(1 - (1 - start) * decay(k, 200)).epsilon(0.003));
  }
}

TEST_CASE("the detector hears an octave around f0") {
  const struct {
    double hz, threshold_below_tone_dB;
    bool acts;
  } rows[] = {{4000, 0.2, true},    {4000, -0.2, false},   {2828.43, 3.4, true}, {2828.43, 2.6, false},
              {5656.85, 3.8, true}, {5656.85, 2.6, false}, {400, 15, false},     {20000, 15, false}};
  // 0 dB at f0, half power at the octave's edges.
  for (const auto& r : rows) {
    CAPTURES(r.hz, r.threshold_below_tone_dB);
    Run run(4000, float(to_dB(8000 / std::sqrt(2.0) / 32768) - r.threshold_below_tone_dB));
    // At the end of a long attack only the notched signal is left.
    const double s = r.hz / 4000 - 4000 / r.hz, notch = std::fabs(s) / std::hypot(s, 1.0);
    CHECK(run.after(60, 8000, r.hz) == doctest::Approx(r.acts ? notch : 1).epsilon(r.acts ? 0.03 : 1e-4));
  }
}

TEST_CASE("channel 1 answers to both channels' energy, channel 0 to its own") {
  for (size_t loud : {0u, 1u}) {
    CAPTURE(loud);
    Run run(6000, -40, 2);
    std::vector<double> peaks(2, 80), shares;
    peaks[loud] = 8000;
    for (int k = 0; k < 60; ++k) shares = run.block(peaks, 6000);
    CHECK(shares[loud] < 1e-3);
    CHECK(shares[1 - loud] == doctest::Approx(loud == 0 ? 0 : 1).epsilon(1e-3));
  }
}

TEST_CASE("the gain takes one step a call, and its line is drawn for a whole block whatever n is") {
  Run run(6000, -40), cut(6000, -40);
  run.after(60, 8000, 6000);
  run.after(3, 0, 6000);
  run.after(100, 0, 6000, 0);  // nothing to hear: 100 steps of the release
  CHECK(run.after(1, 80, 6000) == doctest::Approx(1).epsilon(1e-3));

  cut.after(5, 8000, 6000);
  CHECK(cut.after(1, 8000, 6000, 48) ==  // a tenth of the line, then its end at once
        doctest::Approx(decay(5, 100) + 0.05 * (decay(6, 100) - decay(5, 100))).epsilon(1e-3));
  CHECK(cut.after(1, 8000, 6000) == doctest::Approx((decay(6, 100) + decay(7, 100)) / 2).epsilon(1e-3));
}

TEST_CASE("a level right at the threshold is not above it") {
  Run at(6000, -20 * 4.51545f);
  at.after(10, 0, 6000);  // silence, which is that level
  CHECK(at.after(1, 8000, 6000) > 0.6);
}
