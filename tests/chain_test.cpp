// The chain's frame: how PCM becomes float and back, what it reads from the record, and how it fails.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "full_record.h"

using Pcm = std::vector<int16_t>;

using namespace support;

namespace {

// One block through a new chain.
Pcm processed(const Record& record, const Pcm& input, int channels) {
  const int frames = int(input.size()) / channels;
  const Chain chain = chain_of(record.data(), frames);
  REQUIRE(chain);
  Pcm output(input.size(), 77);
  AudioPost_Process(chain.get(), input.data(), output.data(), channels, frames);
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
      {24, 20.0f, 4000, -25536},  // 40000 lies within 24 bits; its low 16 bits are 40000 - 65536
      {24, 40.0f, 32767, -100},   // 3276700 = 50 * 65536 - 100
      {24, 60.0f, 32767, -1},     // clamped to 0x7fffff
      {24, 60.0f, -32768, 0},     // clamped to -0x800000
      {32, 120.0f, 32767, -1},    // beyond 32 bits: 0x7fffffff
      {32, 120.0f, -32768, 0},
      {16, NAN, 5, 32767},       // what is not a number is full scale
      {16, INFINITY, 0, 32767},  // 0 * infinity is not a number either
  };
  for (const auto& r : rows) {
    CAPTURES(r.bit_rate, r.gain_dB, r.in);
    Record record = plain_record(1, r.bit_rate);
    record[20] = r.gain_dB;
    CHECK(processed(record, Pcm(9, static_cast<int16_t>(r.in)), 1) == Pcm(9, static_cast<int16_t>(r.out)));
  }
}

TEST_CASE("input and output may be one buffer, or overlap") {
  constexpr int kFrames = 333;
  Record record = plain_record();
  record[20] = record[25] = -3.0f;
  const Pcm input = noise_pcm(kFrames * 2);
  const Pcm expected = processed(record, input, 2);
  for (int shift : {0, 1, 100, -1}) {
    CAPTURE(shift);
    Pcm buffer(input.size() + 101);
    int16_t* const from = buffer.data() + 1;
    std::copy(input.begin(), input.end(), from);
    AudioPost_Process(chain_of(record.data(), kFrames).get(), from, from + shift, 2, kFrames);
    CHECK(Pcm(from + shift, from + shift + input.size()) == expected);
  }
}

TEST_CASE("every channel takes its own gain, or the first one's when linked") {
  const struct {
    int channels;
    float link;
    int steps;  // what the channels are to get: 0, -20, -40, … dB, up to so many steps down
  } rows[] = {{1, 0, 0}, {2, 0, 1}, {2, 1, 0}, {2, -1, 0}, {2, 0.9f, 1},  // truncated: not linked
              {4, 0, 3},  // carries on into the AutoGain section
              {5, 2, 0}, {7, 0, 4}};
  for (const auto& r : rows) {
    CAPTURES(r.channels, r.link);
    Record record = plain_record(r.channels);
    record[2] = r.link;
    record[3] += 0.9f;
    for (size_t ch = 0; ch < 8; ++ch) record[20 + 5 * ch] = -20.0f * float(std::min<size_t>(ch, 4));
    const Pcm input = noise_pcm(50 * r.channels);
    Pcm output(input.size());
    // The channel count of the call is a hint, and counts for nothing.
    AudioPost_Process(chain_of(record.data(), 50).get(), input.data(), output.data(), 1, 50);
    for (size_t i = 0; i < input.size(); ++i) {
      const int steps = std::min(int(i) % r.channels, r.steps);
      // Within a rounding of the product, which may fall on either side of an integer.
      CHECK(std::abs(output[i] - std::trunc(input[i] * std::pow(10.0, -steps))) <= (steps > 0));
    }
  }
}

TEST_CASE("channel counts below one and blocks without frames write nothing") {
  const struct { int channels, frames; } rows[] = {{0, 10}, {-3, 10}, {2, 0}, {2, -5}};
  for (const auto& r : rows) {
    CAPTURES(r.channels, r.frames);
    const Chain chain = chain_of(plain_record(r.channels).data(), r.frames);
    REQUIRE(chain);
    AudioPost_Process(chain.get(), nullptr, nullptr, r.channels, r.frames);
  }
  int16_t sample = 5;
  AudioPost_Process(nullptr, &sample, &sample, 1, 1);
  CHECK(sample == 5);
  AudioPost_Destroy(nullptr);
}

TEST_CASE("a version is taken within 0.0001 of 2.0, a bit rate cut to an integer, and others are refused") {
  const char version[] = "The Version of Tuning Tool is Wrong, you should use version 2.00!\n";
  const char bit_rate[] = "bit_rate is wrong!\n";
  const struct {
    size_t index;
    const char* message;
    std::vector<float> taken, refused;
  } rows[] = {{4, version, {2.0f, 2.00005f, 1.99995f, NAN}, {2.0002f, 1.9998f, 0, 1, -2, INFINITY}},
              {1, bit_rate, {16.9f, 24, 32.5f}, {0, 8, 15.999f, 17, -16, 64, NAN, INFINITY}}};
  for (const auto& r : rows) {
    Record record = plain_record();
    for (float value : r.taken) {
      CAPTURE(value);
      record[r.index] = value;
      CHECK(processed(record, {1, 2}, 2) == Pcm{1, 2});
    }
    if (r.index == 4) record[1] = 17;  // the version is looked at first
    for (float value : r.refused) {
      CAPTURE(value);
      record[r.index] = value;
      const std::string log = log_of_refusal(record.data(), 64);
      CHECK(logged(log, "AudioPost_Init", r.message));
      CHECK(count_logged(log, "AudioPost_Init", "") == 2);  // the banner, and this
    }
  }
}

TEST_CASE("no record and sizes that cannot be served give null") {
  const std::string none = log_of_refusal(nullptr, 64);
  CHECK(logged(none, "AudioPost_Init", "Param is None,EQ_DRC will not be inited \n\n"));
  const struct {
    float channels;
    int frames;
  } rows[] = {{1e6f, 480}, {1e30f, 1}, {INFINITY, 1}, {2, 1 << 30}, {1024, 1 << 20}};
  for (const auto& r : rows) {
    CAPTURE(r.channels);
    Record record = plain_record();
    record[3] = r.channels;
    CHECK(count_logged(log_of_refusal(record.data(), r.frames), "AudioPost_Init", "") == 1);  // the banner
    // An effect made for two channels has its word all the same.
    record[AUDIOPOST_AUTOGAIN_ENABLE] = record[AUDIOPOST_DEESSER_ENABLE] = 1;
    const auto child = in_child([&] { chain_of(record.data(), r.frames); });
    CHECK(child.status == (r.channels > 2 ? kExitMinusOne : 0));
    CHECK(logged(child.err, "DeEsser_Init", "Too Many Channel!\n\n") == (r.channels > 2));
  }
  CHECK(chain_of(plain_record(1024).data(), 64));
}

TEST_CASE("the banner comes first, whatever follows, and tells version, date and time") {
  const Record record = plain_record();
  for (const float* param : {record.data(), static_cast<const float*>(nullptr)}) {
    const std::string log = in_child([&] { chain_of(param, 64); }).err;
    char month[4] = "", end[3] = "";
    int day = 0, year = 0, hour = -1, minute = -1, second = -1;
    CHECK(std::sscanf(log.c_str(),
                      "LOG (AudioPost_Init(): ,%*d), ZELK_AudioEffect-RELEASE-VERSION 2.00,  RELEASE DATE "
                      "%3s %2d %4d, %2d:%2d:%2d%2[ \n]",
                      month, &day, &year, &hour, &minute, &second, end) == 7);
    CHECK(std::string("JanFebMarAprMayJunJulAugSepOctNovDec").find(month) % 3 == 0);
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
  } rows[] = {{0, false, false}, {0.9f, false, false}, {1, true, true},         {1.9f, true, true},
              {2, true, false},  {-1, true, false},    {INFINITY, true, false}, {NAN, false, false}};
  const Pcm input = noise_pcm(200);
  for (const auto& r : rows) {
    CAPTURE(r.flag);
    Record record = plain_record();
    record[2] = 1;
    record[14] = r.flag;
    put(record, 100, {1, GeneralLP, 500, 0, 0});
    const auto child = in_child([&] { std::exit(processed(record, input, 2) == input ? 0 : 1); });
    CHECK((child.err.find("(EQ10_PrintPara()") != std::string::npos) == r.created);
    CHECK(child.status == (r.runs ? 1 : 0));
  }
  for (size_t flag : {0u, 16u, 17u}) {  // Agc and Maximizer are two modes of one effect
    CAPTURE(flag);
    Record record = plain_record();
    if (flag > 0) record[flag] = 1;
    const auto child = in_child([&] { chain_of(record.data(), 64); });
    CHECK((child.err.find("(Maximizer_PrintPara()") != std::string::npos) == (flag > 0));
  }
}
