
#include "support.h"

using namespace support;

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
      : state(Maximizer_Init(from, bit_rate, 48000, channels, kBlock, link)) {}
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
  Handle<MaximizerState, Maximizer_Destroy> state;
};

float at_dB(double dB) { return static_cast<float>(full_scale(dB)); }

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
    double last_dB = -200;
    for (int dB = -40; dB <= 6; ++dB) {
      CAPTURES(r.threshold, dB);
      Limiter l(section(r.threshold, r.ceiling, 1).data());
      Samples y;
      for (int i = 0; i < 20; ++i) y = l.mono(sine(kBlock, 12000, 48000, at_dB(dB)));
      // The table holds 201 levels up to +10 dB; a level reads the nearest one.
      const double half_step_dB = (16 - 2 * r.threshold) / 400 + 0.01;
      const double out_dB = to_dB(peak(y) / 32768);
      const double expected_dB = to_dB(curve_gain(dB, r.threshold, r.ceiling));
      CHECK(std::fabs(out_dB - dB - expected_dB) <= half_step_dB);
      CHECK(out_dB >= last_dB - 2 * half_step_dB);
      CHECK(out_dB <= r.ceiling + half_step_dB);
      last_dB = out_dB;
    }
  }
  Limiter l(nullptr);  // the default settings
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

TEST_CASE("the attack ends by the sample that overloads, at once when that is one of the first two") {
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
  for (int bit_rate : {16, 24, 32}) {
    CAPTURE(bit_rate);
    const float full_scale = std::ldexp(1.0f, bit_rate - 1);
    Limiter l(section(0, 20, 1).data(), 1, bit_rate);  // 20 dB of make-up
    for (int i = 0; i < 10; ++i) l.mono(Samples(kBlock, 0.001f * full_scale));
    for (float sign : {1.0f, -1.0f})
      for (float v : l.mono(Samples(kBlock, sign * 0.9f * full_scale))) CHECK(v == sign * full_scale);
    CHECK(peak(l.mono(Samples(kBlock, 1.1f * full_scale))) > 2.0 * std::ldexp(1.0, bit_rate - 1));
  }
}

TEST_CASE("the second channel is driven by the louder of both, the first by its own peak") {
  const Samples loud(kBlock, 32000.0f), quiet(kBlock, 100.0f);
  const auto s = section(-12, -1, 1);
  const double open = curve_gain(-50, -12, -1), limited = curve_gain(-0.2, -12, -1);
  for (bool loud_first : {true, false}) {
    CAPTURE(loud_first);
    Limiter l(s.data(), 2);
    const std::vector<Samples> x = {loud_first ? loud : quiet, loud_first ? quiet : loud};
    for (int i = 0; i < 19; ++i) l.run(x);
    const auto y = l.run(x);
    CHECK(y[0].back() / x[0][0] == doctest::Approx(loud_first ? limited : open).epsilon(0.01));
    CHECK(y[1].back() / x[1][0] == doctest::Approx(limited).epsilon(0.01));
  }
}

TEST_CASE("retuning goes on from the gain it finds and ends at the new curve") {
  const auto old_section = section(-3, -1, 1), next = section(-20, -2, 30);
  for (bool adjusted : {false, true}) {
    Limiter l(old_section.data());
    const float before = l.settled(at_dB(-50));
    if (adjusted) Maximizer_AdjustPara(l.state.get(), 0, -20, -2, 30);
    if (!adjusted) Maximizer_SetPara(l.state.get(), next.data());
    CHECK(l.gains(at_dB(-50))[0] == doctest::Approx(before).epsilon(0.01));
    Limiter fresh(next.data());
    CHECK(same_bits(l.settled(at_dB(-50)), fresh.settled(at_dB(-50))));
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
  const struct { int channels, link; } rows[] = {{1, 0}, {2, 0}, {2, 1}, {0, 0}, {-3, 0}};
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
  for (float threshold : {8.0f, 20.0f, 1e30f, -1e30f, INFINITY, -INFINITY, NAN})  // 8 dB: a table of step 0
    for (float release : {0.0f, -1.0f, NAN}) {
      CAPTURE(threshold);
      Limiter l(section(threshold, -1, release).data(), 2);
      for (float x : {0.0f, 100.0f, 40000.0f, INFINITY, NAN}) l.run({Samples(kBlock, x), Samples(kBlock, x)});
      Planar none({{}, {}});
      CHECK(Maximizer_Process(l.state.get(), none(), none(), 0) == 2);
      CHECK(Maximizer_Process(l.state.get(), none(), none(), -5) == 2);
    }
  Limiter l(section(20, 0, 1).data());  // no knee: every level is asked to come out at 0 dB
  CHECK(l.settled(at_dB(-20)) == doctest::Approx(0.998 * std::pow(10, -1 - 10 / 20.0)).epsilon(0.05));
}

TEST_CASE("wrong corners are told, and the listing shows both modes") {
  const auto log = in_child([] {
    auto s = section(-3, -1, 1);
    s[5] = -39, s[27] = -5;  // noise_threshold over expand_end; max_peak under compress_start + max_gain
    Limiter l(s.data(), 2);
    s[5] = -45;
    Maximizer_SetPara(l.state.get(), s.data());
    Maximizer_PrintPara(l.state.get());
  });
  CHECK(log.status == 0);
  const std::string wrong = "wrong param for agc, please check again\n\n";
  CHECK(count_logged(log.err, "Maximizer_Init", wrong) == 2);
  CHECK(count_logged(log.err, "Maximizer_SetPara", wrong) == 1);
  const auto agc = [](const char* max_peak) {
    return std::string("compress_start:-20.00\nexpand_end:-40.00\nnoise_threshold:-45.00\nmax_gain:16.00\n") +
           "max_peak:" + max_peak + "\nattack_time:200.00\nrelease_time:400.00\nhold_time:200.000000\n";
  };
  const std::string limiter = "max_threshold:-3.00\nceiling:-1.00\nrelease:1.00\n";
  CHECK(logged_by(log.err, "Maximizer_PrintPara") ==
        "AGC Param\n===================== \n---- channel:0 ----\n" + agc("-1.00") + "---- channel:1 ----\n" +
            agc("-5.00") + "Maximizer Param\n=====================\n==== channel:0 ====\n" + limiter +
            "==== channel:1 ====\n" + limiter);
}
