#include "support.h"

using namespace support;

namespace {

constexpr int kBlock = 480;  // 10 ms
constexpr double kFs = 48000;

struct Run {
  Run(float f0, float threshold, int channels = 1) : f0_hz(static_cast<double>(f0)) {
    const float section[10] = {f0, threshold, 0, 0, 0, f0, threshold};
    state.reset(DeEsser_Init(section, 16, 48000, channels, kBlock, 0));
  }
  // One block of a sine per channel; returns what comes out, concatenated over the calls of this run.
  void block(const std::vector<double>& peaks, double hz, int n = kBlock) {
    Planar x(std::vector<Samples>(peaks.size(), Samples(static_cast<size_t>(n))));
    for (size_t c = 0; c < peaks.size(); ++c)
      for (int i = 0; i < n; ++i)
        x.data[c][static_cast<size_t>(i)] =
            static_cast<float>(peaks[c] * std::sin(2 * M_PI * std::fmod(hz * (time + i) / kFs, 1.0)));
    time += n;
    DeEsser_Process(state.get(), x(), x(), n);
    out = x.data;
  }
  // Share of the tone that got through the last block, on average.
  double through(double peak, double hz, size_t channel = 0) const {
    return amplitude_at(out[channel], hz, kFs) / peak;
  }
  const double f0_hz;
  Handle<DeEsserState, DeEsser_Destroy> state;
  std::vector<Samples> out;
  int time = 0;
};

double decay(double blocks, double time_ms) { return std::exp(-2.2 * 10 * blocks / time_ms); }

}  // namespace

TEST_CASE("above the threshold f0 falls by the attack, below it returns by the release") {
  for (float f0 : {4000.0f, 6000.0f, 8000.0f}) {
    CAPTURE(f0);
    Run run(f0, -40);
    for (int k = 1; k <= 60; ++k) {
      run.block({8000}, run.f0_hz);
      // In block k the gain goes in a line from one value to the next; the notch rings in the first.
      const double expected = (decay(k - 1, 100) + decay(k, 100)) / 2;
      if (k > 1 && k < 20) CHECK(run.through(8000, run.f0_hz) == doctest::Approx(expected).epsilon(0.01));
    }
    CHECK(run.through(8000, run.f0_hz) < 1e-4);
    double start = 0;
    for (int k = 1; k <= 100; ++k) {
      run.block({80}, run.f0_hz);  // -55 dB; in the first blocks the loud tone still rings in the filters
      const double share = run.through(80, run.f0_hz);
      if (k == 3) start = share;
      if (k > 3) CHECK(share == doctest::Approx(1 - (1 - start) * decay(k - 3, 200)).epsilon(0.003));
    }
    CHECK(start < 0.3);
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
    const double tone_dB = to_dB(8000 / std::sqrt(2.0) / 32768);
    Run run(4000, static_cast<float>(tone_dB - r.threshold_below_tone_dB));
    for (int k = 0; k < 60; ++k) run.block({8000}, r.hz);
    // At the end of a long attack only the notched signal is left.
    const double s = (r.hz / 4000 - 4000 / r.hz), notch = std::fabs(s) / std::hypot(s, 1.0);
    if (r.acts) CHECK(run.through(8000, r.hz) == doctest::Approx(notch).epsilon(0.03).scale(1));
    if (!r.acts) CHECK(run.through(8000, r.hz) == doctest::Approx(1).epsilon(1e-4));
  }
}

TEST_CASE("what is far from f0 is left alone while f0 is attenuated") {
  for (double hz : {200.0, 500.0, 20000.0}) {
    Run run(6000, -40);
    Planar x({sine(96000, 6000, kFs, 8000)});
    const auto other = sine(96000, hz, kFs, 8000);
    for (size_t i = 0; i < other.size(); ++i) x.data[0][i] += other[i];
    for (size_t done = 0; done < other.size(); done += kBlock) {
      float* at = x.data[0].data() + done;
      DeEsser_Process(run.state.get(), &at, &at, kBlock);
    }
    CAPTURE(hz);
    CHECK(amplitude_at(x.data[0], 6000, kFs, 48000) < 8);
    CHECK(std::fabs(to_dB(amplitude_at(x.data[0], hz, kFs, 48000) / 8000)) < 0.3);
  }
}

TEST_CASE("channel 1 answers to both channels' energy, channel 0 to its own") {
  for (size_t loud : {0u, 1u}) {
    CAPTURE(loud);
    Run run(6000, -40, 2);
    std::vector<double> peaks(2, 80);
    peaks[loud] = 8000;
    for (int k = 0; k < 60; ++k) run.block(peaks, 6000);
    CHECK(run.through(peaks[loud], 6000, loud) < 1e-3);
    CHECK(run.through(80, 6000, 1 - loud) == doctest::Approx(loud == 0 ? 0 : 1).epsilon(1e-3));
  }
}

TEST_CASE("the gain takes one step a call, and its line is drawn for a whole block whatever n is") {
  Run run(6000, -40);
  for (int k = 0; k < 60; ++k) run.block({8000}, 6000);
  for (int k = 0; k < 3; ++k) run.block({0}, 6000);
  for (int k = 0; k < 100; ++k) run.block({0}, 6000, 0);  // nothing to hear: 100 steps of the release
  run.block({80}, 6000);
  CHECK(run.through(80, 6000) == doctest::Approx(1).epsilon(1e-3));

  Run cut(6000, -40);
  for (int k = 1; k <= 5; ++k) cut.block({8000}, 6000);
  cut.block({8000}, 6000, 48);  // a tenth of the line, then its end at once
  CHECK(cut.through(8000, 6000) ==
        doctest::Approx(decay(5, 100) + 0.05 * (decay(6, 100) - decay(5, 100))).epsilon(1e-3));
  cut.block({8000}, 6000);
  CHECK(cut.through(8000, 6000) == doctest::Approx((decay(6, 100) + decay(7, 100)) / 2).epsilon(1e-3));
}
