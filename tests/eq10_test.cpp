#include <algorithm>
#include <limits>
#include <utility>

#include "support.h"

using namespace support;

namespace {

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

using Equalizer = Handle<EQ10State, EQ10_Destroy>;

Equalizer create(const std::vector<float>& section, int channels, int channel_link = 0) {
  return Equalizer(EQ10_Init(section.data(), 16, kRate, channels, kFrames, channel_link));
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
  return Planar({noise(n, 32767.0f, seed), noise(n, 32767.0f, seed + 50)});
}

}  // namespace

TEST_CASE("each channel runs the slots that its enables count, in series; histories carry over") {
  const float huge = 2147483648.0f;  // read as 2^31 - 1
  const struct {
    const char* what;
    int link;
    std::vector<Band> enabled;
    std::vector<std::pair<int, int>> runs[2];  // (channel, band) of each slot that each channel runs
  } rows[] = {
      {"none", 0, {}, {{}, {}}},
      {"packed", 0, {{0, 2, 1}, {0, 7, 1}, {1, 0, 1}}, {{{0, 2}, {0, 7}}, {{1, 0}}}},
      {"only the second channel", 0, {{1, 3, 1}, {1, 9, 1}}, {{}, {{1, 3}, {1, 9}}}},
      {"linked", 1, {{0, 1, 1}, {0, 6, 1}}, {{{0, 1}, {0, 6}}, {{0, 1}, {0, 6}}}},
      {"2 takes the next's first", 0, {{0, 4, 2}, {1, 1, 1}, {1, 5, 1}}, {{{0, 4}, {1, 1}}, {{1, 5}}}},
      {"2 in the last channel", 0, {{0, 4, 1}, {1, 1, 2}}, {{{0, 4}}, {{1, 1}}}},
      {"1.9 is 1, 0.9 is 0", 0, {{0, 0, 0.9f}, {0, 1, 1.9f}, {0, 2, -0.9f}}, {{{0, 1}}, {}}},
      {"a negative sum leaves the slot to the next", 0, {{0, 3, -1}, {1, 2, 1}}, {{}, {{0, 3}}}},
      {"a sum of 0", 0, {{0, 3, 1}, {0, 4, -1}, {1, 2, 1}}, {{}, {{0, 3}}}},
      {"more than all slots", 0, {{0, 3, huge}, {1, 2, 1}}, {{{0, 3}, {1, 2}}, {}}},
      {"the sum wraps to -2", 0, {{0, 3, huge}, {0, 4, huge}, {1, 2, 1}}, {{}, {{0, 3}}}},
      {"not a number", 0, {{0, 3, std::numeric_limits<float>::quiet_NaN()}, {1, 2, 1}}, {{}, {{1, 2}}}},
  };
  for (const auto& r : rows) {
    CAPTURE(r.what);
    const std::vector<float> section = section_of(2, r.enabled);
    const Equalizer eq = create(section, 2, r.link);
    std::vector<Filter> filters[2];
    for (size_t ch = 0; ch < 2; ++ch)
      for (const auto& [channel, band] : r.runs[ch]) filters[ch].push_back(filter_of(section, channel, band));
    for (int n : {kFrames, 1, 0, 17, kFrames}) {
      Planar expected = stereo_noise(n, uint32_t(n)), in(expected.data), out(in.data);
      for (size_t ch = 0; ch < 2; ++ch) run(filters[ch], expected.data[ch]);
      const bool in_place = n == 17;
      CHECK(EQ10_Process(eq.get(), in(), in_place ? in() : out(), n) == 2);
      for (size_t ch = 0; ch < 2; ++ch) CHECK(same_bits((in_place ? in : out).data[ch], expected.data[ch]));
    }
  }
}

TEST_CASE("a retune leaves each slot its history, whichever band owns it now") {
  const auto before = section_of(2, {{0, 2, 1}, {0, 7, 1}, {1, 0, 1}}),
             after = section_of(2, {{0, 7, 1}, {1, 0, 1}});
  const Equalizer eq = create(before, 2);
  std::vector<Filter> first = {filter_of(before, 0, 2), filter_of(before, 0, 7)},
                      second = {filter_of(before, 1, 0)};
  Planar x = stereo_noise(kFrames, 1), y(x.data);
  EQ10_Process(eq.get(), x(), x(), kFrames);
  run(first, y.data[0]), run(second, y.data[1]);

  CHECK(EQ10_SetPara(eq.get(), after.data()) == 2);
  std::vector<Filter> shifted = {filter_of(after, 0, 7)}, next = {filter_of(after, 1, 0)};
  std::copy_n(first[0].history, 2, shifted[0].history);  // slot 0 was band 2 of channel 0
  std::copy_n(first[1].history, 2, next[0].history);     // slot 1 was band 7 of channel 0
  EQ10_Process(eq.get(), x(), x(), kFrames);
  run(shifted, y.data[0]), run(next, y.data[1]);
  CHECK(same_bits(x.data[0], y.data[0]));
  CHECK(same_bits(x.data[1], y.data[1]));

  EQ10_SetPara(eq.get(), before.data());  // slot 2 has slept through that and goes on from where it stopped
  std::vector<Filter> woken = {filter_of(before, 1, 0)};
  std::copy_n(second[0].history, 2, woken[0].history);
  EQ10_Process(eq.get(), x(), x(), kFrames);
  run(woken, y.data[1]);
  CHECK(same_bits(x.data[1], y.data[1]));
}

TEST_CASE("GetData returns the latest block before and after, and the tail of longer ones before it") {
  const auto section = section_of(2, {{0, 0, 1}, {1, 3, 1}});
  const Equalizer eq = create(section, 2);
  std::vector<Samples> before(2, Samples(kFrames + 1)), after = before;
  for (Samples* last : {&before[0], &before[1], &after[0], &after[1]}) last->back() = -7.0f;
  for (int n : {20, kFrames, 5, 2 * kFrames, 0}) {  // longer than a frame: filtered whole, kept in part
    Planar in = stereo_noise(n, uint32_t(n)), out(in.data);
    EQ10_Process(eq.get(), in(), out(), n);
    Planar got_in(std::vector<Samples>(2, Samples(kFrames + 1, -7.0f))), got_out(got_in.data);
    CHECK(EQ10_GetData(eq.get(), got_in(), got_out()) == 2);
    for (size_t ch = 0; ch < 2; ++ch) {
      std::copy_n(in.data[ch].begin(), std::min(n, kFrames), before[ch].begin());
      std::copy_n(out.data[ch].begin(), std::min(n, kFrames), after[ch].begin());
      CHECK(same_bits(got_in.data[ch], before[ch]));
      CHECK(same_bits(got_out.data[ch], after[ch]));
      if (n == 2 * kFrames) CHECK(in.data[ch].back() != out.data[ch].back());
    }
  }
  CHECK(EQ10_GetData(nullptr, nullptr, nullptr) == 0);
}

TEST_CASE("GetPara returns one record per channel: the host's, the linked one, or the defaults") {
  auto section = section_of(3, {{0, 1, 1.5f}, {1, 9, -3}, {2, 0, 1}});
  auto truncated = section;
  truncated[5] = 1;
  for (bool given : {true, false})
    for (int link : {0, 1}) {
      CAPTURES(link, given);
      const Equalizer eq(EQ10_Init(given ? section.data() : nullptr, 99, kRate, 3, kFrames, link));
      const float off[5] = {0, 0, 1000, 1, 0};
      std::vector<float> got(151, -7.0f), expected = got;
      for (size_t i = 0; i < 150; ++i) expected[i] = given ? truncated[link ? i % 50 : i] : off[i % 5];
      EQ10_GetPara(eq.get(), got.data());
      CHECK(same_bits(got, expected));
    }
}

TEST_CASE("the listing names every band whose enable is exactly 1") {
  auto section = section_of(2, {{0, 0, 1}, {0, 2, 1}, {0, 3, 2}, {1, 4, 1}});
  section[5 * 2 + 1] = 6;  // Butterworth: listed without a name
  const auto child = in_child([&] { EQ10_PrintPara(create(section, 2).get()); });
  CHECK(logged_by(child.err, "EQ10_PrintPara") ==
        "EQ Param\n=====================\n==== channel:0 ====\nfilterTypes:Parametric\nfc:150.00\nQ:0.50\n"
        "boost:9.00\nfc:450.00\nQ:0.60\nboost:7.00\n==== channel:1 ====\nfilterTypes:GeneralHP\nfc:2250.00\n"
        "Q:1.20\nboost:-5.00\n");
}

TEST_CASE("an unknown type ends the process at Init and SetPara, but only in a band that is on") {
  for (bool retune : {false, true})
    for (float enable : {0.0f, 1.0f}) {
      auto section = section_of(1, {{0, 5, enable}});
      section[5 * 5 + 1] = 8;
      const auto child = in_child([&] {
        const Equalizer eq(EQ10_Init(retune ? nullptr : section.data(), 16, kRate, 1, kFrames, 0));
        if (retune) EQ10_SetPara(eq.get(), section.data());
      });
      CHECK(child.status == (enable == 0.0f ? 0 : kExitMinusOne));
      CHECK(logged(child.err, "filter_calculateCoeffs", "ErrorXXX: You should choose a filter type!\n\n") ==
            (enable != 0.0f));
    }
}

TEST_CASE("sizes that no device could serve are refused, and none at all is an equalizer without channels") {
  for (int channels : {0, -3}) {
    const Equalizer eq(EQ10_Init(nullptr, 16, kRate, channels, kFrames, 0));
    CHECK(EQ10_SetPara(eq.get(), nullptr) == channels);
    CHECK(EQ10_GetData(eq.get(), nullptr, nullptr) == channels);
  }
  CHECK(EQ10_Init(nullptr, 16, kRate, 1025, 1, 0) == nullptr);
  CHECK(EQ10_Init(nullptr, 16, kRate, 2, INT32_MAX, 0) == nullptr);
}
