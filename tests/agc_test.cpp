#include "support.h"

using namespace support;

namespace {

constexpr int kBlock = 480;  // 10 ms

struct Agc {
  explicit Agc(int channels = 1, int bit_rate = 16, int link = 0)
      : state(Maximizer_Init(nullptr, bit_rate, 48000, channels, kBlock, link)) {}
  std::vector<Samples> run(std::vector<Samples> channels) {
    Planar x(std::move(channels));
    Agc_Process(state.get(), x(), x(), kBlock);
    return x.data;
  }
  // Mono: the gain at the end of a block of tone. Samples A, A, -A, -A: peak and root mean square are both A.
  double gain(double dB) {
    Samples x(kBlock);
    for (size_t i = 0; i < x.size(); ++i) x[i] = static_cast<float>((i % 4 < 2 ? 1 : -1) * full_scale(dB));
    return static_cast<double>(run({x})[0].back() / x.back());
  }
  double settled(double dB) {
    for (int i = 0; i < 400; ++i) gain(dB);
    return gain(dB);
  }
  void adjust(int channel, float attack_ms, float release_ms) {
    Agc_AdjustPara(state.get(), channel, -20, -40, -45, 16, -1, attack_ms, release_ms, 0);
  }
  Samples mono(const Samples& x) { return run({x})[0]; }
  Handle<MaximizerState, Maximizer_Destroy> state;
};

// Gain of the default curve, dB, away from its knees.
double curve_dB(double level) {
  if (level < -42) return 21.0 / 5 * (level + 45) - 45 - level;
  if (level < -22) return 16;
  return -1 + level * 3 / 20 - level;
}

}  // namespace

TEST_CASE("a steady tone's gain settles on the AGC curve, by its mean square and by its peak alike") {
  for (int level = -70; level <= 9; ++level) {
    const double dB = level;
    if (std::fabs(dB + 40) <= 2 || std::fabs(dB + 20) <= 2) continue;
    CAPTURE(dB);
    Agc agc;
    agc.adjust(0, 20, 20);
    // Half a table step of 0.295 dB times the slope of the gain, and below -49 dB what the table's end says.
    const double slack = dB < -42 ? 0.55 : dB < -22 ? 0.01 : 0.15;
    CHECK(std::fabs(to_dB(agc.settled(dB)) - curve_dB(std::max(dB, -49.0))) <= slack);
  }
  Agc agc;
  CHECK(agc.settled(-30) == doctest::Approx(6.3096).epsilon(1e-4));
  CHECK(agc.settled(12) == doctest::Approx(0.33497).epsilon(1e-4));
  agc.adjust(0, 200, 400);
  for (int i = 0; i < 400; ++i) agc.run({Samples(kBlock)});  // silence reads the first entry
  CHECK(agc.mono(Samples(kBlock, 1e-3f)).back() == doctest::Approx(0.22909e-3).epsilon(1e-4));
}

TEST_CASE("rising and falling gain take their time constants, rising on the peak path too") {
  const struct {
    double from_dB, to_dB;
    float attack_ms, release_ms;
    double expected_ms;
  } rows[] = {
      {-46, -30, 660, 1, 300},   // 63 % in a 2.2th of the attack
      {-30, -46, 1, 660, 300},   // and of the release
      {-46, -15, 1100, 1, 500},  // peak path, rising
  };
  for (const auto& r : rows) {
    CAPTURE(r.to_dB);
    Agc agc;
    agc.adjust(0, r.attack_ms, r.release_ms);
    const double to = agc.settled(r.to_dB), from = agc.settled(r.from_dB);
    int blocks = 0;
    for (double g = from; std::fabs(g - from) < 0.63212 * std::fabs(to - from); ++blocks)
      g = agc.gain(r.to_dB);
    CHECK(std::fabs(10 * blocks - r.expected_ms) <= 10);
  }
}

TEST_CASE("a loud block pulls the gain down by its first overload, or after it if that is sample 0") {
  const double target = std::pow(10, curve_dB(1.732) / 20);  // 40000 is 1.732 dB over full scale
  for (int at : {0, 1, 2, 60, 300, 400, 479}) {
    CAPTURE(at);
    Agc agc;  // from 1.0; a ramp over the whole block has fallen to 32766 / 40000 after some 350 samples
    Samples x(kBlock, 1000.0f);
    x[static_cast<size_t>(at)] = at % 2 ? -40000.0f : 40000.0f;
    const Samples y = agc.mono(x);
    const int length = at < 350 ? at : kBlock;
    for (size_t i = 0; i < y.size(); ++i) {
      const double way = length == 0 ? 0 : std::min(1.0, static_cast<double>(i + 1) / length);
      CHECK(y[i] / x[i] == doctest::Approx(1 + (target - 1) * way).epsilon(0.02));
    }
    // The next block starts from the target even where this one kept the old gain.
    CHECK(agc.mono(Samples(kBlock, 40000.0f))[0] / 40000 == doctest::Approx(target).epsilon(0.02));
  }
}

TEST_CASE("the overload bound does not follow the bit rate, so loud wide blocks keep their old gain") {
  for (int bit_rate : {24, 32}) {
    CAPTURE(bit_rate);
    Agc agc(1, bit_rate);
    const float x = bit_rate == 24 ? 8e6f : 2e9f;
    for (float y : agc.mono(Samples(kBlock, x))) CHECK(y == x);  // 1.0, as after Init
    const double next = static_cast<double>(agc.mono(Samples(kBlock, x))[9] / x);
    CHECK(next == doctest::Approx(std::pow(10, (-1 - 0.35) / 20)).epsilon(0.06));
  }
}

TEST_CASE("the second channel takes the peak path with the first, whose own peak is all it sees") {
  const Samples loud(kBlock, 20000.0f), quiet(kBlock, 300.0f);
  Agc agc(2), swapped(2);
  for (int i = 0; i < 2; ++i) agc.run({loud, quiet}), swapped.run({quiet, loud});
  const auto a = agc.run({loud, quiet}), b = swapped.run({quiet, loud});
  CHECK(a[1].back() / 300 == doctest::Approx(a[0].back() / 20000));
  CHECK(b[0].back() / 300 > 1.2f);  // on its way up to 16 dB
  CHECK(b[1].back() / 20000 == doctest::Approx(a[0].back() / 20000));
}

TEST_CASE("an adjustment restarts and warns for the channels it reaches, and leaves the limiter alone") {
  const struct {
    int link, channel;
    bool first, second;
  } rows[] = {{0, 0, true, false},   {0, 1, false, true}, {0, 2, false, false},
              {0, -1, false, false}, {1, 0, true, true},  {1, 7, true, true}};
  for (const auto& r : rows) {
    CAPTURES(r.link, r.channel);
    Agc agc(2, 16, r.link);
    const Samples x(kBlock, 1000.0f);
    for (int i = 0; i < 200; ++i) agc.run({x, x});
    const auto log = in_child([&] {
      Agc_AdjustPara(agc.state.get(), r.channel, -20, -40, -39, 16, -1, 200, 400, 0);  // corners out of order
    });
    CHECK(count_logged(log.err, "Agc_AdjustPara", "wrong param for agc, please check again\n\n") ==
          r.first + r.second);
    agc.adjust(r.channel, 200, 400);
    const auto y = agc.run({x, x});
    CHECK((y[0][0] < 1100.0f) == r.first);  // 1.0 again, not the 16 dB it had settled at
    CHECK((y[1][0] < 1100.0f) == r.second);
  }
}
