#include <climits>

#include "support.h"

using namespace support;

namespace {

constexpr int kBlock = 480;  // 10 ms
using Pcm = std::vector<int16_t>;

struct Meter {
  explicit Meter(int bit_rate = 16, int channels = 1)
      : state(LevelDetector_Init(bit_rate, 48000, channels, kBlock)) {}
  LevelDetectorResult result() const {
    LevelDetectorResult r;
    CHECK(LevelDetector_GetRes(state.get(), &r) == kBlock);
    return r;
  }
  int level(int band) const { return result().level[band]; }
  // Feeds whole blocks of the PCM (mono), round and round.
  void run(const Pcm& pcm, int blocks) const {
    for (int b = 0; b < blocks; ++b)
      LevelDetector_Process(state.get(), &pcm[size_t(b * kBlock) % pcm.size()], kBlock);
  }
  Handle<LevelDetectorState, LevelDetector_Destroy> state;
};

// A second of tone, which the table of tests repeats without a seam.
Pcm tone(double hz, double amplitude) {
  Pcm pcm;
  for (float v : sine(48000, hz, 48000, amplitude)) pcm.push_back(int16_t(std::lround(v)));
  return pcm;
}

// What the meter settles at for a tone of this amplitude in the middle of a band-pass.
double tone_level(double amplitude) {
  return 10 * std::log10(amplitude * amplitude / 2 * kBlock / (kBlock + 1) + 1) - 90.3087;
}

const Pcm kSilence(48000);

}  // namespace

TEST_CASE("each band shows a tone at its centre at full level, and more of it than every other band") {
  const int centre_hz[10] = {31, 62, 125, 250, 500, 1000, 2000, 4000, 8000, 16000};
  for (int band = 0; band < 10; ++band)
    for (double amplitude : {30000.0, 300.0}) {
      CAPTURE(band);
      Meter meter;
      meter.run(tone(centre_hz[band], amplitude), 300);
      const LevelDetectorResult r = meter.result();
      const double edge_dB = band % 9 == 0 ? 20 * std::log10(0.7) : 0;  // Q of the low- and high-pass
      const double over = r.level[band] - tone_level(amplitude) - edge_dB;
      // Truncated toward zero; what a block holds of a low tone's period ripples.
      CHECK(over <= (band < 2 ? 1.6 : 1.01));
      CHECK(over >= (band < 2 ? -0.7 : -0.01));
      for (int other = 0; other < 10; ++other) {
        if (other != band) CHECK(r.level[other] < r.level[band]);
        CHECK(r.freq[other] == centre_hz[other]);
      }
    }
}

TEST_CASE("levels rise and fall with their times, block by block") {
  Meter meter;
  const Pcm on = tone(1000, 20000);
  LevelDetector_SetPara(meter.state.get(), nullptr, 300, 0, 150);
  meter.run(on, 100);
  LevelDetector_SetPara(meter.state.get(), nullptr, 300, 0, 150);  // power from zero, filters still running
  for (int block = 1; block <= 200; ++block) {
    meter.run(on, 1);
    const double level = tone_level(20000) + 10 * std::log10(1 - std::exp(-2.2 * 10 * block / 300));
    CHECK(std::fabs(meter.level(5) - 0.5 - level) <= 0.55);  // shown without its fraction
  }
  meter.run(kSilence, 3);  // the filter rings out
  const double top = meter.level(5);
  for (int block = 1; block <= 40; ++block) {
    meter.run(kSilence, 1);
    CHECK(std::fabs(meter.level(5) - (top - 10 * std::log10(std::exp(2.2 * 10 * block / 150)))) <= 1.1);
  }
}

TEST_CASE("a level is held for the hold time and falls with the first block that uses it up") {
  const std::pair<float, int> rows[] = {{10, 0}, {11, 1}, {100, 9}, {101, 10}, {-50, 0}};
  for (const auto& [hold_ms, blocks] : rows) {  // of 10 ms that stay
    const Meter meter;
    LevelDetector_SetPara(meter.state.get(), nullptr, 2000, hold_ms, 1);
    meter.run(tone(4000, 30000), 20);  // rising all the while: only a rise charges the counter
    const int before = meter.level(7);
    int held = 0;
    while (meter.run(kSilence, 1), meter.level(7) == before) ++held;
    CHECK(held == blocks);
  }
  // Neither silence nor what was before a retune holds a lone block.
  for (bool retuned : {false, true}) {
    const Meter meter;
    const auto set = [&] { LevelDetector_SetPara(meter.state.get(), nullptr, 2000, 500, 1); };
    set();
    meter.run(retuned ? tone(4000, 30000) : kSilence, 100);
    if (retuned) set();
    meter.run(tone(4000, 30000), 1);
    const int before = meter.level(7);
    meter.run(kSilence, 1);
    CHECK(meter.level(7) < before);
  }
}

TEST_CASE("silence reads the bit rate's offset, and a call without frames lets the level fall") {
  const int levels[][2] = {{16, -90}, {24, -144}, {32, -192}, {8, -192}};
  for (const auto& [bit_rate, expected] : levels) {
    Meter meter(bit_rate);
    meter.run(kSilence, 3);
    for (int16_t level : meter.result().level) CHECK(level == expected);
  }
  Meter meter;
  meter.run(tone(1000, 30000), 100);
  const int before = meter.level(5);
  for (int i = 0; i < 20; ++i) CHECK(LevelDetector_Process(meter.state.get(), nullptr, 0) == 0);
  CHECK(std::abs(before - meter.level(5) - 10) <= 1);  // 20 blocks of 10 ms: exp(-2.2), 9.6 dB
}

TEST_CASE("a channel count below one reads the first sample for every frame") {
  // A constant, which the low-pass shows.
  for (int channels : {0, -3, INT_MIN}) {
    Meter meter(16, channels);
    const int16_t one = 20000;
    for (int i = 0; i < 100; ++i) LevelDetector_Process(meter.state.get(), &one, kBlock);
    CHECK(std::fabs(meter.level(0) - (tone_level(20000) + 3)) <= 1.1);
    CHECK(meter.level(5) < -60);
  }
}

TEST_CASE("bands can be moved, and what does not fit 16 bits is cut down to them") {
  const Meter meter;
  const float fc[10] = {100.9f, 201.8f, 302.7f, 403.6f, 504.5f, 605.4f, -3.9f, 1e20f, NAN, 40000};
  const int expected[10] = {100, 201, 302, 403, 504, 605, -3, -1, 0, -25536};  // 2^31 - 1 keeps 16 ones
  float bands[20];
  for (int b = 0; b < 10; ++b) bands[2 * b] = fc[b], bands[2 * b + 1] = 0.5f;
  CHECK(LevelDetector_SetPara(meter.state.get(), bands, 50, 0, 50) == kBlock);
  meter.run(tone(403, 20000), 200);
  const LevelDetectorResult r = meter.result();
  CHECK(std::equal(expected, expected + 10, r.freq));
  CHECK(std::fabs(r.level[3] - tone_level(20000)) <= 1);
  CHECK(r.level[1] < r.level[3] - 6);
  CHECK(LevelDetector_Destroy(nullptr) == -3);
}

TEST_CASE("the meter announces itself with the build's date and reports its times") {
  const auto log = in_child([] {
                     LevelDetectorState* meter = LevelDetector_Init(16, 48000, 2, kBlock);
                     LevelDetector_SetPara(meter, nullptr, 12.5f, 100, 250);
                     AudioPost_Init(nullptr, 1);
                   }).err;
  CHECK(logged(log, "LevelDetector_SetPara",
               "rmstc is 12.500000, hold_time is 100.000000, decay_time 250.000000\n"));
  // The chain's banner names the same build: "May  1 2024, 10:23:41" there, "[2024-May-1:10:23:41]" here.
  char month[4], day[3], year[5], time[9];
  REQUIRE(std::sscanf(strstr(log.c_str(), "RELEASE DATE "), "RELEASE DATE %3s %2s %4s, %8s", month, day, year,
                      time) == 4);
  CHECK(logged(log, "LevelDetector_Init",
               std::string("ZELK_LevelDetector-VERSION_1.0.0:[") + year + "-" + month + "-" + day + ":" +
                   time + "]\n\n"));
}
