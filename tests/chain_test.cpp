// The chain's frame: how PCM becomes float and back, what it reads from the record, and how it fails.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "support.h"

using support::in_child;
using support::kExitMinusOne;
using support::logged;
using support::plain_record;
using support::Record;
using Pcm = std::vector<int16_t>;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN(), kInf = std::numeric_limits<float>::infinity();

// One block through a new chain.
Pcm processed(const Record& record, const Pcm& input, int channels) {
  const int frames = static_cast<int>(input.size()) / channels;
  AudioPostState* chain = AudioPost_Init(record.data(), frames);
  REQUIRE(chain);
  Pcm output(input.size(), 77);
  AudioPost_Process(chain, input.data(), output.data(), channels, frames);
  AudioPost_Destroy(chain);
  return output;
}

// What Init writes when it returns null; fails the test when it does not.
std::string log_of_refusal(const float* record, int frames) {
  const auto child = in_child([&] {
    if (AudioPost_Init(record, frames)) std::exit(1);
  });
  CHECK(child.status == 0);
  return child.err;
}

const char kWrongVersion[] = "The Version of Tuning Tool is Wrong, you should use version 2.00!\n";

}  // namespace

TEST_CASE("without effects and gain every 16-bit sample comes out as it went in") {
  Pcm all;
  for (int x = -32768; x <= 32767; ++x) all.push_back(static_cast<int16_t>(x));
  for (int bit_rate : {16, 24, 32}) CHECK(processed(plain_record(2, bit_rate), all, 2) == all);
}

TEST_CASE("samples are scaled, clamped to the bit rate, cut toward zero, and their low 16 bits stored") {
  const struct {
    int bit_rate;
    float gain_dB;
    int in, out;
  } rows[] = {
      {16, 6.0f, 20000, 32767},
      {16, 6.0f, -32768, -32768},
      {16, -6.0f, 201, 100},  // 100.74: toward zero, not to the nearest
      {16, -6.0f, -201, -100},
      {16, -60.0f, 999, 0},
      {16, 200.0f, 1, 32767},
      {24, 20.0f, 4000, -25536},  // 40000 lies within 24 bits; its low 16 bits are 40000 - 65536
      {24, 40.0f, 32767, -100},   // 3276700 = 50 * 65536 - 100
      {24, 60.0f, 32767, -1},     // clamped to 0x7fffff
      {24, 60.0f, -32768, 0},     // clamped to -0x800000
      {32, 60.0f, 32767, -1000},  // 32767000 = 500 * 65536 - 1000
      {32, 120.0f, 32767, -1},    // beyond 32 bits: 0x7fffffff
      {32, 120.0f, -32768, 0},
      {16, kNan, 5, 32767},  // what is not a number is full scale
      {24, kNan, -5, -1},
      {16, kInf, 0, 32767},  // 0 * infinity is not a number either
      {16, kInf, -5, -32768},
      {16, -kInf, -5, 0},
  };
  for (const auto& r : rows) {
    CAPTURE(r.bit_rate);
    CAPTURE(r.gain_dB);
    CAPTURE(r.in);
    Record record = plain_record(1, r.bit_rate);
    record[20] = r.gain_dB;
    CHECK(processed(record, Pcm(9, static_cast<int16_t>(r.in)), 1) == Pcm(9, static_cast<int16_t>(r.out)));
  }
}

TEST_CASE("input and output may be one buffer, or overlap") {
  constexpr int kFrames = 333;
  Record record = plain_record();
  record[20] = record[25] = -3.0f;
  const Pcm input = support::noise_pcm(kFrames * 2);
  const Pcm expected = processed(record, input, 2);
  for (int shift : {0, 1, 100, -1}) {
    CAPTURE(shift);
    Pcm buffer(input.size() + 101);
    int16_t* const from = buffer.data() + 1;
    std::copy(input.begin(), input.end(), from);
    AudioPostState* chain = AudioPost_Init(record.data(), kFrames);
    AudioPost_Process(chain, from, from + shift, 2, kFrames);
    AudioPost_Destroy(chain);
    CHECK(Pcm(from + shift, from + shift + input.size()) == expected);
  }
}

TEST_CASE("every channel takes its own gain, or the first one's when linked; the hint counts for nothing") {
  const struct {
    int channels;
    float link;
    std::vector<double> gains_dB;  // what the channels are to get; indices 20, 25, 30, … hold 0, -20, -40, …
  } rows[] = {
      {1, 0, {0}},
      {2, 0, {0, -20}},
      {2, 1, {0, 0}},
      {2, -1, {0, 0}},
      {2, 0.9f, {0, -20}},         // truncated: not linked
      {4, 0, {0, -20, -40, -60}},  // carries on into the AutoGain section
      {5, 2, {0, 0, 0, 0, 0}},
      {7, 0, {0, -20, -40, -60, -80, -80, -80}},
  };
  for (const auto& r : rows) {
    CAPTURE(r.channels);
    CAPTURE(r.link);
    Record record = plain_record(r.channels);
    record[2] = r.link;
    record[3] += 0.9f;
    for (size_t ch = 0; ch < 8; ++ch)
      record[20 + 5 * ch] = -20.0f * static_cast<float>(std::min<size_t>(ch, 4));
    constexpr int kFrames = 50;
    const Pcm input = support::noise_pcm(kFrames * r.channels);
    Pcm output(input.size());
    AudioPostState* chain = AudioPost_Init(record.data(), kFrames);
    AudioPost_Process(chain, input.data(), output.data(), 1, kFrames);
    AudioPost_Destroy(chain);
    for (size_t i = 0; i < input.size(); ++i) {
      const double gain = std::pow(10.0, r.gains_dB[i % r.gains_dB.size()] / 20.0);
      // Within a rounding of the product, which may fall on either side of an integer.
      CHECK(std::abs(output[i] - std::trunc(input[i] * gain)) <= (gain == 1.0 ? 0 : 1));
    }
  }
}

TEST_CASE("channel counts below one and blocks without frames write nothing") {
  const struct { int channels, frames; } rows[] = {{0, 10}, {-3, 10}, {2, 0}, {2, -5}};
  for (const auto& r : rows) {
    CAPTURE(r.channels);
    CAPTURE(r.frames);
    AudioPostState* chain = AudioPost_Init(plain_record(r.channels).data(), r.frames);
    REQUIRE(chain);
    AudioPost_Process(chain, nullptr, nullptr, r.channels, r.frames);
    AudioPost_Destroy(chain);
  }
  int16_t sample = 5;
  AudioPost_Process(nullptr, &sample, &sample, 1, 1);
  CHECK(sample == 5);
  AudioPost_Destroy(nullptr);
}

TEST_CASE("a version is taken within 0.0001 of 2.0") {
  for (float version : {2.0f, 2.00005f, 1.99995f, kNan}) {
    CAPTURE(version);
    Record record = plain_record();
    record[4] = version;
    CHECK(processed(record, {1, 2}, 2) == Pcm{1, 2});
  }
  for (float version : {2.0002f, 1.9998f, 0.0f, 1.0f, -2.0f, kInf}) {
    CAPTURE(version);
    Record record = plain_record();
    record[4] = version;
    record[1] = 17;  // the version is looked at first
    const std::string log = log_of_refusal(record.data(), 64);
    CHECK(logged(log, "AudioPost_Init", kWrongVersion));
    CHECK(!logged(log, "AudioPost_Init", "bit_rate is wrong!\n"));
  }
}

TEST_CASE("bit rates are truncated, and others than 16, 24 and 32 refused") {
  for (float bit_rate : {16.9f, 24.0f, 32.5f}) {
    Record record = plain_record();
    record[1] = bit_rate;
    CHECK(processed(record, {1, 2}, 2) == Pcm{1, 2});
  }
  for (float bit_rate : {0.0f, 8.0f, 15.999f, 17.0f, -16.0f, 64.0f, kNan, kInf}) {
    CAPTURE(bit_rate);
    Record record = plain_record();
    record[1] = bit_rate;
    CHECK(logged(log_of_refusal(record.data(), 64), "AudioPost_Init", "bit_rate is wrong!\n"));
  }
}

TEST_CASE("no record and sizes that cannot be served give null") {
  CHECK(
      logged(log_of_refusal(nullptr, 64), "AudioPost_Init", "Param is None,EQ_DRC will not be inited \n\n"));
  const struct {
    float channels;
    int frames;
  } rows[] = {{1e6f, 480}, {1e30f, 1}, {kInf, 1}, {2, 1 << 30}, {1024, 1 << 20}};
  for (const auto& r : rows) {
    CAPTURE(r.channels);
    Record record = plain_record();
    record[3] = r.channels;
    const std::string log = log_of_refusal(record.data(), r.frames);
    CHECK(support::count_logged(log, "AudioPost_Init", "") == 1);  // the banner, and no more
  }
}

TEST_CASE("the banner comes first, whatever follows, and tells version, date and time") {
  const Record record = plain_record();
  for (const float* param : {record.data(), static_cast<const float*>(nullptr)}) {
    const std::string log = in_child([&] { AudioPost_Destroy(AudioPost_Init(param, 64)); }).err;
    CHECK(support::count_logged(log, "AudioPost_Init",
                                "ZELK_AudioEffect-RELEASE-VERSION 2.00,  RELEASE DATE ") == 1);
    char month[4] = "", end[3] = "";
    int day = 0, year = 0, hour = -1, minute = -1, second = -1;
    CHECK(std::sscanf(log.c_str(),
                      "LOG (AudioPost_Init(): ,%*d), %*s %*s  RELEASE DATE %3s %2d %4d, %2d:%2d:%2d%2[ \n]",
                      month, &day, &year, &hour, &minute, &second, end) == 7);
    CHECK(std::string("JanFebMarAprMayJunJulAugSepOctNovDec").find(month) % 3 == 0);
    CHECK((day >= 1 && day <= 31 && year >= 1970 && hour >= 0 && hour < 24 && minute >= 0 && second >= 0));
  }
}

TEST_CASE("a block of another length ends the process") {
  for (int frames : {63, 65, 0, -64}) {
    CAPTURE(frames);
    const auto child = in_child([&] {
      Pcm block(130);
      AudioPost_Process(AudioPost_Init(plain_record().data(), 64), block.data(), block.data(), 2, frames);
    });
    CHECK(child.status == kExitMinusOne);
    CHECK(logged(child.err, "AudioPost_Process", "error, swFrmLen is wrong!\n\n"));
  }
}

TEST_CASE("an effect is created for any flag but 0, and runs at exactly 1") {
  const struct {
    float flag;
    bool created, runs;
  } rows[] = {{0, false, false}, {0.9f, false, false}, {1, true, true},     {1.9f, true, true},
              {2, true, false},  {-1, true, false},    {kInf, true, false}, {kNan, false, false}};
  const Pcm input = support::noise_pcm(200);
  for (const auto& r : rows) {
    CAPTURE(r.flag);
    Record record = plain_record();
    record[2] = 1;
    record[14] = r.flag;
    const float band[5] = {1, 6, 500, 0, 0};  // a low-pass
    std::copy(band, band + 5, record.begin() + 100);
    const auto child = in_child([&] { std::exit(processed(record, input, 2) == input ? 0 : 1); });
    CHECK((child.err.find("(EQ10_PrintPara()") != std::string::npos) == r.created);
    CHECK(child.status == (r.runs ? 1 : 0));
  }
}

TEST_CASE("Agc and Maximizer are two modes of one effect, which exists when either is wanted") {
  for (int flags = 0; flags < 4; ++flags) {
    CAPTURE(flags);
    Record record = plain_record();
    record[16] = static_cast<float>(flags & 1);
    record[17] = static_cast<float>(flags >> 1);
    const auto child = in_child([&] { AudioPost_Destroy(AudioPost_Init(record.data(), 64)); });
    CHECK((child.err.find("(Maximizer_PrintPara()") != std::string::npos) == (flags != 0));
  }
}
