#include <algorithm>
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

using Equalizer = Effect<EQ10State, EQ10_Process, EQ10_Destroy>;

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

Samples through(std::vector<Filter>& filters, Samples x) {
  for (Filter& f : filters)
    for (float& v : x) v = update_biquad_filter(f.coeffs, f.history, v);
  return x;
}

std::vector<Samples> stereo_noise(int n) {
  return {noise(n, 32767.0f, uint32_t(n)), noise(n, 32767.0f, uint32_t(n) + 50)};
}

}  // namespace

TEST_CASE("each channel runs the slots that its enables count, in series, and histories carry over") {
  const float huge = 2147483648.0f;  // read as 2^31 - 1
  const struct {
    std::string what;
    int link;
    std::vector<Band> enabled;
    // (channel, band) of each slot that each channel runs; (-1, n) for n slots that no band was designed into.
    std::vector<std::pair<int, int>> runs[2];
  } rows[] = {
      {"packed", 0, {{0, 2, 1}, {0, 7, 1}, {1, 0, 1}}, {{{0, 2}, {0, 7}}, {{1, 0}}}},
      {"linked", 1, {{0, 1, 1}, {0, 6, 1}}, {{{0, 1}, {0, 6}}, {{0, 1}, {0, 6}}}},
      {"2 takes the next's", 0, {{0, 4, 2}, {1, 1, 1}, {1, 5, 1}}, {{{0, 4}, {1, 1}}, {{1, 5}, {-1, 1}}}},
      {"2 in the last channel", 0, {{0, 4, 1}, {1, 1, 2}}, {{{0, 4}}, {{1, 1}, {-1, 1}}}},
      {"1.9 is 1, 0.9 is 0", 0, {{0, 0, 0.9f}, {0, 1, 1.9f}, {0, 2, -0.9f}}, {{{0, 1}}, {}}},
      {"a negative sum leaves the slot to the next", 0, {{0, 3, -1}, {1, 2, 1}}, {{}, {{0, 3}}}},
      {"more than all slots", 0, {{0, 3, huge}, {1, 2, 1}}, {{{0, 3}, {1, 2}, {-1, 18}}, {}}},
      {"the sum wraps to -2", 0, {{0, 3, huge}, {0, 4, huge}, {1, 2, 1}}, {{}, {{0, 3}}}},
      {"not a number", 0, {{0, 3, NAN}, {1, 2, 1}}, {{}, {{1, 2}}}},
  };
  for (const auto& r : rows) {
    CAPTURE(r.what);
    const std::vector<float> section = section_of(2, r.enabled);
    const Equalizer eq = create(section, 2, r.link);
    std::vector<Filter> filters[2];
    for (size_t ch = 0; ch < 2; ++ch)
      for (const auto& [channel, band] : r.runs[ch]) {
        if (channel < 0)
          filters[ch].resize(filters[ch].size() + size_t(band));
        else
          filters[ch].push_back(filter_of(section, channel, band));
      }
    for (int n : {kFrames, 1, 0, 17, kFrames}) {
      Planar in(stereo_noise(n)), out(in.data);
      const bool in_place = n == 17;
      CHECK(EQ10_Process(eq, in(), in_place ? in() : out(), n) == 2);
      for (size_t ch = 0; ch < 2; ++ch)
        CHECK(same_bits((in_place ? in : out).data[ch], through(filters[ch], stereo_noise(n)[ch])));
    }
  }
}

TEST_CASE("a retune leaves each slot its history, whichever band owns it now") {
  const auto before = section_of(2, {{0, 2, 1}, {0, 7, 1}, {1, 0, 1}}),
             after = section_of(2, {{0, 7, 1}, {1, 0, 1}});
  const Equalizer eq = create(before, 2);
  std::vector<Filter> slots[2] = {{filter_of(before, 0, 2), filter_of(before, 0, 7)},
                                  {filter_of(before, 1, 0)}};
  const auto x = stereo_noise(kFrames);
  const auto check_block = [&](std::vector<Filter>& first, std::vector<Filter>& second) {
    const auto y = eq.run(x);
    CHECK(same_bits(y[0], through(first, x[0])));
    CHECK(same_bits(y[1], through(second, x[1])));
  };
  const auto with_history = [](Filter f, const Filter& from) {
    std::copy_n(from.history, 2, f.history);
    return f;
  };
  check_block(slots[0], slots[1]);

  CHECK(EQ10_SetPara(eq, after.data()) == 2);  // slot 0 was band 2, slot 1 band 7 of channel 0
  std::vector<Filter> shifted = {with_history(filter_of(after, 0, 7), slots[0][0])},
                      next = {with_history(filter_of(after, 1, 0), slots[0][1])};
  check_block(shifted, next);

  EQ10_SetPara(eq, before.data());  // slot 2 has slept through that and goes on from where it stopped
  slots[0] = {with_history(slots[0][0], shifted[0]), with_history(slots[0][1], next[0])};
  check_block(slots[0], slots[1]);

  EQ10_SetPara(eq,
               section_of(2, {{0, 4, 1}, {1, 0, 2}}).data());  // slot 2 keeps its design, and is run again
  shifted = {with_history(filter_of(before, 0, 4), slots[0][0])};
  next = {with_history(filter_of(before, 1, 0), slots[0][1]), slots[1][0]};
  check_block(shifted, next);
}

TEST_CASE("GetData returns the latest block before and after, and the tail of longer ones before it") {
  const Equalizer eq = create(section_of(2, {{0, 0, 1}, {1, 3, 1}}), 2);
  std::vector<Samples> before(2, Samples(kFrames)), after = before;
  for (int n : {20, kFrames, 5, 2 * kFrames, 0}) {  // longer than a frame: filtered whole, kept in part
    Planar in(stereo_noise(n)), out(in.data), got_in({Samples(kFrames), Samples(kFrames)}),
        got_out(got_in.data);
    EQ10_Process(eq, in(), out(), n);
    CHECK(EQ10_GetData(eq, got_in(), got_out()) == 2);
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

TEST_CASE("an unknown type ends the process at Init and SetPara, but only in a band that is on") {
  for (float type : {7.0f, 8.0f, -1.0f, -2e9f})
    for (float enable : {0.0f, 1.0f}) {
      CAPTURES(type, enable);
      auto section = section_of(1, {{0, 5, enable}});
      section[5 * 5 + 1] = type;
      const Equalizer eq(EQ10_Init(nullptr, 16, kRate, 1, kFrames, 0));
      const bool ends = enable == 1 && type != 7;
      for (const auto& child :
           {in_child([&] { create(section, 1); }), in_child([&] { EQ10_SetPara(eq, section.data()); })}) {
        CHECK(child.status == (ends ? kExitMinusOne : 0));
        CHECK(logged(child.err, "filter_calculateCoeffs", "ErrorXXX: You should choose a filter type!\n\n") ==
              ends);
      }
    }
}

TEST_CASE(
    "without a section every band is off, at 1000 Hz and Q 1, and the listing names what is exactly 1") {
  const Equalizer eq(EQ10_Init(nullptr, 99, kRate, 3, kFrames, 0));
  std::vector<float> got(150);
  EQ10_GetPara(eq, got.data());
  const float off[5] = {0, 0, 1000, 1, 0};
  for (size_t i = 0; i < 150; ++i) CHECK(got[i] == off[i % 5]);
  auto section = section_of(1, {{0, 2, 1}, {0, 3, 2}});
  section[5 * 2 + 1] = 6;  // Butterworth: listed without a name
  const auto child = in_child([&] { EQ10_PrintPara(create(section, 1)); });
  CHECK(logged_by(child.err, "EQ10_PrintPara") ==
        "EQ Param\n=====================\n==== channel:0 ====\nfc:450.00\nQ:0.60\nboost:7.00\n");
}
