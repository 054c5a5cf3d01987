#include "support.h"

using namespace support;

namespace {

constexpr int kBlock = 480;  // 10 ms

struct Agc : Effect<MaximizerState, Agc_Process, Maximizer_Destroy> {
  explicit Agc(int channels = 1, int bit_rate = 16, int link = 0)
      : Effect(Maximizer_Init(nullptr, bit_rate, 48000, channels, kBlock, link)) {}
  // Mono: the gain at the end of a block of tone. Samples A, A, -A, -A: peak and root mean square are both A.
  double gain(double dB) const {
    Samples x(kBlock);
    for (size_t i = 0; i < x.size(); ++i) x[i] = float((i % 4 < 2 ? 1 : -1) * full_scale(dB));
    return mono(x).back() / x.back();
  }
  double settled(double dB) const {
    for (int i = 0; i < 400; ++i) gain(dB);
    return gain(dB);
  }
  void adjust(int channel, float attack_ms, float release_ms) const {
    Agc_AdjustPara(*this, channel, -20, -40, -45, 16, -1, attack_ms, release_ms, 0);
  }
};

// Gain of the default curve, dB, away from its knees.
double curve_dB(double level) {
  if (level < -42) return 21.0 / 5 * (level + 45) - 45 - level;
  return level < -22 ? 16 : -1 + level * 3 / 20 - level;
}

}  // namespace

TEST_CASE("a steady tone's gain settles on the AGC curve, by its mean square and by its peak alike") {
  for (int dB = -70; dB <= 9; ++dB) {
    if (std::abs(dB + 40) <= 2 || std::abs(dB + 20) <= 2) continue;
    CAPTURE(dB);
    const Agc agc;
    agc.adjust(0, 20, 20);
    // Half a table step of 0.295 dB times the slope of the gain, and below -49 dB what the table's end says.
    const double slack = dB < -42 ? 0.55 : dB < -22 ? 0.01 : 0.15;
    CHECK(std::fabs(to_dB(agc.settled(dB)) - curve_dB(std::max(dB, -49))) <= slack);
  }
  const Agc agc;
  for (int i = 0; i < 400; ++i) agc.mono(Samples(kBlock));  // silence reads the first entry
  CHECK(to_dB(agc.mono(Samples(kBlock, 1)).back()) == doctest::Approx(curve_dB(-49)).epsilon(1e-4));
}

TEST_CASE("rising and falling gain take their time constants, rising on the peak path too") {
  const struct {
    double from_dB, to_dB;
    float attack_ms, release_ms;
    double expected_ms;
  } rows[] = {{-46, -30, 660, 1, 300},    // 63 % in a 2.2th of the attack
              {-30, -46, 1, 660, 300},    // and of the release
              {-46, -15, 1100, 1, 500}};  // peak path, rising
  for (const auto& r : rows) {
    CAPTURE(r.to_dB);
    const Agc agc;
    agc.adjust(0, r.attack_ms, r.release_ms);
    const double to = agc.settled(r.to_dB), from = agc.settled(r.from_dB);
    int blocks = 1;
    while (std::fabs(agc.gain(r.to_dB) - from) < 0.63212 * std::fabs(to - from)) ++blocks;
    CHECK(std::fabs(10 * blocks - r.expected_ms) <= 10);
  }
}

TEST_CASE("a loud block pulls the gain down by its first overload, or after it if that is sample 0") {
  const double target = std::pow(10, curve_dB(1.732) / 20);  // 40000 is 1.732 dB over full scale
  for (int at : {0, 1, 2, 60, 300, 400, 479}) {
    CAPTURE(at);
    const Agc
        agc;  // from 1.0; a ramp over the whole block has fallen to 32766 / 40000 after some 350 samples
    Samples x(kBlock, 1000.0f);
    x[size_t(at)] = at % 2 ? -40000.0f : 40000.0f;
    const Samples y = agc.mono(x);
    const int length = at < 350 ? at : kBlock;
    for (size_t i = 0; i < y.size(); ++i) {
      const double way = length == 0 ? 0 : std::min(1.0, double(i + 1) / length);
      CHECK(y[i] / x[i] == doctest::Approx(1 + (target - 1) * way).epsilon(0.02));
    }
    // The next block starts from the target even where this one kept the old gain.
    CHECK(agc.mono(Samples(kBlock, 40000.0f))[0] / 40000 == doctest::Approx(target).epsilon(0.02));
  }
}

TEST_CASE("a sample overloads above 32766, and a peak is loud above compress_start") {
  float x = 40000;
  const auto gain_at = [&](size_t i) {
    Samples block(kBlock, 1000.0f);
    block[300] = x;
    return Agc().mono(block)[i] / block[i];
  };
  for (float product : {32765.5f, 32766.5f}) {  // at sample 300 of a ramp over the whole block
    CAPTURE(product);
    for (int i = 0; i < 3; ++i) x = product / (1 + (gain_at(kBlock - 1) - 1) * 301 / kBlock);
    CHECK((gain_at(320) == gain_at(kBlock - 1)) == (product > 32766));
  }
  const Agc agc;
  Agc_AdjustPara(agc, 0, -20 * 4.51545f, -40, -45, 16, -1, 200, 400, 0);
  agc.mono(Samples(kBlock));  // silence, which is that level: no jump to the curve's -13 dB
  CHECK(agc.mono(Samples(kBlock, 1.0f))[0] > 0.9f);
}

TEST_CASE("the second channel takes the peak path with the first, whose own peak is all it sees") {
  const Samples loud(kBlock, 20000.0f), quiet(kBlock, 300.0f);
  const Agc agc(2), swapped(2);
  std::vector<Samples> a, b;
  for (int i = 0; i < 3; ++i) a = agc.run({loud, quiet}), b = swapped.run({quiet, loud});
  CHECK(a[1].back() / 300 == doctest::Approx(a[0].back() / 20000));
  CHECK(b[0].back() / 300 > 1.2f);  // on its way up to 16 dB
  CHECK(b[1].back() / 20000 == doctest::Approx(a[0].back() / 20000));
}

TEST_CASE("an adjustment restarts and warns for the channels it reaches") {
  const struct {
    int link, channel;
    bool reached[2];
  } rows[] = {{0, 1, {false, true}}, {0, 2, {false, false}}, {0, -1, {false, false}}, {2, 7, {true, true}}};
  for (const auto& r : rows) {
    CAPTURES(r.link, r.channel);
    const Agc agc(2, 16, r.link);
    const Samples x(kBlock, 1000.0f);
    for (int i = 0; i < 200; ++i) agc.run({x, x});
    const auto log = in_child([&] {
      Agc_AdjustPara(agc, r.channel, -20, -40, -39, 16, -1, 200, 400, 0);  // corners out of order
      Agc_AdjustPara(agc, r.channel, -20, -20, -20, 19, -1, 200, 400, 0);  // none: they meet
    });
    CHECK(count_logged(log.err, "Agc_AdjustPara", "wrong param for agc, please check again\n\n") ==
          r.reached[0] + r.reached[1]);
    agc.adjust(r.channel, 200, 400);
    const auto y = agc.run({x, x});
    // 1.0 again, not the 16 dB it had settled at.
    for (size_t ch : {0u, 1u}) CHECK((y[ch][0] < 1100.0f) == r.reached[ch]);
  }
}
