#include <complex>
#include <limits>

#include "support.h"

using namespace support;

namespace {

struct Segment {
  double level_dBFS, seconds;  // level is the sine's peak, as EBU Tech 3341 gives it
};
using Meter = Handle<Ebur128State, ebur128_destroy>;

Meter meter(int channels, int window_ms, int step_ms, int bit_rate = 16, int sample_rate = 48000) {
  return Meter(ebur128_init(bit_rate, sample_rate, channels, window_ms, step_ms));
}

double reading(const Meter& m) { return static_cast<double>(ebur128_gatedloudness(m.get())); }

// Feeds a sine, `amplitudes[c]` its peak in channel c; `time` is the sample it starts from, and moves on.
void feed(Ebur128State* m, const std::vector<double>& amplitudes, double hz, int n, int block, int& time,
          double sample_rate = 48000) {
  Planar x(std::vector<Samples>(amplitudes.size(), Samples(static_cast<size_t>(block))));
  for (int done = 0; done + block <= n; done += block, time += block) {
    for (int i = 0; i < block; ++i) {
      const double v = std::sin(2 * M_PI * std::fmod(hz * (time + i) / sample_rate, 1.0));
      for (size_t c = 0; c < amplitudes.size(); ++c)
        x.data[c][static_cast<size_t>(i)] = static_cast<float>(amplitudes[c] * v);
    }
    ebur128_addframes(m, x(), block);
  }
}

double steady_reading(Ebur128State* m, const std::vector<double>& amplitudes, double hz, int block = 480,
                      double sample_rate = 48000) {
  int time = 0;
  feed(m, amplitudes, hz, static_cast<int>(10 * sample_rate), block, time, sample_rate);
  return static_cast<double>(ebur128_gatedloudness(m));
}

// BS.1770's own coefficients, which it gives for 48 kHz.
double k_weighting_dB(double hz) {
  const std::complex<double> z = std::polar(1.0, -2 * M_PI * hz / 48000);
  const auto shelf = (1.53512485958697 + z * (-2.69169618940638 + z * 1.19839281085285)) /
                     (1.0 + z * (-1.69065929318241 + z * 0.73248077421585));
  const auto high_pass = (1.0 + z * (-2.0 + z)) / (1.0 + z * (-1.99004745483398 + z * 0.99007225036621));
  return to_dB(std::abs(shelf * high_pass));
}

}  // namespace

TEST_CASE("the meter passes EBU Tech 3341's cases 1 to 6") {
  const std::vector<Segment> cases[] = {
      {{-23, 20}},
      {{-33, 20}},
      {{-36, 10}, {-23, 60}, {-36, 10}},
      {{-72, 10}, {-36, 10}, {-23, 60}, {-36, 10}, {-72, 10}},
      {{-26, 20}, {-20, 20.1}, {-26, 20}},
      {{-23, 20}},  // five channels
  };
  const double expected[] = {-23, -33, -23, -23, -23, -23};
  for (size_t c = 0; c < 6; ++c)
    for (int block : {480, 1024}) {
      if (c == 5 && block != 480) continue;  // the ring of five channels holds whole blocks of 480 only
      CAPTURES(c, block);
      const Meter m = meter(c == 5 ? 5 : 2, 400, 400);
      int time = 0;
      for (const Segment& s : cases[c]) {
        std::vector<double> amplitudes(2, s.level_dBFS);
        if (c == 5) amplitudes = {-28, -28, -24, -30, -30};
        for (double& level : amplitudes) level = full_scale(level);
        feed(m.get(), amplitudes, 1000.0, static_cast<int>(std::lround(s.seconds * 48000)), block, time);
      }
      CHECK(std::fabs(reading(m) - expected[c]) < 0.1);
    }
}

TEST_CASE("a full-scale sine reads by its channel's weight, whatever the sample format") {
  const double weights[] = {1, 1, 1, 1.41, 1.41, 1, 1};  // past the fifth: 1
  for (size_t ch = 0; ch < 7; ++ch) {
    CAPTURE(ch);
    std::vector<double> amplitudes(7);
    amplitudes[ch] = 32768;
    CHECK(std::fabs(steady_reading(meter(7, 400, 100).get(), amplitudes, 997) -
                    (-3.01 + 10 * std::log10(weights[ch]))) < 0.02);
  }
  for (int bit_rate : {16, 24, 32})
    for (int fs : {32000, 44100, 48000, 96000}) {
      CAPTURES(bit_rate, fs);
      const Meter m = meter(1, 400, 100, bit_rate, fs);
      CHECK(std::fabs(steady_reading(m.get(), {std::ldexp(1.0, bit_rate - 1)}, 997, 441, fs) + 3.01) < 0.05);
    }
}

TEST_CASE("the meter's weighting over frequency is BS.1770's at every sample rate") {
  for (double fs : {32000.0, 44100.0, 48000.0, 96000.0})
    for (double hz : {20.0, 40.0, 100.0, 400.0, 997.0, 1700.0, 3000.0, 10000.0, 18000.0}) {
      if (hz > 3000 && fs != 48000.0)
        continue;  // towards half its rate every bilinear transform bends its own way
      CAPTURES(fs, hz);
      const Meter m = meter(1, 400, 100, 16, static_cast<int>(fs));
      const double expected = -0.691 + 10 * std::log10(0.5) + k_weighting_dB(hz);
      CHECK(std::fabs(steady_reading(m.get(), {32768}, hz, 480, fs) - expected) <
            (fs == 48000.0 ? 0.03 : 0.1));
    }
}

TEST_CASE("a block is measured after a full window, then after every step, at the end of a call") {
  const Meter m = meter(2, 400, 100);
  CHECK(ebur128_gatedloudness(m.get()) == -1000.0f);
  int time = 0;
  for (int call = 1; call <= 24; ++call) {
    CAPTURE(call);
    const float before = ebur128_gatedloudness(m.get());
    const double amplitude = call <= 19 ? 3000 : 9000;
    feed(m.get(), {amplitude, amplitude}, 997, 1024, 1024, time);
    // 19200 samples are full within the 19th call (256 over); 4800 - 256 later it is the 24th.
    CHECK((ebur128_gatedloudness(m.get()) != before) == (call == 19 || call == 24));
  }
}

TEST_CASE("the reading forgets all but the 200 latest blocks that pass the gate") {
  const Meter m = meter(1, 100, 100);
  int time = 0;
  feed(m.get(), {3276.8}, 1000, 250 * 4800, 480, time);
  for (int quiet = 1; quiet <= 205; ++quiet) {
    feed(m.get(), {1638.4}, 1000, 4800, 480, time);
    // Takes no room, but for its first block: the filters' tail is above the absolute gate, below the
    // relative.
    if (quiet == 100) feed(m.get(), {0}, 1000, 50 * 4800, 480, time);
    const int loud = std::max(0, 200 - quiet - (quiet >= 100));
    const double energy = (0.01 * loud + 0.0025 * quiet) / (loud + quiet);
    CAPTURE(quiet);
    REQUIRE(std::fabs(reading(m) - (10 * std::log10(energy) - 3.01)) < 0.01);
  }
}

TEST_CASE("silence, too short windows and NaN measure nothing, and a step of nothing measures every call") {
  const struct {
    int channels, window_ms, step_ms;
    double amplitude, expected;
  } rows[] = {
      {2, 400, 100, 0, -1000},       {2, 0, 100, 9000, -1000},
      {2, -400, 100, 9000, -1000},   {0, 400, 100, 0, -1000},
      {-3, 400, 100, 0, -1000},      {-3, -400, 100, 0, -1000},
      {1, 44740, 100, 32768, -1000},  // 48000 x 44740 wraps below 0
      {1, 400, 0, 32768, -3.01},     {1, 400, -100, 32768, -3.01},
      {1, 400, 44740, 32768, -3.01},  // a step that wraps
      {1, 89898, 100, 32768, -3.01},  // a window that wraps to 20136 samples
      {3, 1, 1, 18918.6, -3.01},      // 48 samples in blocks of 480: the ring goes round several times a call
  };
  for (const auto& r : rows) {
    CAPTURES(r.channels, r.window_ms, r.step_ms);
    const Meter m = meter(r.channels, r.window_ms, r.step_ms);
    REQUIRE(m);
    const std::vector<double> amplitudes(static_cast<size_t>(std::max(r.channels, 0)), r.amplitude);
    CHECK(std::fabs(steady_reading(m.get(), amplitudes, 1000) - r.expected) < 0.03);
  }
  const Meter m = meter(1, 400, 100);
  const double before = steady_reading(m.get(), {9000}, 1000);
  Planar bad({Samples(4800, std::numeric_limits<float>::quiet_NaN())});
  for (int i = 0; i < 20; ++i) ebur128_addframes(m.get(), bad(), 4800);
  CHECK(reading(m) == before);
}

TEST_CASE("the channels share one ring, and trade energy where a call does not divide it") {
  // A ring of five channels and 19200 samples, in calls of 1000: brute force, on mean squares.
  const double amplitudes[] = {0, 3000, 0, 16000, 0}, weights[] = {1, 1, 1, 1.41, 1.41};
  std::vector<double> ring(96000), sums(5);
  size_t position = 0;
  int due = 19200;
  double energy = 0;
  int blocks = 0;
  for (int call = 0; call < 100; ++call) {
    for (size_t c = 0; c < 5; ++c)
      for (int i = 0; i < 1000; ++i, position = (position + 1) % ring.size()) {
        sums[c] -= ring[position];
        sums[c] += ring[position] = std::pow(amplitudes[c] / 32768, 2) / 2;
      }
    if ((due -= 1000) > 0) continue;
    due += 4800, ++blocks;
    for (size_t c = 0; c < 5; ++c) energy += weights[c] * sums[c] / 19200;
  }
  const Meter m = meter(5, 400, 100);
  int time = 0;
  feed(m.get(), {amplitudes, amplitudes + 5}, 1000, 100 * 1000, 1000, time);
  // +0.691 - 0.691: at 1 kHz the weighting and the offset cancel, within 0.01 dB.
  CHECK(std::fabs(reading(m) - 10 * std::log10(energy / blocks)) < 0.05);
}

TEST_CASE("a meter that cannot be made is null") {
  const auto outcome = in_child([] { std::exit(ebur128_init(20, 48000, 2, 400, 100) ? 1 : 0); });
  CHECK(outcome.status == 0);
  CHECK(logged(outcome.err, "ebur128_init", "bit_rate is wrong!\n"));
  CHECK(!meter(1025, 400, 100));
  CHECK(!meter(40, 44739, 100));  // 40 x 2147472 samples
  CHECK(ebur128_gatedloudness(nullptr) == -1000.0f);
  ebur128_addframes(nullptr, nullptr, 480);
  ebur128_destroy(nullptr);
}
