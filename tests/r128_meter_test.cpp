#include <complex>

#include "support.h"

using namespace support;

namespace {

using Handle128 = Handle<Ebur128State, ebur128_destroy>;

struct Meter : Handle128 {
  explicit Meter(int channels, int window_ms, int step_ms, int bit_rate = 16, int sample_rate = 48000)
      : Handle128(ebur128_init(bit_rate, sample_rate, channels, window_ms, step_ms)), rate(sample_rate) {}
  double reading() const { return ebur128_gatedloudness(get()); }
  // Feeds n samples of a sine, `amplitudes[c]` its peak in channel c, which goes on from call to call.
  double feed(const std::vector<double>& amplitudes, double hz, int n, int block = 480) {
    for (; n >= block; n -= block, time += block) {
      std::vector<Samples> channels(amplitudes.size());
      for (size_t c = 0; c < channels.size(); ++c) channels[c] = sine(block, hz, rate, amplitudes[c], time);
      ebur128_addframes(get(), Planar(channels)(), block);
    }
    return reading();
  }
  int rate, time = 0;
};

// BS.1770's own coefficients, which it gives for 48 kHz.
double k_weighting_dB(double hz) {
  const std::complex<double> z = std::polar(1.0, -2 * M_PI * hz / 48000);
  const auto shelf = (1.53512485958697 + z * (-2.69169618940638 + z * 1.19839281085285)) /
                     (1.0 + z * (-1.69065929318241 + z * 0.73248077421585));
  const auto high_pass = (1.0 + z * (-2.0 + z)) / (1.0 + z * (-1.99004745483398 + z * 0.99007225036621));
  return to_dB(std::abs(shelf * high_pass));
}

}  // namespace

TEST_CASE("a block one frame longer than any working memory is metered to its last sample") {
  Meter m(2, 20, 20);
  std::vector<Samples> channels(2, Samples(1025));
  channels[0].back() = 30000;
  ebur128_addframes(m.get(), Planar(channels)(), 1025);
  CHECK(m.reading() > -70);
}

TEST_CASE("the meter passes EBU Tech 3341's cases 1 to 6") {
  const struct {
    double expected;
    std::vector<std::pair<double, double>> segments;  // the sine's peak in dBFS, seconds
  } cases[] = {{-23, {{-23, 20}}},
               {-33, {{-33, 20}}},
               {-23, {{-36, 10}, {-23, 60}, {-36, 10}}},
               {-23, {{-72, 10}, {-36, 10}, {-23, 60}, {-36, 10}, {-72, 10}}},
               {-23, {{-26, 20}, {-20, 20.1}, {-26, 20}}},
               {-23, {{0, 20}}}};  // five channels
  for (size_t c = 0; c < 6; ++c) {
    CAPTURE(c);
    Meter m(c == 5 ? 5 : 2, 400, 400);
    for (const auto& [level_dBFS, seconds] : cases[c].segments) {
      std::vector<double> amplitudes(2, level_dBFS);
      if (c == 5) amplitudes = {-28, -28, -24, -30, -30};
      for (double& level : amplitudes) level = full_scale(level);
      m.feed(amplitudes, 1000, int(std::lround(seconds * 48000)));
    }
    CHECK(std::fabs(m.reading() - cases[c].expected) < 0.1);
  }
}

TEST_CASE("blocks down to 10 LU below the mean count, and none below that") {
  // As long as a passage at -20 dBFS; at 10 % of the mean the quiet one is at -12.8 dB.
  for (double quiet_dB : {-12.0, -13.5}) {
    CAPTURE(quiet_dB);
    Meter m(1, 400, 400);
    for (double level_dBFS : {-20.0, -20 + quiet_dB}) m.feed({full_scale(level_dBFS)}, 1000, 20 * 48000);
    const double mean = quiet_dB > -12.8 ? 10 * std::log10((1 + std::pow(10, quiet_dB / 10)) / 2) : 0;
    CHECK(std::fabs(m.reading() - (-23.01 + mean)) < 0.05);
  }
}

TEST_CASE("a full-scale sine reads by its channel's weight, whatever the sample format") {
  const double weights[] = {1, 1, 1, 1.41, 1.41, 1, 1};  // past the fifth: 1
  for (size_t ch = 0; ch < 7; ++ch) {
    CAPTURE(ch);
    std::vector<double> amplitudes(7);
    amplitudes[ch] = 32768;
    const double reading = Meter(7, 400, 100).feed(amplitudes, 997, 480000);
    CHECK(std::fabs(reading - (-3.01 + 10 * std::log10(weights[ch]))) < 0.02);
  }
  for (int bit_rate : {24, 32}) {
    CAPTURE(bit_rate);
    Meter m(1, 400, 100, bit_rate);
    CHECK(std::fabs(m.feed({std::ldexp(1.0, bit_rate - 1)}, 997, 480000) + 3.01) < 0.02);
  }
}

TEST_CASE("the meter's weighting over frequency is BS.1770's at every sample rate") {
  for (int fs : {32000, 44100, 48000, 96000})
    for (double hz : {20.0, 40.0, 100.0, 400.0, 997.0, 1700.0, 3000.0, 10000.0, 18000.0}) {
      if (hz > 3000 && fs != 48000)
        continue;  // towards half its rate every bilinear transform bends its own way
      CAPTURES(fs, hz);
      const double expected = -0.691 + 10 * std::log10(0.5) + k_weighting_dB(hz);
      CHECK(std::fabs(Meter(1, 400, 100, 16, fs).feed({32768}, hz, 10 * fs) - expected) <
            (fs == 48000 ? 0.03 : 0.1));
    }
}

TEST_CASE("a block is measured after a full window, then after every step, at the end of a call") {
  Meter m(2, 400, 100);
  CHECK(m.reading() == -1000);
  for (int call = 1; call <= 36; ++call) {
    CAPTURE(call);
    const double before = m.reading(), amplitude = call <= 19 ? 3000 : 9000;
    // 19200 samples are full within the 19th call, then 4800 more, whatever the calls were over.
    const bool due = call == 19 || call == 24 || call == 29 || call == 33;
    CHECK((m.feed({amplitude, amplitude}, 997, 1024, 1024) != before) == due);
  }
}

TEST_CASE("the reading forgets all but the 200 latest blocks that pass the gate") {
  Meter m(1, 100, 100);
  m.feed({3276.8}, 1000, 250 * 4800);
  for (int quiet = 1; quiet <= 205; ++quiet) {
    m.feed({1638.4}, 1000, 4800);
    // Takes no room, but for its first block: the filters' tail is above the absolute gate, below the
    // relative.
    if (quiet == 100) m.feed({0}, 1000, 50 * 4800);
    const int loud = std::max(0, 200 - quiet - (quiet >= 100));
    const double energy = (0.01 * loud + 0.0025 * quiet) / (loud + quiet);
    CAPTURE(quiet);
    REQUIRE(std::fabs(m.reading() - (10 * std::log10(energy) - 3.01)) < 0.01);
  }
}

TEST_CASE("silence, too short windows and NaN measure nothing, and a step of nothing measures every call") {
  const struct {
    int channels, window_ms, step_ms;
    double amplitude, expected;
  } rows[] = {
      {2, 400, 100, 0, -1000},       {2, 0, 100, 9000, -1000},
      {-3, 400, 100, 0, -1000},      {-3, -400, 100, 0, -1000},
      {1, 44740, 100, 32768, -1000},  // 48000 x 44740 wraps below 0
      {1, 400, 0, 32768, -3.01},     {1, 400, -100, 32768, -3.01},
      {1, 400, 44740, 32768, -3.01},  // a step that wraps
      {1, 89898, 100, 32768, -3.01},  // a window that wraps to 20136 samples
      {3, 1, 1, 18918.6, -3.01},      // 48 samples in blocks of 480: the ring goes round several times a call
  };
  for (const auto& r : rows) {
    CAPTURES(r.channels, r.window_ms, r.step_ms);
    Meter m(r.channels, r.window_ms, r.step_ms);
    REQUIRE(m);
    const std::vector<double> amplitudes(size_t(std::max(r.channels, 0)), r.amplitude);
    CHECK(std::fabs(m.feed(amplitudes, 1000, 480000) - r.expected) < 0.03);
  }
  Meter m(1, 400, 100);
  const double before = m.feed({9000}, 1000, 480000);
  CHECK(m.feed({NAN}, 1000, 96000, 4800) == before);
}

TEST_CASE("the channels share one ring, and trade energy where a call does not divide it") {
  // A ring of five channels and 19200 samples, in calls of 1000: brute force, on mean squares.
  const double amplitudes[] = {0, 3000, 0, 16000, 0}, weights[] = {1, 1, 1, 1.41, 1.41};
  std::vector<double> ring(96000), sums(5);
  size_t position = 0;
  int due = 19200, blocks = 0;
  double energy = 0;
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
  const double reading = Meter(5, 400, 100).feed({amplitudes, amplitudes + 5}, 1000, 100000, 1000);
  // +0.691 - 0.691: at 1 kHz the weighting and the offset cancel, within 0.01 dB.
  CHECK(std::fabs(reading - 10 * std::log10(energy / blocks)) < 0.05);
}

TEST_CASE("a sample enters the window's sum when the oldest has left it") {
  // In a window of one sample the sum is that sample's square, whatever went before.
  constexpr int kOneSample = 18432568;  // ms; times 48000 it wraps to 1024
  for (int block : {50, 1}) {
    CAPTURE(block);
    Meter loud(1, kOneSample, 0), quiet(1, kOneSample, 0);
    loud.feed({3e8}, 100, 100, block);
    loud.time = 0;
    for (Meter* m : {&loud, &quiet}) m->feed({0}, 100, 48000, block), m->feed({300}, 100, 30000, block);
    CHECK(quiet.reading() > -60);
    CHECK(std::fabs(loud.reading() - quiet.reading()) < 0.001);
  }
}

TEST_CASE("a meter that cannot be made is null") {
  CHECK(!Meter(2, 400, 100, 20));
  CHECK(!Meter(1025, 400, 100));
  CHECK(!Meter(40, 44739, 100));  // 40 x 2147472 samples
  CHECK(ebur128_gatedloudness(nullptr) == -1000.0f);
  ebur128_addframes(nullptr, nullptr, 480);
  ebur128_destroy(nullptr);
}
