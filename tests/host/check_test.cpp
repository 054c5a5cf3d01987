// The checker against the chain itself.
#include "host/check.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <set>
#include <sstream>

#include "host/fields.h"
#include "support.h"

using host::Finding;
using host::Record;
using host::Severity;

namespace {

constexpr int kBlocks[] = {64, 480, 1024};

struct Case {
  Record record;
  int block;
  std::vector<Finding> findings;
};

// ---- What the chain does ---------------------------------------------------------------------------
// Three blocks of noise; true unless AudioPost_Init failed.
bool run(const Case& c) {
  const support::Chain chain = support::chain_of(c.record.data(), c.block);
  if (!chain) return false;
  const int channels = std::max(host::field_as_int(c.record, AUDIOPOST_CHANNELS), 1);
  support::through_chain(chain.get(), support::noise_pcm(3 * channels * c.block), channels, c.block);
  return true;
}

// What stands in a log beyond the banner and the listings of settings.
std::set<std::string> complaints(const std::string& log) {
  std::set<std::string> all;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    const size_t text = line.find("), ");
    if (!line.empty() && line.find("_PrintPara(): ,") == std::string::npos &&
        line.find("ZELK_AudioEffect-RELEASE-VERSION") == std::string::npos)
      all.insert(text == std::string::npos ? line : line.substr(text + 3));
  }
  return all;
}

std::set<std::string> predicted(const Case& c) {
  std::set<std::string> all;
  for (const Finding& f : c.findings)
    if (!f.message.empty()) all.insert(f.message);
  return all;
}

// ---- Records ---------------------------------------------------------------------------------------
// A record with every effect on that the chain takes without a word.
Record everything_on() {
  static const Record tv = host::preset("tv");  // read once: ten thousand records start from it
  Record record = tv;
  for (size_t flag = 10; flag < 18; ++flag) record[flag] = 1.0f;
  return record;
}

float near(std::mt19937& random, float value) {
  constexpr float kInf = INFINITY, kNan = NAN;
  const float pick[] = {0, -1, 1, 2, 3, 5, 9, 1e-30f, 1e9f, -1e12f, -0.0f, kInf, -kInf, kNan};
  const float scaled = value * float(random() % 300) * 0.01f;
  const float near[] = {pick[random() % std::size(pick)], -value, value + float(random() % 1000) * 0.01f,
                        scaled, scaled};
  return near[random() % std::size(near)];
}

Case random_case(uint32_t seed) {
  std::mt19937 random(seed);
  Case c{everything_on(), kBlocks[random() % std::size(kBlocks)], {}};
  for (size_t flag = 10; flag < 18; ++flag) c.record[flag] = float(random() % 2);
  c.record[AUDIOPOST_CHANNELS] = float(random() % 8 ? 1 + random() % 2 : random() % 7);
  c.record[AUDIOPOST_CHANNEL_LINK] = float(random() % 4 != 0);
  for (int i = int(random() % 20); i > 0; --i) {
    const std::vector<host::Table>& all = host::tables();
    const host::Table& table = all[random() % all.size()];
    const auto index = size_t(table.fields[random() % table.fields.size()].index);
    c.record[index] = near(random, c.record[index]);
  }
  c.findings = host::check(c.record, c.block);
  return c;
}

std::string told(const Case& c) {
  std::string text = "block " + std::to_string(c.block) + "\n";
  for (const Finding& f : c.findings) text += f.where + ": " + f.text + " [" + f.message + "]\n";
  return text + host::to_text(c.record);
}

}  // namespace

TEST_CASE("what the checker passes runs without a word, and it knows every complaint of what it rejects") {
  const std::string mark = "==== next ====\n";
  int silent = 0, complained = 0, rejected = 0;
  for (uint32_t seed = 0; seed < 10000;) {
    std::vector<Case> usable;  // these share a child
    for (const uint32_t end = seed + 250; seed < end; ++seed) {
      const Case c = random_case(seed);
      if (!host::unusable(c.findings)) {
        usable.push_back(c);
        continue;
      }
      ++rejected;
      const support::Outcome outcome = support::in_child([&] {
        std::atexit([] { _exit(support::kExitMinusOne); });  // no search for leaks in every process that ends
        if (!run(c)) _exit(1);                               // a null handle
      });
      const std::set<std::string> said = complaints(outcome.err), expected = predicted(c);
      if (outcome.status == 0 || outcome.signal != 0 ||
          !std::includes(expected.begin(), expected.end(), said.begin(), said.end()))
        FAIL(outcome.err << told(c));
    }
    const support::Outcome outcome = support::in_child([&] {
      for (const Case& c : usable) std::fputs(((run(c) ? "" : "null\n") + mark).c_str(), stderr);
    });
    size_t at = 0;
    for (const Case& c : usable) {
      const size_t end = outcome.err.find(mark, at);
      if (end == std::string::npos || complaints(outcome.err.substr(at, end - at)) != predicted(c))
        FAIL(outcome.err.substr(at) << told(c));
      ++(predicted(c).empty() ? silent : complained);
      at = end + mark.size();
    }
  }
  CHECK(silent > 3000);
  CHECK(complained > 500);
  CHECK(rejected > 1000);
}

// ---- Each rule at its bound ------------------------------------------------------------------------
namespace {

constexpr auto kFatal = Severity::fatal, kUnstable = Severity::unstable, kWarning = Severity::warning,
               kNote = Severity::note;
constexpr float kInf = INFINITY;

// Indices of channel 0.
constexpr int kLinked = AUDIOPOST_CHANNEL_LINK, kChannelCount = AUDIOPOST_CHANNELS,
              kGain = AUDIOPOST_GAIN_SECTION, kAuto = AUDIOPOST_AUTOGAIN_SECTION,
              kBass = AUDIOPOST_BASS_SECTION, kExciter = AUDIOPOST_EXCITER_SECTION,
              kDeEsser = AUDIOPOST_DEESSER_SECTION,
              kBell = AUDIOPOST_EQ10_SECTION + AUDIOPOST_EQ10_BAND_STRIDE,  // band 1
    kShelf = AUDIOPOST_EQ10_SECTION + 3 * AUDIOPOST_EQ10_BAND_STRIDE,       // band 3
    kDrc = AUDIOPOST_DRC_SECTION, kLow = kDrc + AUDIOPOST_DRC_LOW, kMid1 = kDrc + AUDIOPOST_DRC_MID1,
              kMid2 = kDrc + AUDIOPOST_DRC_MID2, kPeak = AUDIOPOST_MAXIMIZER_SECTION;

using Settings = std::vector<std::pair<int, float>>;
Settings with() { return {}; }
template <class... Rest>
Settings with(int index, double value, Rest... rest) {
  Settings all = with(rest...);
  all.emplace_back(index, float(value));
  return all;
}

struct Bound {
  int rule;
  Severity severity;
  int index;
  float inside, outside;  // passed, and found
  std::string text;       // of the second
  Settings among = {};    // beside it
  int block = 1024;
};

const Finding* found(const std::vector<Finding>& findings, int rule, Severity severity) {
  for (const Finding& f : findings)
    if (f.cause.rule == rule && f.severity == severity) return &f;
  return nullptr;
}

std::vector<Finding> findings_with(const Bound& b, float value) {
  Record record = everything_on();
  for (const auto& [index, setting] : b.among) record[size_t(index)] = setting;
  record[size_t(b.index)] = value;
  return host::check(record, b.block);
}

void holds(const Bound& b) {
  CAPTURES(b.index, b.inside, b.outside, b.text);
  CHECK(!found(findings_with(b, b.inside), b.rule, b.severity));
  const std::vector<Finding> findings = findings_with(b, b.outside);
  const Finding* const f = found(findings, b.rule, b.severity);
  REQUIRE(f);
  CHECK(f->where + ": " + f->text == b.text);
  CHECK(f->cause.index[0] == b.index);
  CHECK((host::refusal(findings) != nullptr) >= (b.severity >= kUnstable));
}

float above(float bound) { return std::nextafter(bound, kInf); }
float below(float bound) { return std::nextafter(bound, -kInf); }

}  // namespace

TEST_CASE("every rule passes what lies inside its bound and tells of what lies outside, in a tuner's words") {
  const Bound rows[] = {
      // Any field.
      {AUDIOPOST_RULE_NOT_FINITE, kUnstable, kAuto, -18, kInf,
       "AutoGain: target_i_dB is infinite; the chain would play noise or nothing"},
      {AUDIOPOST_RULE_NOT_FINITE, kUnstable, kPeak + AUDIOPOST_MAXIMIZER_RELEASE, 1, NAN,
       "Maximizer channel 0: release is not a number; the chain would play noise or nothing"},
      {AUDIOPOST_RULE_NOT_FINITE, kWarning, kExciter, 0, -kInf,
       "Exciter channel 0: even_harmonics is infinite; the chain would play noise or nothing",
       with(AUDIOPOST_EXCITER_ENABLE, 2)},
      {AUDIOPOST_RULE_TRUNCATED, kNote, kBell + AUDIOPOST_EQ10_TYPE, 1, 1.5f,
       "EQ10 channel 0 band 1: type 1.5 is read as the integer 1"},
      {AUDIOPOST_RULE_GAIN_TOO_HIGH, kUnstable, kGain, 650, 651,
       "chain channel 0: gain_dB 651 dB is more than a float can hold; the chain would play noise"},
      {AUDIOPOST_RULE_GAIN_TOO_HIGH, kUnstable, kBass + AUDIOPOST_BASS_AMOUNT_DB, 650, 1e9f,
       "BassEnhancer channel 0: amount_dB 1e+09 dB is more than a float can hold; the chain would play "
       "noise"},
      {AUDIOPOST_RULE_GAIN_TOO_HIGH, kUnstable, kMid2 + AUDIOPOST_DRC_GAIN_DB, 650, above(650),
       "MultiBandDRC channel 0 mid2 band: gain_dB 650.00006 dB is more than a float can hold; the chain "
       "would "
       "play noise"},
      {AUDIOPOST_RULE_NEVER_RUNS, kWarning, AUDIOPOST_EQ10_ENABLE, 1, 2,
       "EQ10: enable is 2: the chain creates the effect but never runs it; 1 turns it on, 0 off"},
      {AUDIOPOST_RULE_NEVER_RUNS, kWarning, AUDIOPOST_AGC_ENABLE, 0, -1,
       "Agc: enable is -1: the chain creates the effect but never runs it; 1 turns it on, 0 off"},
      {AUDIOPOST_RULE_STEREO_ONLY, kFatal, kChannelCount, 2, 3,
       "BassEnhancer: allows one or two channels and the record has 3; the chain would end the process"},
      {AUDIOPOST_RULE_TIME_NEGATIVE, kUnstable, kAuto + AUDIOPOST_AUTOGAIN_ATTACK_TIME, 0, below(0),
       "AutoGain: attack_time -1e-45 ms is negative; the level would run away"},
      {AUDIOPOST_RULE_TIME_NEGATIVE, kWarning, kLow + AUDIOPOST_DRC_RELEASE_TIME, 0, -1,
       "MultiBandDRC channel 0 low band: release_time -1 ms is negative; the level would run away"},
      {AUDIOPOST_RULE_TIME_NEGATIVE, kUnstable, kPeak + AUDIOPOST_AGC_RELEASE_TIME, 0, -1,
       "Agc channel 0: release_time -1 ms is negative; the level would run away"},
      {AUDIOPOST_RULE_TIME_ZERO, kNote, kPeak + AUDIOPOST_MAXIMIZER_RELEASE, 1e-9f, 0,
       "Maximizer channel 0: release is 0; the change comes at once"},
      {AUDIOPOST_RULE_TIME_LONG, kWarning, kMid2 + AUDIOPOST_DRC_ATTACK_TIME, 44739, 44740,
       "MultiBandDRC channel 0 mid2 band: attack_time 44740 ms is too long at this sample rate; it "
       "overflows"},
      {AUDIOPOST_RULE_HOLD_TIME, kNote, kLow + AUDIOPOST_DRC_HOLD_TIME, 0.9f, 1,
       "MultiBandDRC channel 0 low band: hold_time has no effect"},
      {AUDIOPOST_RULE_HOLD_TIME, kNote, kPeak + AUDIOPOST_AGC_HOLD_TIME, 0, 0.1f,
       "Agc channel 0: hold_time has no effect"},
      // Filters.
      {AUDIOPOST_RULE_FREQUENCY_LOW, kUnstable, kExciter + AUDIOPOST_EXCITER_CUTOFF, 1e-9f, 0,
       "Exciter channel 0: Cutoff 0 Hz is not above 0; its filter would be unstable"},
      {AUDIOPOST_RULE_FREQUENCY_LOW, kWarning, kBell + AUDIOPOST_EQ10_FC, 1e-9f, -1000,
       "EQ10 channel 0 band 1: fc -1000 Hz is not above 0; its filter would be unstable",
       with(AUDIOPOST_EQ10_ENABLE, 2)},
      {AUDIOPOST_RULE_FREQUENCY_HIGH, kUnstable, kBell + AUDIOPOST_EQ10_FC, below(24000), 24000,
       "EQ10 channel 0 band 1: fc 24000 Hz is not below half the sample rate, 24000 Hz; its filter would be "
       "unstable"},
      {AUDIOPOST_RULE_FREQUENCY_HIGH, kUnstable, kBass + AUDIOPOST_BASS_FLOOR, below(24000), 24000,
       "BassEnhancer channel 0: floor 24000 Hz is not below half the sample rate, 24000 Hz; its filter would "
       "be "
       "unstable"},
      {AUDIOPOST_RULE_FREQUENCY_HIGH, kUnstable, kDeEsser, below(24000), 24000,
       "DeEsser channel 0: f0 24000 Hz is not below half the sample rate, 24000 Hz; its filter would be "
       "unstable"},
      {AUDIOPOST_RULE_FREQUENCY_HIGH, kUnstable, kMid2 + AUDIOPOST_DRC_FREQ_END, below(24000), 24000,
       "MultiBandDRC channel 0 mid2 band: freq_end 24000 Hz is not below half the sample rate, 24000 Hz; its "
       "filter would be unstable"},
      {AUDIOPOST_RULE_FREQUENCY_HIGH, kUnstable, kMid1 + AUDIOPOST_DRC_FREQ_START, below(24000), 30000,
       "MultiBandDRC channel 0 mid1 band: freq_start 30000 Hz is not below half the sample rate, 24000 Hz; "
       "its "
       "filter would be unstable"},
      {AUDIOPOST_RULE_FREQUENCY_HIGH, kWarning, kBell + AUDIOPOST_EQ10_FC, below(24000), 24000,
       "EQ10 channel 0 band 1: fc 24000 Hz is not below half the sample rate, 24000 Hz; its filter would be "
       "unstable",
       with(AUDIOPOST_EQ10_ENABLE, 3)},
      {AUDIOPOST_RULE_HARMONICS_HIGH, kUnstable, kBass + AUDIOPOST_BASS_FREQ, below(8000), 8000,
       "BassEnhancer channel 0: three times freq 8000 Hz is not below half the sample rate; the harmonics' "
       "filter would be unstable"},
      {AUDIOPOST_RULE_FILTER_INFINITE, kUnstable, kBell + AUDIOPOST_EQ10_FC, 20000, 23545,
       "EQ10 channel 0 band 1: fc 23545 Hz, Q 5.2 (here octaves): the filter's coefficients are not finite; "
       "the "
       "chain would play noise or nothing",
       with(kBell + AUDIOPOST_EQ10_TYPE, BandPass, kBell + AUDIOPOST_EQ10_Q, 5.2f)},
      {AUDIOPOST_RULE_FILTER_UNSTABLE, kUnstable, kBell + AUDIOPOST_EQ10_FC, 20, 2,
       "EQ10 channel 0 band 1: fc 2 Hz: in single precision the filter has a pole on or outside the unit "
       "circle; it would be unstable",
       with(kBell + AUDIOPOST_EQ10_TYPE, ButterworthLP, kBell + AUDIOPOST_EQ10_BOOST, 0)},
      {AUDIOPOST_RULE_FILTER_UNSTABLE, kUnstable, kMid1 + AUDIOPOST_DRC_FREQ_END, 20, 2,
       "MultiBandDRC channel 0 mid1 band: freq_end 2 Hz: in single precision the filter has a pole on or "
       "outside the unit circle; it would be unstable"},
      {AUDIOPOST_RULE_FILTER_LINGERS, kUnstable, kExciter + AUDIOPOST_EXCITER_CUTOFF, 20, 2,
       "Exciter channel 0: Cutoff 2 Hz: in single precision the filter may never come to rest; a constant or "
       "a "
       "tone would stay"},
      {AUDIOPOST_RULE_FILTER_NOISE, kNote, kBell + AUDIOPOST_EQ10_FC, 400, 30,
       "EQ10 channel 0 band 1: fc 30 Hz, Q 16: the filter's rounding noise reaches -69 dBFS under loud music",
       with(kBell + AUDIOPOST_EQ10_Q, 16, kBell + AUDIOPOST_EQ10_BOOST, 20)},
      // The chain.
      {AUDIOPOST_RULE_SAMPLE_RATE, kWarning, AUDIOPOST_SAMPLE_RATE, 1, 0.9f,
       "chain: sample_rate 0.9 leaves every filter without a frequency"},
      {AUDIOPOST_RULE_BIT_RATE, kFatal, AUDIOPOST_BIT_RATE, 16, 17,
       "chain: bit_rate 17 is not 16, 24 or 32; AudioPost_Init would fail"},
      {AUDIOPOST_RULE_BIT_RATE_WIDE, kWarning, AUDIOPOST_BIT_RATE, 16.9f, 24,
       "chain: bit_rate 24: the PCM is 16 bits wide all the same; levels would read 48 dB too low and "
       "overloads "
       "wrap instead of clipping; use 16"},
      {AUDIOPOST_RULE_BIT_RATE_WIDE, kWarning, AUDIOPOST_BIT_RATE, 33, 32,
       "chain: bit_rate 32: the PCM is 16 bits wide all the same; levels would read 96 dB too low and "
       "overloads "
       "wrap instead of clipping; use 16"},
      {AUDIOPOST_RULE_LINKED_ANYHOW, kNote, kLinked, 1, 2,
       "chain: channel_link 2 links the channels as 1 does"},
      {AUDIOPOST_RULE_NO_CHANNELS, kWarning, kChannelCount, 1, 0,
       "chain: channels 0: the chain would process nothing"},
      {AUDIOPOST_RULE_TOO_MANY_CHANNELS, kFatal, kChannelCount, 1024, 1025,
       "chain: channels 1025: AudioPost_Init allows 1024 at most"},
      {AUDIOPOST_RULE_BLOCK_LONG, kFatal, kChannelCount, 1, 2,
       "chain: a block of 67108864 frames is too long; AudioPost_Init would fail", with(), 1 << 26},
      {AUDIOPOST_RULE_MORE_THAN_STEREO, kNote, kChannelCount, 2, 3,
       "chain: channels 3: process_file and all effects but AutoGain and EQ10 take two at most"},
      {AUDIOPOST_RULE_VERSION, kFatal, AUDIOPOST_TOOL_VERSION, 2.00009f, 2.0002f,
       "chain: version 2.0002 is not 2.0; AudioPost_Init would fail"},
      {AUDIOPOST_RULE_VERSION, kFatal, AUDIOPOST_TOOL_VERSION, 1.99991f, 1.9998f,
       "chain: version 1.9998 is not 2.0; AudioPost_Init would fail"},
      {AUDIOPOST_RULE_VERSION_NAN, kNote, AUDIOPOST_TOOL_VERSION, 2, NAN,
       "chain: version is not a number; the chain takes it for 2.0"},
      {AUDIOPOST_RULE_UNREAD, kNote, 5, 0, 1,
       "unread: 1 value stands where the chain reads no setting: index 5"},
      {AUDIOPOST_RULE_IGNORED_LINKED, kNote, kGain + AUDIOPOST_GAIN_STRIDE, -0.0f, 1,
       "chain channel 1: is ignored: the channels are linked, all use channel 0"},
      {AUDIOPOST_RULE_IGNORED_MONO, kNote, kDeEsser + AUDIOPOST_DEESSER_STRIDE, 0, 6500,
       "DeEsser channel 1: is ignored: the record has one channel", with(kLinked, 0, kChannelCount, 1)},
      // AutoGain.
      {AUDIOPOST_RULE_STEP_SHORT, kFatal, kAuto + AUDIOPOST_AUTOGAIN_R128_STEPS, 20, 19,
       "AutoGain: r128_steps 19 ms is 912 samples, shorter than a block of 960; the chain would end the "
       "process",
       with(), 960},
      {AUDIOPOST_RULE_WINDOW_LONG, kFatal, kAuto + AUDIOPOST_AUTOGAIN_R128_WINS, 43690, 43691,
       "AutoGain: r128_wins 43691 ms is too long; AudioPost_Init would fail", with(kChannelCount, 32)},
      {AUDIOPOST_RULE_WINDOW_NONE, kWarning, kAuto + AUDIOPOST_AUTOGAIN_R128_WINS, 1, 0,
       "AutoGain: r128_wins 0 ms leaves no window to measure; the gain would stay at 0 dB"},
      {AUDIOPOST_RULE_METER, kUnstable, AUDIOPOST_SAMPLE_RATE, 192000, 768000,
       "AutoGain: sample_rate 768000 Hz: the loudness meter's filters are not stable at this rate; the gain "
       "would follow wrong readings"},
      // BassEnhancer, Exciter, DeEsser.
      {AUDIOPOST_RULE_SHAPER_INFINITE, kUnstable, kBass + AUDIOPOST_BASS_DRIVE, 1e-3f, 0,
       "BassEnhancer channel 0: drive 0 and blend 5 divide by zero in the waveshaper; the chain would play "
       "noise"},
      {AUDIOPOST_RULE_SHAPER_JUMPS, kWarning, kBass + AUDIOPOST_BASS_DRIVE, 12, 12.5f,
       "BassEnhancer channel 0: drive 12.5: above 12 the waveshaper's curve jumps at zero; the start thumps "
       "and "
       "soft bass buzzes"},
      {AUDIOPOST_RULE_DRIVE, kUnstable, kExciter + AUDIOPOST_EXCITER_DISTORTION_AMOUNT, 19, 19.5f,
       "Exciter channel 0: distortion_amount 19.5 makes a drive beyond all numbers"},
      {AUDIOPOST_RULE_DRIVE, kUnstable, kExciter + AUDIOPOST_EXCITER_DISTORTION_AMOUNT, -19, -19.5f,
       "Exciter channel 0: distortion_amount -19.5 makes a drive beyond all numbers"},
      {AUDIOPOST_RULE_THRESHOLD_HIGH, kNote, kDeEsser + AUDIOPOST_DEESSER_THRESHOLD, -0.1f, 0,
       "DeEsser channel 0: threshold 0 dB is hardly ever reached"},
      // EQ10.
      {AUDIOPOST_RULE_BAND_COUNT, kWarning, kBell, 1, 2,
       "EQ10 channel 0 band 1: enable is 2: bands would be run a wrong number of times; 1 turns it on"},
      {AUDIOPOST_RULE_FILTER_TYPE, kFatal, kShelf + AUDIOPOST_EQ10_TYPE, 7, 8,
       "EQ10 channel 0 band 3: type 8 is unknown; the chain would end the process"},
      {AUDIOPOST_RULE_FILTER_TYPE, kFatal, kShelf + AUDIOPOST_EQ10_TYPE, -0.9f, -1,
       "EQ10 channel 0 band 3: type -1 is unknown; the chain would end the process"},
      {AUDIOPOST_RULE_BUTTERWORTH_BOOST, kWarning, kBell + AUDIOPOST_EQ10_BOOST, 0, -0.1f,
       "EQ10 channel 0 band 1: boost scales the feedback of a Butterworth filter too; set it to 0, or take "
       "GeneralLP or GeneralHP",
       with(kBell + AUDIOPOST_EQ10_TYPE, ButterworthHP)},
      // MultiBandDRC.
      {AUDIOPOST_RULE_CROSSOVER_BANDS, kWarning, kDrc, 2, 1.9f,
       "MultiBandDRC channel 0: crossover_band 1 is not 2, 3 or 4; the chain would leave bands out"},
      {AUDIOPOST_RULE_CROSSOVER_BANDS, kWarning, kDrc, 4.9f, 5,
       "MultiBandDRC channel 0: crossover_band 5 is not 2, 3 or 4; the chain would leave bands out"},
      {AUDIOPOST_RULE_CROSSOVER_BANDS, kWarning, kDrc, 3, 0,
       "MultiBandDRC channel 0: crossover_band 0 is not 2, 3 or 4; the chain would play nothing"},
      {AUDIOPOST_RULE_COMPRESSES_ANYHOW, kNote, kMid1 + AUDIOPOST_DRC_BAND_ENABLE, 1, -1,
       "MultiBandDRC channel 0 mid1 band: drc_enable -1 compresses as 1 does"},
      {AUDIOPOST_RULE_BANDS_APART, kNote, kLow + AUDIOPOST_DRC_FREQ_END, 180, below(180),
       "MultiBandDRC channel 0: low ends at 179.99998 Hz and mid1 starts at 180 Hz; what lies between is "
       "lost"},
      {AUDIOPOST_RULE_BANDS_APART, kWarning, kLow + AUDIOPOST_DRC_FREQ_END, 90, 89,
       "MultiBandDRC channel 0: low ends at 89 Hz and mid1 starts at 180 Hz; what lies between is lost"},
      {AUDIOPOST_RULE_BANDS_OVERLAP, kNote, kMid1 + AUDIOPOST_DRC_FREQ_END, 1000, 1001,
       "MultiBandDRC channel 0: mid1 ends at 1001 Hz and mid2 starts at 1000 Hz; what lies between is heard "
       "twice"},
      // Curves.
      {AUDIOPOST_RULE_NOISE_THRESHOLD_HIGH, kWarning, kLow + AUDIOPOST_DRC_NOISE_THRESHOLD, -70, -69,
       "MultiBandDRC channel 0 low band: noise_threshold -69 dB lies above expand_end -70 dB"},
      {AUDIOPOST_RULE_EXPAND_END_HIGH, kWarning, kLow + AUDIOPOST_DRC_EXPAND_END, -28, -27,
       "MultiBandDRC channel 0 low band: expand_end -27 dB lies above compress_start -28 dB"},
      {AUDIOPOST_RULE_MAX_PEAK_LOW, kWarning, kPeak + AUDIOPOST_AGC_COMPRESS_START, -9, -8.5f,
       "Agc channel 0: compress_start -8.5 dB + max_gain 6 dB lies above max_peak -3 dB (it is off, but the "
       "chain checks it all the same)",
       with(AUDIOPOST_AGC_ENABLE, 0)},
      {AUDIOPOST_RULE_GAIN_BELOW_TABLE, kNote, kLow + AUDIOPOST_DRC_MAX_GAIN, -60, -80,
       "MultiBandDRC channel 0 low band: max_gain -80 dB asks for a gain below -60 dB; the chain's end "
       "there"},
      {AUDIOPOST_RULE_GAIN_BELOW_TABLE, kNote, kPeak + AUDIOPOST_AGC_MAX_PEAK, -60, -70,
       "Agc channel 0: max_peak -70 dB asks for a gain below -60 dB; the chain's end there"},
      {AUDIOPOST_RULE_EXPANDER_STEEP, kWarning, kPeak + AUDIOPOST_AGC_NOISE_THRESHOLD, below(-50), -50,
       "Agc channel 0: noise_threshold equals expand_end; the expander would be infinitely steep"},
      {AUDIOPOST_RULE_NO_ROOM_TO_COMPRESS, kWarning, kLow + AUDIOPOST_DRC_COMPRESS_START, below(0), 0,
       "MultiBandDRC channel 0 low band: compress_start is not below 0 dB; the curve has no room to "
       "compress"},
      {AUDIOPOST_RULE_LIMITER_NO_KNEE, kWarning, kPeak, 2.5f, 2.6f,
       "Maximizer channel 0: max_threshold 2.6 dB: above 2.5 dB the limiter has no knee and brings every "
       "level "
       "to 0 dB"},
      {AUDIOPOST_RULE_CEILING_HIGH, kNote, kPeak + AUDIOPOST_MAXIMIZER_CEILING, 0, 1,
       "Maximizer channel 0: ceiling 1 dB is above full scale; the output would clip"},
  };
  CHECK(host::check(everything_on()).empty());
  for (const Bound& row : rows) holds(row);

  // What a tuner would set, both ends.
  const struct {
    int index;
    float least, most;
    std::string name;
  } ranges[] = {
      {kGain, -60, 20, "chain channel 0: gain_dB"},
      {kAuto, -40, -5, "AutoGain: target_i_dB"},
      {kBass, -60, 20, "BassEnhancer channel 0: amount_dB"},
      {kBass + AUDIOPOST_BASS_DRIVE, 1, 11, "BassEnhancer channel 0: drive"},
      {kBass + AUDIOPOST_BASS_BLEND, 0, 10, "BassEnhancer channel 0: blend"},
      {kExciter, -1, 1, "Exciter channel 0: even_harmonics"},
      {kExciter + AUDIOPOST_EXCITER_DISTORTION_AMOUNT, 0, 1, "Exciter channel 0: distortion_amount"},
      {kExciter + AUDIOPOST_EXCITER_MIX, 0, 1, "Exciter channel 0: mix"},
      {kLow + AUDIOPOST_DRC_GAIN_DB, -60, 20, "MultiBandDRC channel 0 low band: gain_dB"},
      {kPeak, -24, 0, "Maximizer channel 0: max_threshold"},
  };
  for (const auto& r : ranges) {
    const auto text = [&](float value) {
      return r.name + " " + host::shortest(value, true) + " lies outside " + host::shortest(r.least, true) +
             " ... " + host::shortest(r.most, true);
    };
    holds({AUDIOPOST_RULE_OUT_OF_RANGE, kNote, r.index, r.least, below(r.least), text(below(r.least))});
    holds({AUDIOPOST_RULE_OUT_OF_RANGE, kNote, r.index, r.most, above(r.most), text(above(r.most))});
  }

  // What the designer clamps.
  const struct {
    int type, field;
    float least, most;
    std::string name;
  } clamps[] = {
      {Parametric, AUDIOPOST_EQ10_Q, 0.01f, 16, "Q"},
      {GeneralHP, AUDIOPOST_EQ10_Q, 0.01f, 16, "Q"},
      {LowShelf, AUDIOPOST_EQ10_Q, 0.01f, 2, "Q (here the slope S)"},
      {HighShelf, AUDIOPOST_EQ10_Q, 0.01f, 2, "Q (here the slope S)"},
      {BandPass, AUDIOPOST_EQ10_Q, 0.01f, 11, "Q (here octaves)"},
      {Parametric, AUDIOPOST_EQ10_BOOST, -20, 20, "boost"},
      {BandPass, AUDIOPOST_EQ10_BOOST, -20, 20, "boost"},
  };
  for (const auto& r : clamps)
    for (const bool high : {false, true}) {
      const float bound = high ? r.most : r.least, beyond = high ? above(bound) : below(bound);
      holds({AUDIOPOST_RULE_CLAMPED, kNote, kBell + r.field, bound, beyond,
             "EQ10 channel 0 band 1: " + r.name + " " + host::shortest(beyond, true) + " is clamped to " +
                 host::shortest(bound, true),
             with(kBell + AUDIOPOST_EQ10_TYPE, float(r.type))});
    }
}

TEST_CASE("bands that are compressed beside bands that are not are told of") {
  for (int compressed = 0; compressed <= 4; ++compressed) {
    Record record = everything_on();
    for (int band = 0; band < 4; ++band)
      record[size_t(kLow + (kMid1 - kLow) * band + AUDIOPOST_DRC_BAND_ENABLE)] = float(band < compressed);
    const std::vector<Finding> findings = host::check(record);
    CHECK((found(findings, AUDIOPOST_RULE_SOME_COMPRESSED, kNote) != nullptr) ==
          (compressed > 0 && compressed < 4));
  }
}

TEST_CASE("levels that the effects together take beyond a float are refused where that happens") {
  const struct {
    float gain_dB;
    Settings flags;  // effects that are on
    std::string where;
  } rows[] = {
      {200, with(AUDIOPOST_AUTOGAIN_ENABLE, 1), ""},
      {400, with(AUDIOPOST_AUTOGAIN_ENABLE, 1), "AutoGain"},  // sums squares
      {400, with(AUDIOPOST_EXCITER_ENABLE, 1), ""},
      {400, with(AUDIOPOST_DEESSER_ENABLE, 1), "DeEsser channel 0"},  // likewise
      {640, with(AUDIOPOST_MAXIMIZER_ENABLE, 1), ""},
      {640, with(AUDIOPOST_EQ10_ENABLE, 1), "EQ10 channel 0"},
      {640, with(AUDIOPOST_EQ10_ENABLE, 0), ""},
  };
  for (const auto& r : rows) {
    Record record = everything_on();
    for (int flag = AUDIOPOST_AUTOGAIN_ENABLE; flag <= AUDIOPOST_MAXIMIZER_ENABLE; ++flag)
      record[size_t(flag)] = 0;
    for (const auto& [index, value] : r.flags) record[size_t(index)] = value;
    record[kGain] = r.gain_dB;
    CAPTURES(r.gain_dB, r.where);
    const std::vector<Finding> findings = host::check(record);
    const Finding* const f = found(findings, AUDIOPOST_RULE_LEVEL, kUnstable);
    CHECK((f ? f->where : "") == r.where);
  }
}

TEST_CASE("more than two channels that are not linked read settings that are meant for others") {
  for (const int channels : {2, 3}) {
    Record record = host::preset("flat");
    record[AUDIOPOST_EQ10_ENABLE] = 1, record[kLinked] = 0, record[kChannelCount] = float(channels);
    const std::vector<Finding> findings = host::check(record);
    for (const int rule : {AUDIOPOST_RULE_GAINS_BEYOND, AUDIOPOST_RULE_BANDS_BEYOND})
      CHECK((found(findings, rule, kWarning) != nullptr) == (channels > 2));
  }
}

TEST_CASE("effects that are off may hold anything") {
  Record off = host::preset("flat");
  off[AUDIOPOST_CHANNELS] = 3.0f;
  off[30] = off[61] = off[217] = off[400] = -100.0f, off[80] = NAN;
  const std::vector<Finding> findings = host::check(off);
  REQUIRE(findings.size() == 1);
  CHECK(findings[0].text ==
        "channels 3: process_file and all effects but AutoGain and EQ10 take two at most");
}

TEST_CASE("of many values that nothing reads the first four are named") {
  Record record = everything_on();
  for (const size_t index : {18, 19, 21, 498, 499}) record[index] = NAN;
  CHECK(host::check(record)[0].text ==
        "5 values stand where the chain reads no setting: index 18, 19, 21, 498, ...");
}
