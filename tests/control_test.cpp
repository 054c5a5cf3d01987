// Retuning a running chain.
#include <unistd.h>

#include "full_record.h"

using namespace support;

namespace {

constexpr int kFrames = 256;

Chain chain_of(const Record& record) {
  Chain chain = support::chain_of(record.data(), kFrames);
  REQUIRE(chain);
  return chain;
}
void retune(const Chain& chain, const Record& record) {
  AudioPost_SetPara(chain.get(), record.data(), kFrames);
}
Record settings(const Chain& chain) {
  Record r;
  r.fill(-7777.0f);  // shows what GetPara leaves alone
  AudioPost_GetPara(chain.get(), r.data());
  return r;
}
std::vector<int16_t> process(const Chain& chain, const std::vector<int16_t>& pcm) {
  return through_chain(chain.get(), pcm, 2, kFrames);
}

}  // namespace

TEST_CASE("GetPara returns the record that Init was given, but for what effects keep to themselves") {
  Record record = full_record();
  record[31] = 800.5f, record[33] = 400.9f;  // a time, kept as it is, and an integer, truncated
  const Record got = settings(chain_of(record));
  std::vector<bool> expected(AUDIOPOST_PARAM_LENGTH, false);
  const auto range = [&](size_t from, size_t to) {
    std::fill(expected.begin() + from, expected.begin() + to + 1, true);
  };
  range(0, 4), range(10, 17), range(20, 20), range(25, 25), range(30, 34);
  range(60, 65), range(70, 75), range(80, 83), range(85, 88);
  range(95, 96);  // the de-esser's own pattern
  range(100, 199), range(200, 200), range(300, 300), range(400, 410), range(420, 430);
  for (size_t ch = 0; ch < 2; ++ch)
    for (size_t band : {210, 230, 250, 270}) {
      range(band + 100 * ch, band + 100 * ch + 1);  // not the gain and the switch
      range(band + 100 * ch + 4, band + 100 * ch + 11);
    }
  record[33] = 400.0f;
  for (size_t i = 0; i < AUDIOPOST_PARAM_LENGTH; ++i) {
    CAPTURE(i);
    CHECK(got[i] == (expected[i] ? record[i] : -7777.0f));
  }
}

TEST_CASE("GetPara of a linked chain writes both channels' gains, and leaves alone effects whose flag is 0") {
  Record record = plain_record();
  record[2] = 1, record[20] = -4, record[25] = 9;
  const Record got = settings(chain_of(record));
  for (size_t i : {20, 25}) CHECK(got[i] == -4.0f);
  for (size_t i : {5, 18, 21, 30, 60, 80, 90, 100, 200, 400}) CHECK(got[i] == -7777.0f);
}

TEST_CASE("a retuned chain sounds like one that was created with the new record") {
  // Only what SetPara restarts from fresh can be compared: no auto gain, followers or limiter gain.
  Record record = full_record();
  for (size_t flag : {10, 15, 16, 17}) record[flag] = 0;
  const Chain fresh = chain_of(record), retuned = chain_of(plain_record());
  const auto pcm = noise_pcm(8 * kFrames * 2);
  process(retuned, pcm);
  retune(retuned, record);
  CHECK(process(retuned, pcm) == process(fresh, pcm));
}

TEST_CASE("an effect turned on by SetPara is created unprinted; turned off it keeps its state") {
  const auto pcm = noise_pcm(4 * kFrames * 2);
  Record on = plain_record();
  on[14] = 1;
  put(on, 100, {1, GeneralLP, 300, 0.7f, 0});
  put(on, 150, {1, GeneralLP, 300, 0.7f, 0});
  const auto outcome = in_child([&] {
    const Chain chain = chain_of(plain_record());
    retune(chain, on);
  });
  CHECK(outcome.status == 0);
  CHECK(outcome.err.find("EQ10_PrintPara") == std::string::npos);

  const Chain chain = chain_of(on), reference = chain_of(on);
  process(chain, pcm);
  process(reference, pcm);
  Record off = on;
  off[14] = 0;
  retune(chain, off);
  CHECK(process(chain, pcm) == pcm);
  retune(chain, on);
  CHECK(process(chain, pcm) == process(reference, pcm));  // the filters go on from where they stood
}

TEST_CASE("SetPara with a wrong version stores the header and nothing else") {
  const Chain chain = chain_of(full_record());
  Record wrong = plain_record(1, 24, 44100);
  wrong[2] = 1, wrong[4] = 1.0f, wrong[20] = 20;
  const auto outcome = in_child([&] {
    retune(chain, wrong);
    const Record got = settings(chain);
    for (size_t i = 0; i < 5; ++i)
      if (got[i] != wrong[i]) _exit(1);
    if (got[10] != 1.0f || got[20] != -3.0f) _exit(2);
  });
  CHECK(outcome.status == 0);
  CHECK(logged(outcome.err, "AudioPost_SetPara",
               "The Version of Tuning Tool is Wrong, you should use version 2.00!\n"));
}

TEST_CASE("every way a control function can fail has its message and its effect") {
  AudioPostState* plain = AudioPost_Init(plain_record().data(), kFrames);
  Record room = plain_record();
  const Record full = full_record();
  const struct {
    const char *effect, *function;
    std::function<void()> call;
  } rows[] = {
      {"EQ10", "EQ10_GetPara", [&] { AudioPost_EQ10_GetPara(plain, room.data()); }},
      {"MBDRC", "MultiBandDRC_Crossover_AdjustPara",
       [&] { AudioPost_MultiBandDRC_Crossover_AdjustPara(plain, 0, 1, 2, 3, 4, 5, 6); }},
      {"MBDRC", "MultiBandDRC_DRC_AdjustPara",
       [&] { AudioPost_MultiBandDRC_DRC_AdjustPara(plain, 0, 0, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9); }},
      {"Maximizer", "Maximizer_AdjustPara", [&] { AudioPost_Maximizer_AdjustPara(plain, 0, -3, -1, 10); }},
      {"Agc", "Agc_AdjustPara", [&] { AudioPost_Agc_AdjustPara(plain, 0, 1, 2, 3, 4, 5, 6, 7, 8); }},
  };
  for (const auto& r : rows) {
    CAPTURE(r.function);
    const auto outcome = in_child(r.call);
    CHECK(outcome.status == kExitMinusOne);
    const std::string message = std::string("error, ") + r.effect + " doesn't init!\n\n";
    CHECK(logged(outcome.err, std::string("AudioPost_") + r.function, message));
  }
  const auto none = in_child([&] { AudioPost_GetPara(nullptr, room.data()); });
  CHECK(none.status == 0);
  CHECK(logged(none.err, "AudioPost_GetPara", "error, EQ_DRC doesn't init!\n\n"));
  const auto length = in_child([&] { AudioPost_SetPara(plain, full.data(), kFrames + 1); });
  CHECK(length.status == kExitMinusOne);
  CHECK(logged(length.err, "AudioPost_SetPara", "error, swFrmLen is wrong!\n\n"));
  // What is answered with silence.
  const auto silent = in_child([&] {
    AudioPost_SetPara(nullptr, full.data(), kFrames);
    AudioPost_SetPara(plain, nullptr, kFrames);
    AudioPost_EQ10_SetPara(plain, full.data() + 100);  // flag 0
    if (AudioPost_EQ10_GetData(plain, nullptr, nullptr) != 0) _exit(1);
  });
  CHECK(silent.status == 0);
  CHECK(silent.err.empty());
  AudioPost_Destroy(plain);
}

TEST_CASE("the narrow wrappers reach the effect they name") {
  const Chain chain = chain_of(full_record());
  std::vector<float> section(100);
  AudioPost_EQ10_GetPara(chain.get(), section.data());
  section[2] = 1234.0f;  // channel 0, band 0
  AudioPost_EQ10_SetPara(chain.get(), section.data());
  AudioPost_MultiBandDRC_Crossover_AdjustPara(chain.get(), 1, 101, 102, 103, 104, 105, 106);
  AudioPost_MultiBandDRC_DRC_AdjustPara(chain.get(), 1, 1, 0, 3, -21, -51, -71, 5, -4, 11, 111, 7);
  AudioPost_Maximizer_AdjustPara(chain.get(), 1, -4, -2, 33);
  AudioPost_Agc_AdjustPara(chain.get(), 0, -22, -44, -66, 7, -1.5f, 222, 444, 5);
  const Record got = settings(chain);
  const struct {
    int index;
    std::vector<float> values;
  } rows[] = {
      {102, {1234}},
      {311, {101}},
      {370, {102}},
      {330, {103, 104}},
      {350, {105, 106}},                          // channel 1's edges
      {374, {-21, -51, -71, 5, -4, 11, 111, 7}},  // channel 1, band 1 is the high band
      {420, {-4, -2, 33}},
      {403, {-22, -44, -66, 7, -1.5f, 222, 444, 5}},
  };
  for (const auto& r : rows)
    for (size_t i = 0; i < r.values.size(); ++i) {
      CAPTURE(r.index + static_cast<int>(i));
      CHECK(got[static_cast<size_t>(r.index) + i] == r.values[i]);
    }
  CHECK(got[211] == full_record()[211]);  // channel 0 is not linked
  CHECK(got[400] == full_record()[400]);
}

TEST_CASE("a record that changes channels or bit rate in mid-stream leaves memory intact") {
  const int rows[][2] = {{1, 16}, {4, 16}, {-3, 16}, {2000000000, 16}, {2, 20}, {2, 24}};
  const auto pcm = noise_pcm(4 * kFrames * 2);
  for (const auto& r : rows) {
    CAPTURES(r[0], r[1]);
    Record before = plain_record(), after = plain_record(r[0], r[1]);
    before[14] = after[10] = after[14] = 1;  // both take any number of channels; auto gain is created now
    put(after, 30, {-18, 800, 400, 400, 100});
    const Chain chain = chain_of(before);
    retune(chain, after);
    process(chain, pcm);
    settings(chain);
    retune(chain, before);
    CHECK(process(chain, pcm) == pcm);  // auto gain is off again
  }
}
