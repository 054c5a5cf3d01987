#include <climits>
#include <numeric>

#include "support.h"

using namespace support;

namespace {

using Section = std::array<float, 200>;
constexpr int kLow = 10, kHigh = 70, kMid1 = 30, kMid2 = 50;
constexpr int kBandAt[4] = {kLow, kHigh, kMid1, kMid2};

float& at(Section& s, int i) { return s[size_t(i)]; }

// Every band idle at 0 dB, the same for both channels; edges at 200, 1000 and 5000 Hz as far as there are
// bands.
Section section(int bands) {
  Section s{};
  const float top = bands == 2 ? 1000.0f : 5000.0f;
  const float edges[4][2] = {
      {20, bands == 2 ? 1000.0f : 200.0f}, {top, 20000}, {200, bands == 3 ? 5000.0f : 1000.0f}, {1000, 5000}};
  for (int ch = 0; ch < 2; ++ch) {
    at(s, 100 * ch) = float(bands);
    for (int b = 0; b < 4; ++b) {
      const float r[12] = {edges[b][0], edges[b][1], 0, 0, -24, -50, -60, 6, -3, 20, 20, 7};
      std::copy_n(r, 12, s.begin() + 100 * ch + kBandAt[b]);
    }
  }
  return s;
}

using Drc = Effect<MultiBandDRCState, MultiBandDRC_Process, MultiBandDRC_Destroy>;

Drc drc_of(const Section& s, int channels = 1, int link = 0) {
  return Drc(MultiBandDRC_Init(s.data(), 16, 48000, channels, link));
}

double gain_dB_at(const Drc& drc, double tone_hz, double level_dB = -12) {
  const double amplitude = full_scale(level_dB);
  const Samples y = drc.mono(sine(24000, tone_hz, 48000, amplitude));
  return to_dB(amplitude_at(y, tone_hz, 48000, 14400) / amplitude);
}

// Gain of the curve that `section` gives its bands, dB, away from its knees.
double curve_dB(double level) {
  if (level < -52) return -60 + (level + 60) * 16 / 10 - level;
  return level < -26 ? 6 : -3 + level * 15 / 24 - level;  // -24 dB comes out at -18 dB, 0 dB at -3 dB
}

}  // namespace

TEST_CASE("idle bands are the crossover's, added in order, for every count a record may hold") {
  const Samples x = noise(500, 20000);
  for (int bands : {-5, -1, 0, 1, 2, 3, 4, 5, 6, 1000000, INT_MAX, INT_MIN}) {
    CAPTURE(bands);
    Section s = section(4);
    at(s, 0) = float(bands);
    if (bands > 4) at(s, kMid2 + 2) = 1000;  // an infinite gain of what is never added
    const CrossoverParam param{bands == 2 ? 0 : bands == 4 ? 2 : 1, 200, 5000, 200, 1000, 1000, 5000};
    const Handle<CrossoverFilter, Filters_Crossover_filterDestroy> crossover(
        Filters_Crossover_filterInit(48000, 1, &param));
    Samples expected;
    for (float v : x) {
      float band[4] = {};
      Filters_Crossover_filterProcess(crossover.get(), &v, band);
      // From the fifth on, bands exist in number only.
      expected.push_back(std::accumulate(band, band + (bands < 1 ? 0 : bands > 4 ? 3 : bands), 0.0f));
    }
    const auto log = in_child([&] {
      const Drc drc = drc_of(s);
      Section out{};
      MultiBandDRC_GetPara(drc, out.data());
      if (!same_bits(drc.mono(x), expected) || at(out, 0) != float(bands)) std::abort();
      MultiBandDRC_SetPara(drc, s.data());
      MultiBandDRC_PrintPara(drc);
      if (MultiBandDRC_DRC_AdjustPara(drc, 0, 6, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0) != 1) std::abort();
    });
    CHECK(log.signal == 0);
    const std::string message = "There is something wrong with crossover, please check again\n\n";
    const int beyond = std::max(4, std::min(bands, 100)) - 4;
    for (const char* function : {"MultiBandDRC_Init", "MultiBandDRC_GetPara", "MultiBandDRC_SetPara"})
      CHECK(count_logged(log.err, function, message) == beyond);
    CHECK(logged(log.err, "MultiBandDRC_DRC_AdjustPara", "i_band out of bound\n") == (bands <= 6));
  }
}

TEST_CASE("each band has its own edges and make-up gain, and 1 / bands when its compressor is on") {
  const double tone_hz[4] = {40, 15000, 447, 2236};  // in the order of the bands' numbers
  // Linkwitz-Riley, 24 dB/octave, with the frequency axis of the bilinear transform.
  const auto edge_dB = [](double ratio) { return -to_dB(1 + std::pow(ratio, 4)); };
  const auto warped = [](float hz) { return std::tan(M_PI * hz / 48000); };
  for (int bands : {2, 3, 4})
    for (int b = 0; b < bands; ++b)
      for (float on : {0.0f, 1.0f, -2.0f}) {
        CAPTURES(bands, b, on);
        Section s = section(bands);
        for (int start : kBandAt) at(s, start + 2) = -200;  // the others silent
        at(s, kBandAt[b] + 2) = -4.5f, at(s, kBandAt[b] + 3) = on;
        at(s, kBandAt[b] + 9) = at(s, kBandAt[b] + 10) = 500;
        const Drc drc = drc_of(s);
        for (int i = 0; i < 8; ++i) gain_dB_at(drc, tone_hz[b], -34);
        // What is left of -34 dB lies where the curve gives its constant 6 dB.
        double expected = -4.5 + (on != 0 ? 6 - to_dB(bands) : 0);
        const double w = std::tan(M_PI * tone_hz[b] / 48000);
        if (b != 0) expected += edge_dB(warped(at(s, kBandAt[b])) / w);
        if (b != 1) expected += edge_dB(w / warped(at(s, kBandAt[b] + 1)));
        CHECK(std::fabs(gain_dB_at(drc, tone_hz[b], -34) - expected) < 0.02);
      }
}

TEST_CASE("a steady tone's gain settles on the band's curve") {
  Section s = section(2);
  at(s, kLow + 3) = 1;
  for (int i = -76; i <= 12; i += 2) {
    const double dB = i;
    // Attack and release alike: the follower is the mean magnitude.
    const double level = dB + to_dB(2 / M_PI);
    if (std::fabs(level + 50) <= 2 || std::fabs(level + 24) <= 2) continue;
    CAPTURE(dB);
    at(s, kLow + 9) = at(s, kLow + 10) = 100;
    const Drc drc = drc_of(s);
    gain_dB_at(drc, 100, dB);
    // Below noise_threshold - 4 dB and from full scale on the table's ends hold. 0.16: half a step.
    const double expected = curve_dB(std::min(0.0, std::max(-64.0, level))) - to_dB(2);
    CHECK(std::fabs(gain_dB_at(drc, 100, dB) - expected) < 0.16 + (level < -50 ? 0.15 : 0));
  }
}

TEST_CASE("no curve attenuates by more than 60 dB, and broken curves are contained by that floor") {
  // A cliff, every entry undefined, a start at minus infinity, a gain of it.
  const float inf = INFINITY, nan = NAN;
  const float rows[][6] = {{1, -24, -50, -51, 100, -200},
                           {1, nan, nan, nan, nan, nan},
                           {1, -24, -50, -inf, 6, -3},
                           {1, -24, -50, -60, -inf, -3}};
  for (const auto& r : rows) {
    CAPTURES(r[3], r[4]);
    Section s = section(1);
    std::copy_n(r, 6, s.begin() + kLow + 3);
    const Samples x(2000, 32767.0f), y = drc_of(s).mono(x), thru = drc_of(section(1)).mono(x);
    for (size_t i = 1500; i < y.size(); ++i) CHECK(y[i] == thru[i] * 0.001f);
  }
}

TEST_CASE("the follower takes its attack for a sample above it, else its release, for 63 % of a step") {
  const struct {
    float from, to, expected_ms;  // constant input
  } rows[] = {{1000, 8000, 30},   // up: attack
              {8000, 1000, 90},   // down: release
              {1000, -8000, 90},  // a negative sample never rises above the follower
              {-8000, 1000, 90}};
  for (const auto& r : rows) {
    CAPTURES(r.from, r.to);
    Section s = section(1);
    at(s, kLow + 1) = 23000;  // the low-pass out of the way
    // Half a dB of gain per dB of level, which so tells the follower.
    const float record[8] = {1, -38, -39, -40, 0, 19, 30, 90};
    std::copy_n(record, 8, s.begin() + kLow + 3);
    const Drc drc = drc_of(s);
    drc.mono(Samples(48000, r.from));
    const double from = std::fabs(r.from), to = std::fabs(r.to), then = to + std::exp(-1) * (from - to);
    const double gain_then = std::pow(10, 19 / 20.0) * std::pow(then / 32768, 0.5);
    const Samples y = drc.mono(Samples(48000, r.to));
    size_t i = 20;  // the crossover has settled
    while (i < y.size() && (std::fabs(y[i]) / to < gain_then) == (from < to)) ++i;
    CHECK(double(i) / 48 == doctest::Approx(r.expected_ms).epsilon(0.05));
  }
}

// Loud, with a curve that takes 25 dB off it: a follower that goes on is heard in the first sample.
TEST_CASE(
    "a retune keeps a channel's followers where its band count stays, and restarts them where it changes") {
  const double tone_hz[4] = {40, 15000, 447, 2236};
  for (int before : {2, 3, 4})
    for (int after : {2, 3, 4})
      for (int b = 0; b < std::min(before, after); ++b) {
        CAPTURES(before, after, b);
        const auto compressed = [&](int bands, float attack_ms) {
          Section s = section(bands);
          const float record[8] = {1, -45, -50, -60, 6, -30, attack_ms, 10000};
          for (int ch : {0, 100}) std::copy_n(record, 8, s.begin() + ch + kBandAt[b] + 3);
          return s;
        };
        const Section last = compressed(after, 10000);
        Section first = compressed(after, 1);
        std::copy_n(compressed(before, 1).begin(), 100, first.begin());  // channel 1 always has as many
        const Drc drc = drc_of(first, 2), fresh = drc_of(last, 2);
        const Samples x = sine(4800, tone_hz[b], 48000, 30000);
        drc.run({x, x});
        MultiBandDRC_SetPara(drc, last.data());
        // The crossover's memory is cleared both ways, so a restarted channel equals a fresh one to the last bit.
        const auto y = drc.run({x, x}), z = fresh.run({x, x});
        CHECK(same_bits(y[0], z[0]) == (before != after));
        CHECK(rms(y[1]) < 0.2 * rms(z[1]));
        if (before == after) CHECK(same_bits(y[0], y[1]));
      }
}

TEST_CASE("a band without its compressor leaves the follower at rest") {
  const Samples x = noise(4800, 30000);
  Section off = section(2), on = off;
  for (int start : {kLow, kHigh}) at(on, start + 3) = 1, at(on, start + 10) = 10000;
  const Drc retuned = drc_of(off), fresh = drc_of(on);
  retuned.mono(x);
  MultiBandDRC_SetPara(retuned, on.data());
  CHECK(same_bits(retuned.mono(x), fresh.mono(x)));
}

TEST_CASE("edges that move on a retune are in use at once, and the crossover restarts from silence") {
  const Samples x = noise(1000, 20000);
  for (int bands : {2, 3, 4}) {
    CAPTURE(bands);
    Section s = section(bands);
    const Drc drc = drc_of(s, 2), stayed = drc_of(s, 2);
    drc.run({x, x});
    for (int at : {kLow + 1, kHigh, kMid1, kMid1 + 1, kMid2, kMid2 + 1}) s[size_t(at)] *= 1.3f;
    MultiBandDRC_SetPara(drc, s.data());
    const auto y = drc.run({x, x}), moved = drc_of(s, 2).run({x, x}), old = stayed.run({x, x});
    CHECK(same_bits(y[0], moved[0]));
    CHECK_FALSE(same_bits(y[0], old[0]));
    CHECK(same_bits(y[1], old[1]));  // whose edges have not moved
  }
}

TEST_CASE("an adjusted handle sounds like one that was created so, for the channels and bands it reaches") {
  const Samples x = noise(3000, 20000);
  const struct {
    int link, channel, band;
  } rows[] = {{0, 0, 0}, {0, 1, 3}, {2, 1, 2}, {-1, 0, 1}, {0, 2, 0}, {0, -1, 0}, {0, 0, 4}, {1, 0, -1}};
  for (const auto& r : rows) {
    CAPTURES(r.link, r.channel, r.band);
    Section s = section(4);
    const Drc adjusted = drc_of(s, 2, r.link);
    // The channels that it does not reach keep their memory.
    const auto before = [&](int ch) { return r.link || ch == r.channel ? x : Samples(x.size()); };
    adjusted.run({before(0), before(1)});
    MultiBandDRC_DRC_AdjustPara(adjusted, r.channel, r.band, 1, 3, -30, -55, -70, 9, -6, 5.9f, 50.9f, 8.9f);
    MultiBandDRC_Crossover_AdjustPara(adjusted, r.channel, 150, 6000, 170, 900, 950, 5500);
    for (int ch = 0; ch < 2; ++ch) {
      if (!r.link && ch != r.channel) continue;
      const float band[10] = {3, 1, -30, -55, -70, 9, -6, 5, 50, 8};
      if (r.band >= 0 && r.band < 4) std::copy_n(band, 10, s.begin() + 100 * ch + kBandAt[r.band] + 2);
      float* const record = &at(s, 100 * ch);
      record[kLow + 1] = 150, record[kHigh] = 6000, record[kMid1] = 170, record[kMid1 + 1] = 900;
      record[kMid2] = 950, record[kMid2 + 1] = 5500;
    }
    const Drc created = drc_of(s, 2);
    const auto got = adjusted.run({x, x}), expected = created.run({x, x});
    for (size_t ch : {0u, 1u}) CHECK(same_bits(got[ch], expected[ch]));
  }
}

TEST_CASE("an adjustment counts bands by the channel that it names, one that is not there as having none") {
  const struct {
    int channels, link, channel, band;
    bool said, middle;  // whether channel 0 takes the middle bands' edges
  } rows[] = {{2, 1, 1, 3, false, true},       {2, 1, 1, 4, true, true},  {2, 0, 0, 3, false, true},
              {1, 1, 0, 3, false, true},       {1, 1, 1, 0, true, false}, {1, 1, -1, 0, true, false},
              {2, 1, INT_MAX, 0, true, false}, {1, 0, 1, 0, true, false}, {0, 1, 0, 0, true, false},
              {0, 0, 0, -1, false, false}};
  for (const auto& r : rows) {
    CAPTURES(r.channels, r.link, r.channel, r.band);
    Section s = section(4), report{};
    const Drc drc = drc_of(s, r.channels, r.link);
    const auto child = in_child(
        [&] { MultiBandDRC_DRC_AdjustPara(drc, r.channel, r.band, 1, 3, -30, -55, -70, 9, -6, 5, 50, 8); });
    CHECK(logged(child.err, "MultiBandDRC_DRC_AdjustPara", "i_band out of bound\n") == r.said);
    // Said or not, a linked handle is set; one that is not linked only where the channel exists.
    const Samples x = noise(3000, 20000);
    const bool reached = r.channels > 0 && (r.link || r.channel == 0);
    MultiBandDRC_DRC_AdjustPara(drc, r.channel, r.band, 1, 3, -30, -55, -70, 9, -6, 5, 50, 8);
    if (r.channels == 1) CHECK(same_bits(drc.mono(x), drc_of(s).mono(x)) == !(reached && r.band < 4));
    MultiBandDRC_Crossover_AdjustPara(drc, r.channel, 150, 6000, 170, 900, 950, 5500);
    MultiBandDRC_GetPara(drc, report.data());
    CHECK((at(report, kLow + 1) == 150) == reached);
    CHECK((at(report, kMid1) == 170 && at(report, kMid1 + 1) == 900) == r.middle);
    CHECK((at(report, kMid2) == 950 && at(report, kMid2 + 1) == 5500) == r.middle);
  }
}

TEST_CASE("adjusted edges are reported of as many bands as there are") {
  for (int bands : {2, 3, 4}) {
    CAPTURE(bands);
    Section s = section(bands), report{};
    const Drc drc = drc_of(s);
    MultiBandDRC_Crossover_AdjustPara(drc, 0, 150, 6000, 170, 900, 950, 5500);
    MultiBandDRC_GetPara(drc, report.data());
    CHECK(at(report, kMid1) == (bands > 2 ? 170 : 0));
    CHECK(at(report, kMid2 + 1) == (bands > 3 ? 5500 : 0));
  }
}

TEST_CASE("a handle without a section is silent until it gets one") {
  const Drc drc(MultiBandDRC_Init(nullptr, 16, 48000, 2, 0));
  const Samples x = noise(100, 1000);
  CHECK(same_bits(drc.run({x, x})[1], Samples(100)));
  Section s = section(2);
  for (float bands : {0.0f, 2.0f}) {  // first the count that it already has
    at(s, 0) = at(s, 100) = bands;
    MultiBandDRC_SetPara(drc, s.data());
  }
  CHECK(same_bits(drc.run({x, x})[1], drc_of(s).mono(x)));
}
