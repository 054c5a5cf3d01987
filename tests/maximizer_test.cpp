#include <utility>

#include "support.h"

using namespace support;

namespace {

constexpr int kBlock = 48;  // 1 ms
using Section = std::array<float, 40>;

// Two records of: threshold, ceiling, release; five AGC corners in order; times.
Section section(float threshold, float ceiling, float release) {
  Section s{};
  for (size_t at : {0u, 20u}) {
    const float r[11] = {threshold, ceiling, release, -20, -40, -45, 16, -1, 200, 400, 200};
    std::copy_n(r, 11, &s[at]);
  }
  return s;
}

struct Limiter : Effect<MaximizerState, Maximizer_Process, Maximizer_Destroy> {
  explicit Limiter(const Section& from, int channels = 1, int bit_rate = 16, int link = 0)
      : Effect(Maximizer_Init(from.data(), bit_rate, 48000, channels, kBlock, link)) {}
  // The gain of each sample of a constant block.
  Samples gains(float level) const {
    Samples y = mono(Samples(kBlock, level));
    for (float& v : y) v /= level;
    return y;
  }
  float settled(float level) const {
    for (int i = 0; i < 400; ++i) gains(level);
    return gains(level).back();
  }
};

float at_dB(double dB) { return float(full_scale(dB)); }

// Make-up gain less 0.02 dB, times what the curve leaves of the level.
double curve_gain(double level_dB, double threshold, double ceiling) {
  const double half = std::floor(std::trunc(6 - 2 * threshold) / 2), over = level_dB - threshold;
  const double cut = over > half ? over : over > -half ? std::pow(over + half, 2) / (4 * half) : 0;
  return 0.998 * std::pow(10, (ceiling - threshold - cut) / 20);
}

}  // namespace

TEST_CASE("a steady tone's gain settles on the limiter curve and stays under the ceiling") {
  const struct { float threshold, ceiling; } rows[] = {{-3, -1}, {-12, -0.5f}, {0, 0}, {-6.3f, -6.3f}};
  for (const auto& r : rows) {
    for (int dB = -40; dB <= 6; ++dB) {
      CAPTURES(r.threshold, dB);
      const Limiter l(section(r.threshold, r.ceiling, 1));
      Samples y;
      for (int i = 0; i < 20; ++i) y = l.mono(sine(kBlock, 12000, 48000, at_dB(dB)));
      // The table holds 201 levels up to +10 dB; a level reads the nearest one.
      const double half_step_dB = (16 - 2 * r.threshold) / 400 + 0.01, out_dB = to_dB(peak(y) / 32768);
      CHECK(std::fabs(out_dB - dB - to_dB(curve_gain(dB, r.threshold, r.ceiling))) <= half_step_dB);
      CHECK(out_dB <= r.ceiling + half_step_dB);
    }
  }
}

TEST_CASE("the release covers 63 % of the way in its time / 2.2, in ramps of one block") {
  for (float release_ms : {50.0f, 200.0f, 1000.0f}) {
    CAPTURE(release_ms);
    const Limiter l(section(-12, -1, release_ms));
    const double low = l.gains(30000).back(), high = curve_gain(-50, -12, -1);
    int blocks = 0;
    for (Samples g; g.empty() || g.back() < low + 0.63212 * (high - low); ++blocks) {
      g = l.gains(at_dB(-50));
      for (size_t i = 2; i < g.size(); ++i)
        CHECK(g[i] - g[i - 1] == doctest::Approx(g[1] - g[0]).epsilon(0.02));
    }
    CHECK(std::abs(blocks - release_ms / 2.2) <= 1);
  }
}

TEST_CASE("the gain starts from silence") {
  const Limiter l(section(-3, -1, 10));
  const double share = 1 - std::exp(-0.22), target = curve_gain(-40, -3, -1);
  const Samples g = l.gains(at_dB(-40));
  for (size_t i = 0; i < g.size(); ++i)
    CHECK(g[i] == doctest::Approx(share * target * double(i + 1) / kBlock).epsilon(1e-4));
  for (float v : l.mono(Samples(kBlock, 0.0f))) CHECK(v == 0.0f);
}

TEST_CASE("the attack ends by the sample that overloads, at once when that is one of the first two") {
  for (int at : {0, 1, 2, 3, 17, 46, 47}) {
    CAPTURE(at);
    const Limiter l(section(-3, -1, 1));
    const double before = l.settled(at_dB(-40)), target = curve_gain(6.02, -3, -1);
    Samples x(kBlock, 1000.0f);
    // Twice full scale overloads at any gain above a half, which a ramp over the whole block reaches at 44.
    x[size_t(at)] = -65536.0f;
    const int length = at < 2 ? 0 : at < 44 ? at : kBlock;
    const Samples y = l.mono(x);
    for (size_t i = 0; i < y.size(); ++i) {
      const double way = length == 0 ? 1 : std::min(1.0, double(i + 1) / length);
      CHECK(y[i] / x[i] == doctest::Approx(before + (target - before) * way).epsilon(0.01));
    }
    if (length == 0) CHECK(same_bits(l.mono(x), y));  // its very target, not a ramp to it
  }
}

TEST_CASE("an overload at the second sample meets the very target, not a ramp of one sample to it") {
  for (float loud : {40000.0f, 50000.0f, 60000.0f}) {
    const Limiter l(section(-20, -1, 1));
    l.settled(at_dB(-40));
    Samples x(kBlock, 1000.0f);
    x[1] = loud;
    const Samples y = l.mono(x);
    CHECK(same_bits(l.mono(x), y));
  }
}

TEST_CASE("a peak right at the threshold is not limited") {
  const float silence_dB = -20 * 4.51545f;
  const Limiter right_at(section(silence_dB, silence_dB, 1000));
  right_at.mono(Samples(kBlock));
  CHECK(right_at.gains(1e-3f)[0] < 0.01f);  // still on its way up from 0
}

TEST_CASE("the release path is limited to full scale at every bit rate, the attack path is not") {
  for (int bit_rate : {16, 24, 32}) {
    CAPTURE(bit_rate);
    const float most = std::ldexp(1.0f, bit_rate - 1);
    const Limiter l(section(0, 20, 1), 1, bit_rate);  // 20 dB of make-up
    for (int i = 0; i < 10; ++i) l.mono(Samples(kBlock, 0.001f * most));
    for (float sign : {1.0f, -1.0f})
      for (float v : l.mono(Samples(kBlock, sign * 0.9f * most))) CHECK(v == sign * most);
    CHECK(peak(l.mono(Samples(kBlock, 1.1f * most))) > 2 * most);
  }
}

TEST_CASE("the second channel is driven by the louder of both, the first by its own peak") {
  const double open = curve_gain(-50, -12, -1), limited = curve_gain(-0.2, -12, -1);
  for (float first : {32000.0f, 100.0f}) {
    CAPTURE(first);
    const float second = 32100 - first;
    const Limiter l(section(-12, -1, 1), 2);
    std::vector<Samples> y;
    for (int i = 0; i < 20; ++i) y = l.run({Samples(kBlock, first), Samples(kBlock, second)});
    CHECK(y[0].back() / first == doctest::Approx(first > second ? limited : open).epsilon(0.01));
    CHECK(y[1].back() / second == doctest::Approx(limited).epsilon(0.01));
  }
}

TEST_CASE("retuning goes on from the gain it finds and ends at the new curve") {
  const Section next = section(-20, -2, 30);
  for (bool adjusted : {false, true}) {
    const Limiter l(section(-3, -1, 1)), fresh(next);
    const float before = l.settled(at_dB(-50));
    if (adjusted) Maximizer_AdjustPara(l, 0, -20, -2, 30);
    if (!adjusted) Maximizer_SetPara(l, next.data());
    CHECK(l.gains(at_dB(-50))[0] == doctest::Approx(before).epsilon(0.01));
    CHECK(same_bits(l.settled(at_dB(-50)), fresh.settled(at_dB(-50))));
  }
}

TEST_CASE("an adjustment reaches the channel it names, or all that are linked, and none that do not exist") {
  for (int link : {0, 1, 2})
    for (int channel : {-1, 0, 1, 2, 1000000}) {
      CAPTURES(link, channel);
      const Limiter l(section(-3, -1, 1), 2, 16, link);
      Maximizer_AdjustPara(l, channel, -7, -8, 9);
      Section got{};
      Maximizer_GetPara(l, got.data());
      for (int ch : {0, 1}) {
        const bool reached = link || ch == channel;
        const float expected[4] = {reached ? -7.0f : -3, reached ? -8.0f : -1, reached ? 9.0f : 1, -20};
        CHECK(std::equal(expected, expected + 4, &got[size_t(20 * ch)]));
      }
    }
}

TEST_CASE("a sample that is not a number passes, on either path, and changes no other") {
  const struct {
    decltype(&Maximizer_Process) process;
    float level;  // for the AGC one where the peak decides: its mean square is no number either
  } rows[] = {
      {Maximizer_Process, 1000}, {Maximizer_Process, 50000}, {Agc_Process, 30000}, {Agc_Process, 50000}};
  for (const auto& r : rows) {
    CAPTURE(r.level);
    const Limiter l(section(-3, 20, 1)), clean(section(-3, 20, 1));
    for (const Limiter* each : {&l, &clean}) each->settled(3000);
    Planar x({Samples(kBlock, r.level)}), y(x.data);
    x.data[0][17] = NAN, y.data[0][17] = 0;
    r.process(l, x(), x(), kBlock);
    r.process(clean, y(), y(), kBlock);
    CHECK(std::isnan(std::exchange(x.data[0][17], y.data[0][17])));
    CHECK(same_bits(x.data[0], y.data[0]));
  }
}

TEST_CASE("without a section a handle has the defaults of both modes") {
  const Limiter::Base l(Maximizer_Init(nullptr, 16, 48000, 1, kBlock, 0));
  std::vector<float> got(11);
  Maximizer_GetPara(l.get(), got.data());
  CHECK(got == std::vector<float>{-3, -1, 1, -20, -40, -45, 16, -1, 200, 400, 200});
}
