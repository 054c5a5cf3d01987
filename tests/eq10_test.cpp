#include <algorithm>
#include <limits>
#include <utility>

#include "support.h"

namespace {

using support::Planar, support::Samples;
constexpr int kRate = 48000, kFrames = 64, kChannelLength = 50;

struct Band {
  int channel, number;
  float enable;
};

// Every band of every channel gets settings of its own; only the listed ones get an enable.
std::vector<float> section_of(int channels, const std::vector<Band>& enabled) {
  std::vector<float> section(size_t(channels) * kChannelLength);
  for (size_t k = 0; k < section.size() / 5; ++k) {
    float* band = &section[5 * k];
    band[1] = float(k % 5), band[2] = 150.0f * float(k + 1), band[3] = 0.5f + 0.05f * float(k),
    band[4] = 9.0f - float(k);
  }
  for (const Band& b : enabled) section[size_t(b.channel) * kChannelLength + size_t(b.number) * 5] = b.enable;
  return section;
}

EQ10State* create(const std::vector<float>& section, int channels, int channel_link = 0) {
  return EQ10_Init(section.data(), 16, kRate, channels, kFrames, channel_link);
}

struct Filter {
  float coeffs[5], history[2];
};

Filter filter_of(const std::vector<float>& section, int channel, int number) {
  const float* b = &section[size_t(channel) * kChannelLength + size_t(number) * 5];
  Filter f{};
  filter_calculateCoeffs(f.coeffs, int(b[1]), kRate, b[2], b[3], b[4]);
  return f;
}

void run(std::vector<Filter>& filters, Samples& x) {
  for (Filter& f : filters)
    for (float& v : x) v = update_biquad_filter(f.coeffs, f.history, v);
}

Planar stereo_noise(int n, uint32_t seed) {
  return Planar({support::noise(n, 32767.0f, seed), support::noise(n, 32767.0f, seed + 50)});
}

}  // namespace

TEST_CASE(
    "each channel runs the slots that its enable values count, in series, with histories that carry over") {
  const float huge = 2147483648.0f;  // read as 2^31 - 1
  struct {
    const char* what;
    int link;
    std::vector<Band> enabled;
    std::vector<std::pair<int, int>>
        runs[2];  // (channel, band) of each slot that channel 0 and channel 1 run
  } rows[] = {
      {"none", 0, {}, {{}, {}}},
      {"packed", 0, {{0, 2, 1}, {0, 7, 1}, {1, 0, 1}}, {{{0, 2}, {0, 7}}, {{1, 0}}}},
      {"only the second channel", 0, {{1, 3, 1}, {1, 9, 1}}, {{}, {{1, 3}, {1, 9}}}},
      {"linked", 1, {{0, 1, 1}, {0, 6, 1}}, {{{0, 1}, {0, 6}}, {{0, 1}, {0, 6}}}},
      {"2 takes the next channel's first",
       0,
       {{0, 4, 2}, {1, 1, 1}, {1, 5, 1}},
       {{{0, 4}, {1, 1}}, {{1, 5}}}},
      {"2 in the last channel", 0, {{0, 4, 1}, {1, 1, 2}}, {{{0, 4}}, {{1, 1}}}},
      {"1.9 is 1, 0.9 is 0", 0, {{0, 0, 0.9f}, {0, 1, 1.9f}, {0, 2, -0.9f}}, {{{0, 1}}, {}}},
      {"a negative sum runs none and leaves the slot to the next",
       0,
       {{0, 3, -1}, {1, 2, 1}},
       {{}, {{0, 3}}}},
      {"a sum of 0", 0, {{0, 3, 1}, {0, 4, -1}, {1, 2, 1}}, {{}, {{0, 3}}}},
      {"more than all slots", 0, {{0, 3, huge}, {1, 2, 1}}, {{{0, 3}, {1, 2}}, {}}},
      {"the sum wraps to -2", 0, {{0, 3, huge}, {0, 4, huge}, {1, 2, 1}}, {{}, {{0, 3}}}},
      {"not a number", 0, {{0, 3, std::numeric_limits<float>::quiet_NaN()}, {1, 2, 1}}, {{}, {{1, 2}}}},
  };
  for (const auto& r : rows) {
    CAPTURE(r.what);
    const std::vector<float> section = section_of(2, r.enabled);
    EQ10State* eq = create(section, 2, r.link);
    std::vector<Filter> filters[2];
    for (size_t ch = 0; ch < 2; ++ch)
      for (const auto& [channel, band] : r.runs[ch]) filters[ch].push_back(filter_of(section, channel, band));
    for (int n : {kFrames, 1, 0, 17, kFrames}) {
      Planar expected = stereo_noise(n, uint32_t(n)), in(expected.data), out(in.data);
      for (size_t ch = 0; ch < 2; ++ch) run(filters[ch], expected.data[ch]);
      const bool in_place = n == 17;
      CHECK(EQ10_Process(eq, in(), in_place ? in() : out(), n) == 2);
      for (size_t ch = 0; ch < 2; ++ch)
        CHECK(support::same_bits((in_place ? in : out).data[ch], expected.data[ch]));
    }
    CHECK(EQ10_Destroy(eq) == 0);
  }
}

TEST_CASE("a retune leaves each slot its history, whichever band owns it now") {
  const auto before = section_of(2, {{0, 2, 1}, {0, 7, 1}, {1, 0, 1}}),
             after = section_of(2, {{0, 7, 1}, {1, 0, 1}});
  EQ10State* eq = create(before, 2);
  std::vector<Filter> first = {filter_of(before, 0, 2), filter_of(before, 0, 7)},
                      second = {filter_of(before, 1, 0)};
  Planar x = stereo_noise(kFrames, 1), y(x.data);
  EQ10_Process(eq, x(), x(), kFrames);
  run(first, y.data[0]), run(second, y.data[1]);

  CHECK(EQ10_SetPara(eq, after.data()) == 2);
  std::vector<Filter> shifted = {filter_of(after, 0, 7)}, next = {filter_of(after, 1, 0)};
  std::copy_n(first[0].history, 2, shifted[0].history);  // slot 0 was band 2 of channel 0
  std::copy_n(first[1].history, 2, next[0].history);     // slot 1 was band 7 of channel 0
  EQ10_Process(eq, x(), x(), kFrames);
  run(shifted, y.data[0]), run(next, y.data[1]);
  CHECK(support::same_bits(x.data[0], y.data[0]));
  CHECK(support::same_bits(x.data[1], y.data[1]));

  EQ10_SetPara(eq, before.data());  // slot 2 has slept through that and goes on from where it stopped
  std::vector<Filter> woken = {filter_of(before, 1, 0)};
  std::copy_n(second[0].history, 2, woken[0].history);
  EQ10_Process(eq, x(), x(), kFrames);
  run(woken, y.data[1]);
  CHECK(support::same_bits(x.data[1], y.data[1]));
  EQ10_Destroy(eq);
}

TEST_CASE("a listener hears each band's gain where it was set and none elsewhere") {
  struct {
    float type, fc, q, boost, tone_hz;
    double expected_dB;
  } rows[] = {{0, 1000, 2, 6, 1000, 6},      {0, 1000, 2, 6, 50, 0},
              {0, 1000, 2, -30, 1000, -20},  {1, 200, 1, 9, 20, 9},
              {1, 200, 1, 9, 200, 4.5},      {1, 200, 1, 9, 5000, 0},
              {2, 4000, 1, -6, 20000, -6},   {2, 4000, 1, -6, 4000, -3},
              {3, 1000, 2, 0, 1000, 6.0206}, {4, 1000, 0.7071068f, 3, 1000, -0.0103},
              {5, 1000, 1, 3, 1000, 3},      {6, 1000, 0, 0, 1000, -3.0103},
              {7, 1000, 0, 0, 1000, -3.0103}};
  for (const auto& r : rows) {
    CAPTURE(r.type);
    CAPTURE(r.tone_hz);
    std::vector<float> section(kChannelLength);
    const float band[5] = {1, r.type, r.fc, r.q, r.boost};
    std::copy_n(band, 5, &section[15]);
    EQ10State* eq = EQ10_Init(section.data(), 16, kRate, 1, kRate, 0);
    Planar x({support::sine(kRate, double(r.tone_hz), kRate, 1000)});
    EQ10_Process(eq, x(), x(), kRate);
    const double gain = support::amplitude_at(x.data[0], double(r.tone_hz), kRate, kRate / 2) / 1000;
    CHECK(std::fabs(support::to_dB(gain) - r.expected_dB) < 0.05);
    EQ10_Destroy(eq);
  }
}

TEST_CASE("GetData returns the latest block before and after, and the tail of longer ones before it") {
  const auto section = section_of(2, {{0, 0, 1}, {1, 3, 1}});
  EQ10State* eq = create(section, 2);
  std::vector<Samples> before(2, Samples(kFrames)), after = before;
  for (int n : {20, kFrames, 5, 2 * kFrames, 0}) {  // longer than a frame: filtered whole, kept in part
    Planar in = stereo_noise(n, uint32_t(n)), out(in.data);
    EQ10_Process(eq, in(), out(), n);
    Planar got_in(std::vector<Samples>(2, Samples(kFrames + 1, -7.0f))), got_out(got_in.data);
    CHECK(EQ10_GetData(eq, got_in(), got_out()) == 2);
    for (size_t ch = 0; ch < 2; ++ch) {
      std::copy_n(in.data[ch].begin(), std::min(n, kFrames), before[ch].begin());
      std::copy_n(out.data[ch].begin(), std::min(n, kFrames), after[ch].begin());
      CHECK(got_in.data[ch].back() == -7.0f);
      CHECK(got_out.data[ch].back() == -7.0f);
      got_in.data[ch].pop_back(), got_out.data[ch].pop_back();
      CHECK(support::same_bits(got_in.data[ch], before[ch]));
      CHECK(support::same_bits(got_out.data[ch], after[ch]));
      if (n == 2 * kFrames) CHECK(in.data[ch].back() != out.data[ch].back());
    }
  }
  EQ10_Destroy(eq);
  CHECK(EQ10_GetData(nullptr, nullptr, nullptr) == 0);
  CHECK(EQ10_Destroy(nullptr) == -3);
}

TEST_CASE("GetPara returns one record per channel: the host's, the linked one, or the defaults") {
  auto section = section_of(3, {{0, 1, 1.5f}, {1, 9, -3}, {2, 0, 1}});
  auto truncated = section;
  truncated[5] = 1;
  struct {
    int link;
    bool given;
  } rows[] = {{0, true}, {1, true}, {0, false}, {7, false}};
  for (const auto& r : rows) {
    CAPTURE(r.link);
    CAPTURE(r.given);
    EQ10State* eq = EQ10_Init(r.given ? section.data() : nullptr, 99, kRate, 3, kFrames, r.link);
    const float off[5] = {0, 0, 1000, 1, 0};
    std::vector<float> got(151, -7.0f), expected = got;
    for (size_t i = 0; i < 150; ++i)
      expected[i] = r.given ? truncated[r.link ? i % kChannelLength : i] : off[i % 5];
    EQ10_GetPara(eq, got.data());
    CHECK(support::same_bits(got, expected));
    EQ10_Destroy(eq);
  }
}

TEST_CASE("the listing names every band whose enable is exactly 1") {
  auto section = section_of(2, {{0, 0, 1}, {0, 2, 1}, {0, 3, 2}, {1, 4, 1}});
  section[5 * 2 + 1] = 6;  // Butterworth: listed without a name
  const auto child = support::in_child([&] {
    EQ10State* eq = create(section, 2);
    EQ10_PrintPara(eq);
    EQ10_Destroy(eq);
  });
  const std::pair<const char*, int> lines[] = {{"EQ Param\n", 1},
                                               {"=====================\n", 1},
                                               {"==== channel:0 ====\n", 1},
                                               {"==== channel:1 ====\n", 1},
                                               {"filterTypes:", 2},
                                               {"filterTypes:Parametric\n", 1},
                                               {"filterTypes:GeneralHP\n", 1},
                                               {"fc:", 3},
                                               {"fc:150.00\n", 1},
                                               {"fc:450.00\n", 1},
                                               {"fc:2250.00\n", 1},
                                               {"Q:0.60\n", 1},
                                               {"boost:9.00\n", 1},
                                               {"boost:-5.00\n", 1}};
  for (const auto& line : lines) {
    CAPTURE(line.first);
    CHECK(support::count_logged(child.err, "EQ10_PrintPara", line.first) == line.second);
  }
  CHECK(std::count(child.err.begin(), child.err.end(), '\n') == 15);
}

TEST_CASE("an unknown type ends the process at Init and SetPara, but only in a band that is on") {
  for (bool retune : {false, true})
    for (float enable : {0.0f, 1.0f}) {
      auto section = section_of(1, {{0, 5, enable}});
      section[5 * 5 + 1] = 8;
      const auto child = support::in_child([&] {
        EQ10State* eq = EQ10_Init(retune ? nullptr : section.data(), 16, kRate, 1, kFrames, 0);
        if (retune) EQ10_SetPara(eq, section.data());
        EQ10_Destroy(eq);
      });
      CHECK(child.status == (enable == 0.0f ? 0 : support::kExitMinusOne));
      CHECK(support::logged(child.err, "filter_calculateCoeffs",
                            "ErrorXXX: You should choose a filter type!\n\n") == (enable != 0.0f));
    }
}

TEST_CASE("sizes that no device could serve are refused, and none at all is an equalizer without channels") {
  for (int channels : {0, -3}) {
    EQ10State* eq = EQ10_Init(nullptr, 16, kRate, channels, kFrames, 0);
    CHECK(EQ10_Process(eq, nullptr, nullptr, kFrames) == channels);
    CHECK(EQ10_SetPara(eq, nullptr) == channels);
    CHECK(EQ10_GetData(eq, nullptr, nullptr) == channels);
    EQ10_Destroy(eq);
  }
  CHECK(EQ10_Init(nullptr, 16, kRate, 1025, 1, 0) == nullptr);
  CHECK(EQ10_Init(nullptr, 16, kRate, 2, INT32_MAX, 0) == nullptr);
}
