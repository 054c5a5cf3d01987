// Retuning a running chain.
#include <unistd.h>

#include "full_record.h"
#include "modules.h"

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

TEST_CASE("GetPara returns the header, the gains, and in their sections what the effects report") {
  Record record = full_record();
  record[31] = 800.5f, record[33] = 400.9f;
  Record expected;
  expected.fill(-7777.0f);
  for (size_t i : {0, 1, 2, 3, 4, 10, 11, 12, 13, 14, 15, 16, 17, 20, 25}) expected[i] = record[i];
  for (const Module& m : kModule) {
    const auto section = size_t(m.section);
    void* const effect = m.init(&record[section], {16, 48000, 2, kFrames, 0});
    m.get_para(effect, &expected[section]);
    m.destroy(effect);
  }
  CHECK(settings(chain_of(record)) == expected);
}

TEST_CASE("GetPara of a linked chain writes both channels' gains, and leaves alone effects whose flag is 0") {
  Record record = plain_record();
  record[2] = 1, record[20] = -4, record[25] = 9;
  const Record got = settings(chain_of(record));
  for (size_t i : {20, 25}) CHECK(got[i] == -4.0f);
  for (size_t i : {5, 18, 21, 30, 60, 80, 90, 100, 200, 400}) CHECK(got[i] == -7777.0f);
}

TEST_CASE("an effect turned on by SetPara is created unprinted, and turned off it keeps its state") {
  const auto pcm = noise_pcm(4 * kFrames * 2);
  Record on = plain_record();
  on[14] = 1;
  for (int section : {100, 150}) put(on, section, {1, GeneralLP, 300, 0.7f, 0});
  const auto log = in_child([&] { retune(chain_of(plain_record()), on); }).err;
  CHECK(log.find("EQ10_PrintPara") == std::string::npos);

  const Chain chain = chain_of(on), reference = chain_of(on);
  CHECK(process(chain, pcm) == process(reference, pcm));
  Record off = on;
  off[14] = 0, off[102] = 5000;
  retune(chain, off);
  CHECK(process(chain, pcm) == pcm);
  CHECK(settings(chain)[100] == -7777.0f);
  std::vector<float> section(100);
  AudioPost_EQ10_GetPara(chain.get(), section.data());
  CHECK(section[2] == on[102]);
  retune(chain, on);
  CHECK(process(chain, pcm) == process(reference, pcm));  // the filters go on from where they stood
}

TEST_CASE("SetPara with a wrong version stores the header and nothing else") {
  const Chain chain = chain_of(full_record());
  Record wrong = plain_record(1, 24, 44100), expected = settings(chain);
  wrong[2] = 1, wrong[4] = 1.0f, wrong[20] = 20;
  std::copy_n(wrong.begin(), 5, expected.begin());
  expected[25] = -7777.0f;  // mono now
  const auto outcome = in_child([&] {
    retune(chain, wrong);
    if (settings(chain) != expected) _exit(1);
  });
  CHECK(outcome.status == 0);
  CHECK(logged_by(outcome.err, "AudioPost_SetPara") ==
        "The Version of Tuning Tool is Wrong, you should use version 2.00!\n");
}

TEST_CASE("every way a control function can fail has its message and its effect") {
  const Chain owner = chain_of(plain_record());
  AudioPostState* const plain = owner.get();
  Record room = full_record();
  const struct {
    const char *function, *message;
    std::function<void()> call;
    int status = kExitMinusOne;
  } rows[] = {
      {"EQ10_GetPara", "error, EQ10 doesn't init!\n\n", [&] { AudioPost_EQ10_GetPara(plain, room.data()); }},
      {"MultiBandDRC_Crossover_AdjustPara", "error, MBDRC doesn't init!\n\n",
       [&] { AudioPost_MultiBandDRC_Crossover_AdjustPara(plain, 0, 1, 2, 3, 4, 5, 6); }},
      {"MultiBandDRC_DRC_AdjustPara", "error, MBDRC doesn't init!\n\n",
       [&] { AudioPost_MultiBandDRC_DRC_AdjustPara(plain, 0, 0, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9); }},
      {"Maximizer_AdjustPara", "error, Maximizer doesn't init!\n\n",
       [&] { AudioPost_Maximizer_AdjustPara(plain, 0, -3, -1, 10); }},
      {"Agc_AdjustPara", "error, Agc doesn't init!\n\n",
       [&] { AudioPost_Agc_AdjustPara(plain, 0, 1, 2, 3, 4, 5, 6, 7, 8); }},
      {"SetPara", "error, swFrmLen is wrong!\n\n",
       [&] { AudioPost_SetPara(plain, room.data(), kFrames + 1); }},
      {"GetPara", "error, EQ_DRC doesn't init!\n\n", [&] { AudioPost_GetPara(nullptr, room.data()); }, 0},
      {"", "",  // what is answered with silence
       [&] {
         AudioPost_SetPara(nullptr, room.data(), kFrames);
         AudioPost_SetPara(plain, nullptr, kFrames);
         AudioPost_EQ10_SetPara(plain, room.data() + 100);  // flag 0
         if (AudioPost_EQ10_GetData(plain, nullptr, nullptr) != 0) _exit(1);
       },
       0},
  };
  for (const auto& r : rows) {
    CAPTURE(r.function);
    const auto outcome = in_child(r.call);
    CHECK(outcome.status == r.status);
    CHECK(logged_by(outcome.err, std::string("AudioPost_") + r.function) == r.message);
    CHECK(outcome.err.empty() == !*r.message);
  }
}

TEST_CASE("the narrow wrappers reach the effect they name") {
  const Chain chain = chain_of(full_record());
  Record expected = settings(chain);
  std::vector<float> section(100);
  AudioPost_EQ10_GetPara(chain.get(), section.data());
  section[2] = 1234.0f;  // channel 0, band 0
  AudioPost_EQ10_SetPara(chain.get(), section.data());
  put(expected, 102, {1234});
  AudioPost_MultiBandDRC_Crossover_AdjustPara(chain.get(), 1, 101, 102, 103, 104, 105, 106);
  put(expected, 311, {101}), put(expected, 330, {103, 104}), put(expected, 350, {105, 106});
  AudioPost_MultiBandDRC_DRC_AdjustPara(chain.get(), 1, 1, 0, 3, -21, -51, -71, 5, -4, 11, 111, 7);
  put(expected, 370, {102});  // channel 1, band 1 is the high band
  put(expected, 374, {-21, -51, -71, 5, -4, 11, 111, 7});
  AudioPost_Maximizer_AdjustPara(chain.get(), 1, -4, -2, 33);
  put(expected, 420, {-4, -2, 33});
  AudioPost_Agc_AdjustPara(chain.get(), 0, -22, -44, -66, 7, -1.5f, 222, 444, 5);
  put(expected, 403, {-22, -44, -66, 7, -1.5f, 222, 444, 5});
  CHECK(settings(chain) == expected);
}

TEST_CASE("the equalizer's own calls take any flag but 0, and 100 floats for any number of channels") {
  for (float flag : {2.0f, -1.0f}) {
    CAPTURE(flag);
    Record record = plain_record(3);
    record[14] = flag;
    const Chain chain = chain_of(record);
    std::vector<float> given(150, 1.0f), got(150, -7777.0f);
    AudioPost_EQ10_SetPara(chain.get(), given.data());
    AudioPost_EQ10_GetPara(chain.get(), got.data());
    for (size_t i = 0; i < 150; ++i) {
      CHECK(settings(chain)[100 + i] == (i < 100 ? 1.0f : 0.0f));
      CHECK(got[i] == (i < 100 ? 1.0f : -7777.0f));
    }
  }
}

TEST_CASE("a record that changes channels or bit rate in mid-stream leaves memory intact") {
  const int rows[][2] = {{1, 16}, {3, 16}, {4, 16}, {-3, 16}, {2000000000, 16}, {2, 20}, {2, 24}};
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

    const Chain late = chain_of(plain_record());
    retune(late, after);  // creates an equalizer for the new count, which the buffers do not have
    process(late, pcm);
    if (r[0] > 2) CHECK(AudioPost_EQ10_GetData(late.get(), nullptr, nullptr) == 0);
  }
}
