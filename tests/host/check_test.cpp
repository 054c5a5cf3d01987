// The checker against the chain itself.
#include "host/check.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>
#include <sstream>

#include "host/fields.h"
#include "records/random_records.h"
#include "support.h"

using host::Finding;
using host::Record;
using host::Severity;

namespace {

using records::Case;

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
  Record record = host::preset("tv");
  for (size_t flag = 10; flag < 18; ++flag) record[flag] = 1.0f;
  return record;
}

}  // namespace

TEST_CASE("what the checker passes runs without a word, and it knows every complaint of what it rejects") {
  const std::string mark = "==== next ====\n";
  int silent = 0, complained = 0, rejected = 0;
  for (uint32_t seed = 0; seed < 10000;) {
    std::vector<Case> usable;  // these share a child
    for (const uint32_t end = seed + 250; seed < end; ++seed) {
      const Case c = records::make_case(seed);
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
        FAIL(outcome.err << host::to_text(c.record));
    }
    const support::Outcome outcome = support::in_child([&] {
      for (const Case& c : usable) std::fputs(((run(c) ? "" : "null\n") + mark).c_str(), stderr);
    });
    size_t at = 0;
    for (const Case& c : usable) {
      const size_t end = outcome.err.find(mark, at);
      if (end == std::string::npos || complaints(outcome.err.substr(at, end - at)) != predicted(c))
        FAIL(outcome.err.substr(at) << host::to_text(c.record));
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
  Severity severity;
  int index;
  float inside, outside;  // passed, and found
  std::string text;       // how what is said of the second begins
  Settings among = {};    // beside it
  int block = 1024;
  int about = -1;  // the finding's index, where it is another
};

std::vector<Finding> findings_with(const Bound& b, float value) {
  Record record = everything_on();
  for (const auto& [index, setting] : b.among) record[size_t(index)] = setting;
  record[size_t(b.index)] = value;
  return host::check(record, b.block);
}

void holds(const Bound& b) {
  CAPTURES(b.index, b.inside, b.outside, b.text);
  const std::vector<Finding> findings = findings_with(b, b.outside);
  const auto f = std::find_if(findings.begin(), findings.end(), [&](const Finding& finding) {
    return finding.severity == b.severity && finding.text.rfind(b.text, 0) == 0;
  });
  REQUIRE(f != findings.end());
  CHECK(f->cause.index[0] == (b.about < 0 ? b.index : b.about));
  CHECK((f->cause.off != 0) == (b.text.find("it is off") != std::string::npos));
  if (b.index >= AUDIOPOST_GAIN_SECTION) {
    const std::string& where = host::place(b.index).table->where;
    CHECK((f->cause.band < 0 ? where.rfind(f->where, 0) == 0 : f->where == where));
  }
  CHECK((host::refusal(findings) != nullptr) >= (b.severity >= kUnstable));
  for (const Finding& inside : findings_with(b, b.inside))
    CHECK((inside.cause.rule != f->cause.rule || inside.severity != b.severity));
}

float above(float bound) { return std::nextafter(bound, kInf); }
float below(float bound) { return std::nextafter(bound, -kInf); }

}  // namespace

TEST_CASE("every rule passes what lies inside its bound and tells of what lies outside, in a tuner's words") {
  const Bound rows[] = {
      // Any field.
      {kUnstable, kAuto, -18, kInf, "target_i_dB is infinite"},
      {kUnstable, kPeak + AUDIOPOST_MAXIMIZER_RELEASE, 1, NAN, "release is not a number"},
      {kWarning, kExciter, 0, -kInf, "even_harmonics is infinite", with(AUDIOPOST_EXCITER_ENABLE, 2)},
      {kNote, kBell + AUDIOPOST_EQ10_TYPE, 1, 1.5f, "type 1.5 is read as the integer 1"},
      {kUnstable, kGain, 650, 651, "gain_dB 651 dB is more than a float can hold"},
      {kUnstable, kMid2 + AUDIOPOST_DRC_GAIN_DB, 650, above(650), "gain_dB 650.00006 dB is more than"},
      {kWarning, AUDIOPOST_EQ10_ENABLE, 1, 2, "enable is 2: the chain creates the effect but never runs it"},
      {kFatal, kChannelCount, 2, 3, "allows one or two channels and the record has 3"},
      {kUnstable, kAuto + AUDIOPOST_AUTOGAIN_ATTACK_TIME, 0, -0.0f, "attack_time -0.0 ms is negative"},
      {kUnstable, kAuto + AUDIOPOST_AUTOGAIN_RELEASE_TIME, 0, below(0), "release_time -1e-45 ms"},
      {kWarning, kLow + AUDIOPOST_DRC_ATTACK_TIME, 0, -1, "attack_time -1 ms is negative"},
      {kWarning, kLow + AUDIOPOST_DRC_RELEASE_TIME, -0.0f, -1, "release_time -1 ms is negative"},
      {kUnstable, kPeak + AUDIOPOST_AGC_ATTACK_TIME, 0, -0.0f, "attack_time -0.0 ms is negative"},
      {kUnstable, kPeak + AUDIOPOST_AGC_RELEASE_TIME, 0, -1, "release_time -1 ms is negative",
       with(AUDIOPOST_MAXIMIZER_ENABLE, 0)},
      {kUnstable, kPeak + AUDIOPOST_MAXIMIZER_RELEASE, 0, -0.0f, "release -0.0 ms is negative"},
      {kNote, kPeak + AUDIOPOST_MAXIMIZER_RELEASE, 1e-9f, 0, "release is 0"},
      {kWarning, kMid2 + AUDIOPOST_DRC_ATTACK_TIME, 44739, 44740, "attack_time 44740 ms is too long"},
      {kNote, kLow + AUDIOPOST_DRC_HOLD_TIME, 0.9f, 1, "hold_time has no effect"},
      // Filters.
      {kUnstable, kExciter + AUDIOPOST_EXCITER_CUTOFF, 1e-9f, 0, "Cutoff 0 Hz is not above 0"},
      {kWarning, kBell + AUDIOPOST_EQ10_FC, 1e-9f, -1000, "fc -1000 Hz is not above 0",
       with(AUDIOPOST_EQ10_ENABLE, 2)},
      {kUnstable, kBell + AUDIOPOST_EQ10_FC, below(24000), 24000, "fc 24000 Hz is not below half"},
      {kUnstable, kBass + AUDIOPOST_BASS_FLOOR, below(24000), 24000, "floor 24000 Hz is not below half"},
      {kUnstable, kDeEsser, below(24000), 24000, "f0 24000 Hz is not below half the sample rate, 24000 Hz"},
      {kUnstable, kMid2 + AUDIOPOST_DRC_FREQ_END, below(24000), 24000, "freq_end 24000 Hz is not"},
      {kUnstable, kMid1 + AUDIOPOST_DRC_FREQ_START, below(24000), 30000, "freq_start 30000 Hz is not"},
      {kUnstable, kBass + AUDIOPOST_BASS_FREQ, below(8000), 8000, "three times freq 8000 Hz is not"},
      {kUnstable, kBell + AUDIOPOST_EQ10_FC, 20000, 23545, "fc 23545 Hz, Q 5.2",
       with(kBell + AUDIOPOST_EQ10_TYPE, BandPass, kBell + AUDIOPOST_EQ10_Q, 5.2f)},
      {kUnstable, kBell + AUDIOPOST_EQ10_FC, 20, 2, "fc 2 Hz: in single",
       with(kBell + AUDIOPOST_EQ10_TYPE, ButterworthLP, kBell + AUDIOPOST_EQ10_BOOST, 0)},
      {kUnstable, kMid1 + AUDIOPOST_DRC_FREQ_END, 20, 2,
       "freq_end 2 Hz: in single precision the filter has a pole"},
      {kUnstable, kExciter + AUDIOPOST_EXCITER_CUTOFF, 20, 2,
       "Cutoff 2 Hz: in single precision the filter may"},
      {kNote, kBell + AUDIOPOST_EQ10_FC, 400, 30,
       "fc 30 Hz, Q 16: the filter's rounding noise reaches -69 dBFS",
       with(kBell + AUDIOPOST_EQ10_Q, 16, kBell + AUDIOPOST_EQ10_BOOST, 20)},
      // The chain.
      {kWarning, AUDIOPOST_SAMPLE_RATE, 1, 0.9f, "sample_rate 0.9 leaves every filter without a frequency"},
      {kFatal, AUDIOPOST_BIT_RATE, 16, 17, "bit_rate 17 is not 16, 24 or 32"},
      {kWarning, AUDIOPOST_BIT_RATE, 16.9f, 24,
       "bit_rate 24: the PCM is 16 bits wide all the same; levels would read 48"},
      {kWarning, AUDIOPOST_BIT_RATE, 33, 32,
       "bit_rate 32: the PCM is 16 bits wide all the same; levels would read 96"},
      {kNote, kLinked, 1, 2, "channel_link 2 links the channels as 1 does"},
      {kWarning, kChannelCount, 1, 0, "channels 0: the chain would process nothing"},
      {kFatal, kChannelCount, 1024, 1025, "channels 1025: AudioPost_Init allows 1024 at most"},
      {kFatal, kChannelCount, 1, 2, "a block of 67108864 frames is too long", with(), 1 << 26},
      {kNote, kChannelCount, 2, 3, "channels 3: process_file and all effects but AutoGain and EQ10"},
      {kFatal, AUDIOPOST_TOOL_VERSION, 2.00009f, 2.0002f, "version 2.0002 is not 2.0"},
      {kFatal, AUDIOPOST_TOOL_VERSION, 1.99991f, 1.9998f, "version 1.9998 is not 2.0"},
      {kNote, AUDIOPOST_TOOL_VERSION, 2, NAN, "version is not a number"},
      {kNote, 5, 0, 1, "1 value stands where the chain reads no setting: index 5"},
      {kNote, kGain + AUDIOPOST_GAIN_STRIDE, -0.0f, 1, "is ignored: the channels are linked"},
      {kNote, kDeEsser + AUDIOPOST_DEESSER_STRIDE, 0, 6500, "is ignored: the record has one channel",
       with(kLinked, 0, kChannelCount, 1)},
      {kWarning, kChannelCount, 2, 3, "the record has input gains for two channels", with(kLinked, 0), 1024,
       kLinked},
      // AutoGain.
      {kFatal, kAuto + AUDIOPOST_AUTOGAIN_R128_STEPS, 20, 19, "r128_steps 19 ms is 912 samples", with(), 960},
      {kFatal, kAuto + AUDIOPOST_AUTOGAIN_R128_WINS, 43690, 43691, "r128_wins 43691 ms",
       with(kChannelCount, 32)},
      {kWarning, kAuto + AUDIOPOST_AUTOGAIN_R128_WINS, 1, 0, "r128_wins 0 ms leaves no window to measure"},
      {kUnstable, AUDIOPOST_SAMPLE_RATE, 192000, 768000, "sample_rate 768000 Hz: the loudness meter"},
      // BassEnhancer, Exciter, DeEsser.
      {kUnstable, kBass + AUDIOPOST_BASS_DRIVE, 1e-3f, 0, "drive 0 and blend 5 divide by zero"},
      {kWarning, kBass + AUDIOPOST_BASS_DRIVE, 12, 12.5f,
       "drive 12.5: above 12 the waveshaper's curve jumps"},
      {kUnstable, kExciter + AUDIOPOST_EXCITER_DISTORTION_AMOUNT, 19, 19.5f, "distortion_amount 19.5"},
      {kUnstable, kExciter + AUDIOPOST_EXCITER_DISTORTION_AMOUNT, -19, -19.5f, "distortion_amount -19.5"},
      {kNote, kDeEsser + AUDIOPOST_DEESSER_THRESHOLD, -0.1f, 0, "threshold 0 dB is hardly ever reached"},
      // EQ10.
      {kWarning, kChannelCount, 2, 3, "has bands for two channels; channel 2", with(kLinked, 0), 1024,
       kLinked},
      {kWarning, kBell, 1, 2, "enable is 2: bands would be run a wrong number of times"},
      {kFatal, kShelf + AUDIOPOST_EQ10_TYPE, 7, 8, "type 8 is unknown"},
      {kFatal, kShelf + AUDIOPOST_EQ10_TYPE, -0.9f, -1, "type -1 is unknown"},
      {kWarning, kBell + AUDIOPOST_EQ10_BOOST, 0, -0.1f, "boost scales the feedback",
       with(kBell + AUDIOPOST_EQ10_TYPE, ButterworthHP)},
      // MultiBandDRC.
      {kNote, kMid2 + AUDIOPOST_DRC_BAND_ENABLE, 1, 0, "compressed bands are scaled by 1/4", with(), 1024,
       kDrc},
      {kNote, kLow + AUDIOPOST_DRC_BAND_ENABLE, 0, 1, "compressed bands are scaled by 1/2",
       with(kDrc, 2, kDrc + AUDIOPOST_DRC_HIGH + AUDIOPOST_DRC_BAND_ENABLE, 0), 1024, kDrc},
      {kWarning, kDrc, 2, 1.9f, "crossover_band 1 is not 2, 3 or 4; the chain would leave bands out"},
      {kWarning, kDrc, 4.9f, 5, "crossover_band 5 is not 2, 3 or 4; the chain would leave bands out"},
      {kWarning, kDrc, 3, 0, "crossover_band 0 is not 2, 3 or 4; the chain would play nothing"},
      {kNote, kMid1 + AUDIOPOST_DRC_BAND_ENABLE, 1, -1, "drc_enable -1 compresses as 1 does"},
      {kNote, kLow + AUDIOPOST_DRC_FREQ_END, 180, below(180),
       "low ends at 179.99998 Hz and mid1 starts at 180 Hz"},
      {kWarning, kLow + AUDIOPOST_DRC_FREQ_END, 90, 89, "low ends at 89 Hz and mid1 starts at 180 Hz"},
      {kNote, kMid1 + AUDIOPOST_DRC_FREQ_END, 1000, 1001, "mid1 ends at 1001 Hz and mid2 starts at 1000 Hz"},
      // Curves.
      {kWarning, kLow + AUDIOPOST_DRC_NOISE_THRESHOLD, -70, -69,
       "noise_threshold -69 dB lies above expand_end -70"},
      {kWarning, kLow + AUDIOPOST_DRC_EXPAND_END, -28, -27,
       "expand_end -27 dB lies above compress_start -28"},
      {kWarning, kPeak + AUDIOPOST_AGC_COMPRESS_START, -9, -8.5f, "compress_start -8.5 dB + max_gain 6",
       with(AUDIOPOST_DRC_ENABLE, 0)},
      {kWarning, kPeak + AUDIOPOST_AGC_COMPRESS_START, -9, -8.5f,
       "compress_start -8.5 dB + max_gain 6 dB lies above max_peak -3 dB (it is off",
       with(AUDIOPOST_AGC_ENABLE, 0)},
      {kNote, kLow + AUDIOPOST_DRC_MAX_GAIN, -60, -80, "max_gain -80 dB asks for a gain below -60 dB"},
      {kNote, kPeak + AUDIOPOST_AGC_MAX_PEAK, -60, -70, "max_peak -70 dB asks for a gain below -60 dB"},
      {kWarning, kPeak + AUDIOPOST_AGC_NOISE_THRESHOLD, below(-50), -50, "noise_threshold equals"},
      {kWarning, kLow + AUDIOPOST_DRC_COMPRESS_START, below(0), 0, "compress_start is not below 0 dB"},
      {kWarning, kPeak, 2.5f, 2.6f, "max_threshold 2.6 dB: above 2.5 dB the limiter has no knee"},
      {kNote, kPeak + AUDIOPOST_MAXIMIZER_CEILING, 0, 1, "ceiling 1 dB is above full scale"},
  };
  CHECK(host::check(everything_on()).empty());
  for (const Bound& row : rows) holds(row);

  const auto number = [](float value) { return host::shortest(value, true); };
  // What a tuner would set, both ends.
  const struct {
    int index;
    float least, most;
  } ranges[] = {{kGain, -60, 20},
                {kAuto, -40, -5},
                {kBass, -60, 20},
                {kBass + AUDIOPOST_BASS_DRIVE, 1, 11},
                {kBass + AUDIOPOST_BASS_BLEND, 0, 10},
                {kExciter, -1, 1},
                {kExciter + AUDIOPOST_EXCITER_DISTORTION_AMOUNT, 0, 1},
                {kExciter + AUDIOPOST_EXCITER_MIX, 0, 1},
                {kLow + AUDIOPOST_DRC_GAIN_DB, -60, 20},
                {kPeak, -24, 0}};
  for (const auto& r : ranges)
    for (const auto& [bound, beyond] : {std::pair(r.least, below(r.least)), {r.most, above(r.most)}})
      holds({kNote, r.index, bound, beyond,
             host::place(r.index).field->name + (" " + number(beyond)) + " lies outside " + number(r.least) +
                 " ... " + number(r.most)});

  // What the designer clamps.
  const struct {
    int type, field;
    float least, most;
    std::string name;
  } clamps[] = {{Parametric, AUDIOPOST_EQ10_Q, 0.01f, 16, "Q"},
                {GeneralHP, AUDIOPOST_EQ10_Q, 0.01f, 16, "Q"},
                {LowShelf, AUDIOPOST_EQ10_Q, 0.01f, 2, "Q (here the slope S)"},
                {HighShelf, AUDIOPOST_EQ10_Q, 0.01f, 2, "Q (here the slope S)"},
                {BandPass, AUDIOPOST_EQ10_Q, 0.01f, 11, "Q (here octaves)"},
                {BandPass, AUDIOPOST_EQ10_BOOST, -20, 20, "boost"}};
  for (const auto& r : clamps)
    for (const auto& [bound, beyond] : {std::pair(r.least, below(r.least)), {r.most, above(r.most)}})
      holds({kNote, kBell + r.field, bound, beyond,
             r.name + " " + number(beyond) + " is clamped to " + number(bound),
             with(kBell + AUDIOPOST_EQ10_TYPE, float(r.type))});
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
  for (const size_t index : {18, 19, 21, 498}) record[index] = NAN;
  const std::string four = " values stand where the chain reads no setting: index 18, 19, 21, 498";
  CHECK(host::check(record)[0].text == "4" + four);
  record[499] = NAN;
  CHECK(host::check(record)[0].text == "5" + four + ", ...");
}
