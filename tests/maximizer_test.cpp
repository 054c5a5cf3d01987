#include <limits>
#include <memory>

#include "full_record.h"
#include "support.h"

using support::Planar;
using support::Samples;

namespace {

constexpr int kBlock = 48;  // 1 ms

// Two records of: threshold, ceiling, release; five AGC corners in order; times.
std::array<float, 40> section(float threshold, float ceiling, float release) {
  std::array<float, 40> s{};
  for (size_t at : {size_t{0}, size_t{20}}) {
    const float r[11] = {threshold, ceiling, release, -20, -40, -45, 16, -1, 200, 400, 200};
    std::copy_n(r, 11, s.begin() + static_cast<ptrdiff_t>(at));
  }
  return s;
}

struct Limiter {
  explicit Limiter(const float* from, int channels = 1, int bit_rate = 16, int link = 0)
      : state(Maximizer_Init(from, bit_rate, 48000, channels, kBlock, link), Maximizer_Destroy) {}
  std::vector<Samples> run(std::vector<Samples> channels) {
    Planar x(std::move(channels));
    Maximizer_Process(state.get(), x(), x(), static_cast<int>(x.data[0].size()));
    return x.data;
  }
  Samples mono(const Samples& x) { return run({x})[0]; }
  // The gain of each sample of a constant block.
  Samples gains(float level) {
    Samples y = mono(Samples(kBlock, level));
    for (float& v : y) v /= level;
    return y;
  }
  float settled(float level) {
    for (int i = 0; i < 400; ++i) gains(level);
    return gains(level).back();
  }
  std::unique_ptr<MaximizerState, int (*)(MaximizerState*)> state;
};

float at_dB(double dB) { return static_cast<float>(32768 * std::pow(10, dB / 20)); }

// Make-up gain less 0.02 dB, times what the curve leaves of the level.
double curve_gain(double level_dB, double threshold, double ceiling) {
  const double half = std::floor(std::trunc(6 - 2 * threshold) / 2), over = level_dB - threshold;
  const double cut = over > half ? over : over > -half ? std::pow(over + half, 2) / (4 * half) : 0;
  return 0.998 * std::pow(10, (ceiling - threshold - cut) / 20);
}

}  // namespace

TEST_CASE(
    "a steady tone's gain settles on the limiter curve, rises with the level and stays under the ceiling") {
  struct {
    float threshold, ceiling;
  } rows[] = {{-3, -1}, {-12, -0.5f}, {0, 0}, {-6.3f, -6.3f}};
  for (const auto& r : rows) {
    double last_dB = -200;
    for (int dB = -40; dB <= 6; ++dB) {
      CAPTURE(r.threshold);
      CAPTURE(dB);
      Limiter l(section(r.threshold, r.ceiling, 1).data());
      Samples y;
      for (int i = 0; i < 20; ++i) y = l.mono(support::sine(kBlock, 12000, 48000, at_dB(dB)));
      // The table holds 201 levels up to +10 dB; a level reads the nearest one.
      const double half_step_dB = (16 - 2 * r.threshold) / 400 + 0.01;
      const double out_dB = support::to_dB(support::peak(y) / 32768);
      const double expected_dB = support::to_dB(curve_gain(dB, r.threshold, r.ceiling));
      CHECK(std::fabs(out_dB - dB - expected_dB) <= half_step_dB);
      CHECK(out_dB >= last_dB - 2 * half_step_dB);
      CHECK(out_dB <= r.ceiling + half_step_dB);
      last_dB = out_dB;
    }
  }
}

TEST_CASE("the default table reads 1.2564076 below its knee and 0.28127 at its end") {
  Limiter l(nullptr);
  CHECK(l.settled(at_dB(-40)) == doctest::Approx(1.2564076).epsilon(1e-6));
  CHECK(l.gains(at_dB(30)).back() == doctest::Approx(0.28127).epsilon(1e-4));
}

TEST_CASE("the release covers 63 % of the way in its time / 2.2, in ramps of one block") {
  for (float release_ms : {50.0f, 200.0f, 1000.0f}) {
    CAPTURE(release_ms);
    Limiter l(section(-12, -1, release_ms).data());
    const double low = l.gains(30000).back(), high = curve_gain(-50, -12, -1);
    int blocks = 0;
    for (Samples g; g.empty() || g.back() < low + 0.63212 * (high - low); ++blocks) {
      g = l.gains(at_dB(-50));
      for (size_t i = 2; i < g.size(); ++i)
        CHECK(g[i] - g[i - 1] == doctest::Approx(g[1] - g[0]).epsilon(0.02));
    }
    CHECK(std::abs(blocks - static_cast<double>(release_ms) / 2.2) <= 1);
  }
}

TEST_CASE("the gain starts from silence") {
  Limiter l(section(-3, -1, 10).data());
  const double share = 1 - std::exp(-0.22), target = curve_gain(-40, -3, -1);
  const Samples g = l.gains(at_dB(-40));
  for (size_t i = 0; i < g.size(); ++i)
    CHECK(g[i] == doctest::Approx(share * target * static_cast<double>(i + 1) / kBlock).epsilon(1e-4));
  for (float v : l.mono(Samples(kBlock, 0.0f))) CHECK(v == 0.0f);
}

TEST_CASE(
    "the attack is over by the sample that would overload, and immediate when that is one of the first two") {
  for (int at : {0, 1, 2, 3, 17, 46, 47}) {
    CAPTURE(at);
    Limiter l(section(-3, -1, 1).data());
    const double before = l.settled(at_dB(-40));
    Samples x(kBlock, 1000.0f);
    // Twice full scale overloads at any gain above a half, which a ramp over the whole block reaches at 44.
    x[static_cast<size_t>(at)] = -65536.0f;
    const int length = at < 2 ? 0 : at < 44 ? at : kBlock;
    const Samples y = l.mono(x);
    const double target = curve_gain(6.02, -3, -1);
    for (size_t i = 0; i < y.size(); ++i) {
      const double way = length == 0 ? 1 : std::min(1.0, static_cast<double>(i + 1) / length);
      CHECK(y[i] / x[i] == doctest::Approx(before + (target - before) * way).epsilon(0.01));
    }
  }
}

TEST_CASE("the release path is limited to full scale at every bit rate, the attack path is not") {
  struct {
    int bit_rate;
    float full_scale;
  } rows[] = {{16, 32768.0f}, {24, 8388608.0f}, {32, 2147483648.0f}};
  for (const auto& r : rows) {
    CAPTURE(r.bit_rate);
    Limiter l(section(0, 20, 1).data(), 1, r.bit_rate);  // 20 dB of make-up
    for (int i = 0; i < 10; ++i) l.run({Samples(kBlock, 0.001f * r.full_scale)});
    for (float sign : {1.0f, -1.0f})
      for (float v : l.mono(Samples(kBlock, sign * 0.9f * r.full_scale))) CHECK(v == sign * r.full_scale);
    CHECK(support::peak(l.mono(Samples(kBlock, 1.1f * r.full_scale))) >
          2.0 * static_cast<double>(r.full_scale));
  }
}

TEST_CASE("the second channel is driven by the louder of both, the first by its own peak") {
  const Samples loud(kBlock, 32000.0f), quiet(kBlock, 100.0f);
  const auto s = section(-12, -1, 1);
  Limiter first(s.data(), 2), second(s.data(), 2);
  std::vector<Samples> a, b;
  for (int i = 0; i < 20; ++i) a = first.run({loud, quiet}), b = second.run({quiet, loud});
  const double open = curve_gain(-50, -12, -1), limited = curve_gain(-0.2, -12, -1);
  CHECK(a[0].back() / 32000 == doctest::Approx(limited).epsilon(0.01));
  CHECK(a[1].back() / 100 == doctest::Approx(limited).epsilon(0.01));
  CHECK(b[0].back() / 100 == doctest::Approx(open).epsilon(0.01));
  CHECK(b[1].back() / 32000 == doctest::Approx(limited).epsilon(0.01));
}

TEST_CASE("retuning goes on from the gain it finds and ends at the new curve") {
  const auto old_section = section(-3, -1, 1), next = section(-20, -2, 30);
  const std::function<void(Limiter&)> ways[] = {
      [&](Limiter& l) { Maximizer_AdjustPara(l.state.get(), 0, -20, -2, 30); },
      [&](Limiter& l) { Maximizer_SetPara(l.state.get(), next.data()); },
  };
  for (const auto& retune : ways) {
    Limiter l(old_section.data());
    const float before = l.settled(at_dB(-50));
    retune(l);
    CHECK(l.gains(at_dB(-50))[0] == doctest::Approx(before).epsilon(0.01));
    Limiter fresh(next.data());
    CHECK(support::same_bits(l.settled(at_dB(-50)), fresh.settled(at_dB(-50))));
    CHECK(l.settled(at_dB(-50)) == doctest::Approx(curve_gain(-50, -20, -2)).epsilon(1e-4));
  }
}

TEST_CASE("settings are read and reported per channel, by link, and for no channel but those that exist") {
  std::array<float, 40> s{};
  for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<float>(i) + 0.5f;
  const auto report = [](Limiter& l) {
    std::array<float, 50> out;
    out.fill(-1);
    Maximizer_GetPara(l.state.get(), out.data());
    return out;
  };
  struct {
    int channels, link;
  } rows[] = {{1, 0}, {2, 0}, {2, 1}, {0, 0}, {-3, 0}};
  for (const auto& r : rows) {
    CAPTURE(r.channels);
    Limiter l(s.data(), r.channels, 16, r.link);
    auto out = report(l);
    for (int i = 0; i < 50; ++i) {
      const int ch = i / 20, k = i % 20;
      CHECK(out[static_cast<size_t>(i)] ==
            (ch < r.channels && k <= 10 ? static_cast<float>(r.link ? k : i) + 0.5f : -1.0f));
    }
    for (int ch : {-1, 2, 1000000}) Maximizer_AdjustPara(l.state.get(), ch, -9, -9, 9);
    if (!r.link) CHECK(report(l) == out);
    Maximizer_AdjustPara(l.state.get(), 1, -7, -8, 9);
    const auto adjusted = report(l);
    CHECK((r.channels > 0 && adjusted[0] == -7) == (r.link != 0));
    CHECK((adjusted[20] == -7 && adjusted[21] == -8 && adjusted[22] == 9) == (r.channels == 2));
    CHECK(adjusted[23] == out[23]);
  }
}

TEST_CASE("broken settings keep every look-up inside its table") {
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  for (float threshold : {8.0f, 20.0f, 1e30f, -1e30f, inf, -inf, nan})  // 8 dB: a table of step 0
    for (float release : {0.0f, -1.0f, nan}) {
      CAPTURE(threshold);
      Limiter l(section(threshold, -1, release).data(), 2);
      for (float x : {0.0f, 100.0f, 40000.0f, inf, nan}) l.run({Samples(kBlock, x), Samples(kBlock, x)});
      Planar none({{}, {}});
      CHECK(Maximizer_Process(l.state.get(), none(), none(), 0) == 2);
      CHECK(Maximizer_Process(l.state.get(), none(), none(), -5) == 2);
    }
  Limiter l(section(20, 0, 1).data());  // no knee: every level is asked to come out at 0 dB
  CHECK(l.settled(at_dB(-20)) == doctest::Approx(0.998 * std::pow(10, -1 - 10 / 20.0)).epsilon(0.05));
}

TEST_CASE("messages and ways out: too many channels, wrong bit rate, wrong corners, the listing") {
  const auto outcome = support::in_child([] { Maximizer_Init(nullptr, 16, 48000, 3, kBlock, 0); });
  CHECK(outcome.status == support::kExitMinusOne);
  CHECK(support::logged(outcome.err, "Maximizer_Init", "Too Many Channel!\n\n"));
  CHECK(Maximizer_Destroy(nullptr) == -3);
  const auto log = support::in_child([] {
    if (Maximizer_Init(nullptr, 20, 48000, 2, kBlock, 0)) std::abort();
    auto s = section(-3, -1, 1);
    s[5] = -39, s[27] = -5;  // noise_threshold over expand_end; max_peak under compress_start + max_gain
    Limiter l(s.data(), 2);
    s[5] = -45;
    Maximizer_SetPara(l.state.get(), s.data());
    Maximizer_PrintPara(l.state.get());
  });
  CHECK(log.status == 0);
  const std::string wrong = "wrong param for agc, please check again\n\n";
  CHECK(support::logged(log.err, "Maximizer_Init", "bit_rate is wrong!\n"));
  CHECK(support::count_logged(log.err, "Maximizer_Init", wrong) == 2);
  CHECK(support::count_logged(log.err, "Maximizer_SetPara", wrong) == 1);
  CHECK(
      support::logged_by(log.err, "Maximizer_PrintPara") ==
      "AGC Param\n===================== \n---- channel:0 ----\ncompress_start:-20.00\nexpand_end:-40.00\n"
      "noise_threshold:-45.00\nmax_gain:16.00\nmax_peak:-1.00\nattack_time:200.00\nrelease_time:400.00\n"
      "hold_time:200.000000\n---- channel:1 ----\ncompress_start:-20.00\nexpand_end:-40.00\n"
      "noise_threshold:-45.00\nmax_gain:16.00\nmax_peak:-5.00\nattack_time:200.00\nrelease_time:400.00\n"
      "hold_time:200.000000\nMaximizer Param\n=====================\n==== channel:0 "
      "====\nmax_threshold:-3.00\n"
      "ceiling:-1.00\nrelease:1.00\n==== channel:1 ====\nmax_threshold:-3.00\nceiling:-1.00\nrelease:1.00\n");
}

TEST_CASE("the chain runs compressor, AGC and limiter in turn, the last two on one handle") {
  support::Record r = support::full_record();
  for (size_t flag : {10, 11, 12, 13, 14}) r[flag] = 0;
  r[20] = r[25] = 0;
  AudioPostState* chain = AudioPost_Init(r.data(), kBlock);
  MultiBandDRCState* drc = MultiBandDRC_Init(&r[200], 16, 48000, 2, 0);
  Limiter l(&r[400], 2);
  for (uint32_t block = 0; block < 20; ++block) {
    const auto pcm = support::noise_pcm(2 * kBlock, block);
    Planar x({Samples(kBlock), Samples(kBlock)});
    for (size_t i = 0; i < pcm.size(); ++i) x.data[i % 2][i / 2] = static_cast<float>(pcm[i]);
    MultiBandDRC_Process(drc, x(), x(), kBlock);
    Agc_Process(l.state.get(), x(), x(), kBlock);
    Maximizer_Process(l.state.get(), x(), x(), kBlock);
    std::vector<int16_t> got(pcm.size()), expected(pcm.size());
    AudioPost_Process(chain, pcm.data(), got.data(), 2, kBlock);
    for (size_t i = 0; i < pcm.size(); ++i)
      expected[i] = static_cast<int16_t>(std::fmin(32767.0f, std::fmax(-32768.0f, x.data[i % 2][i / 2])));
    CHECK(got == expected);
  }
  AudioPost_Destroy(chain);
  MultiBandDRC_Destroy(drc);
}
