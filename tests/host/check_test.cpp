// The checker against the chain itself.
#include "host/check.h"

#include <unistd.h>

#include <algorithm>
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
  const int channels = std::max(host::field_as_int(c.record, host::kChannels), 1);
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
  c.record[host::kChannels] = float(random() % 8 ? 1 + random() % 2 : random() % 7);
  c.record[host::kChannelLink] = float(random() % 4 != 0);
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

TEST_CASE("findings say in a tuner's words what the chain does to a setting") {
  constexpr auto kFatal = Severity::fatal, kUnstable = Severity::unstable, kWarning = Severity::warning,
                 kNote = Severity::note;
  const struct {
    size_t index;
    float value;
    Severity severity;
    std::string where, text;
  } rows[] = {
      {116, 9, kFatal, "EQ10 channel 0 band 3", "type 9 is unknown; the chain would end the process"},
      {116, 1.5f, kNote, "EQ10 channel 0 band 3", "type 1.5 is read as the integer 1"},
      {119, 30, kNote, "EQ10 channel 0 band 3", "boost 30 is clamped to 20"},
      {118, 40, kNote, "EQ10 channel 0 band 3", "Q (here the slope S) 40 is clamped to 2"},
      {117, 24000, kUnstable, "EQ10 channel 0 band 3",
       "fc 24000 Hz is not below half the sample rate, 24000 Hz; its filter would be unstable"},
      {14, 2, kWarning, "EQ10",
       "enable is 2: the chain creates the effect but never runs it; 1 turns it on, 0 off"},
      {4, 1.9f, kFatal, "chain", "version 1.9 is not 2.0; AudioPost_Init would fail"},
      {20, 800, kUnstable, "chain channel 0",
       "gain_dB 800 dB is more than a float can hold; the chain would play noise"},
      {3, 3, kFatal, "DeEsser",
       "allows one or two channels and the record has 3; the chain would end the process"},
      {34, 10, kFatal, "AutoGain",
       "r128_steps 10 ms is 480 samples, shorter than a block of 1024; the chain would end the process"},
      {62, 10.5f, kUnstable, "BassEnhancer channel 0",
       "drive 6 and blend 10.5 divide by zero in the waveshaper; the chain would play noise"},
      {60, 1e9f, kUnstable, "BassEnhancer channel 0",
       "amount_dB 1e+09 dB is more than a float can hold; the chain would play noise"},
      {250, 1500, kNote, "MultiBandDRC channel 0",
       "mid1 ends at 1000 Hz and mid2 starts at 1500 Hz; what lies between is lost"},
      {250, 2500, kWarning, "MultiBandDRC channel 0",
       "mid1 ends at 1000 Hz and mid2 starts at 2500 Hz; what lies between is lost"},
      {217, -80, kNote, "MultiBandDRC channel 0 low band",
       "max_gain -80 dB asks for a gain below -60 dB; the chain's end there"},
      {407, -70, kNote, "Agc channel 0",
       "max_peak -70 dB asks for a gain below -60 dB; the chain's end there"},
      {61, 12.5f, kWarning, "BassEnhancer channel 0",
       "drive 12.5: above 12 the waveshaper's curve jumps at zero; the start thumps and soft bass buzzes"},
      {20, 120, kNote, "chain channel 0", "gain_dB 120 lies outside -60 ... 20"},
      {252, 100, kNote, "MultiBandDRC channel 0 mid2 band", "gain_dB 100 lies outside -60 ... 20"},
      {30, 16, kNote, "AutoGain", "target_i_dB 16 lies outside -40 ... -5"},
      {400, -40, kNote, "Maximizer channel 0", "max_threshold -40 lies outside -24 ... 0"},
      {83, 2, kNote, "Exciter channel 0", "mix 2 lies outside 0 ... 1"},
      {4, NAN, kNote, "chain", "version is not a number; the chain takes it for 2.0"},
      {259, 50000, kWarning, "MultiBandDRC channel 0 mid2 band",
       "attack_time 50000 ms is too long at this sample rate; it overflows"},
      {402, NAN, kUnstable, "Maximizer channel 0",
       "release is not a number; the chain would play noise or nothing"},
  };
  CHECK(host::check(everything_on()).empty());
  for (const auto& r : rows) {
    Record record = everything_on();
    record[r.index] = r.value;
    const std::vector<Finding> findings = host::check(record);
    CAPTURES(r.text);
    CHECK(std::any_of(findings.begin(), findings.end(), [&](const Finding& f) {
      return f.severity == r.severity && f.where == r.where && f.text == r.text;
    }));
    CHECK(host::unusable(findings) == (r.severity == kFatal));
    CHECK((host::refusal(findings) != nullptr) == (r.severity >= kUnstable));
  }
  // Effects that are off may hold anything.
  Record off = host::preset("flat");
  off[host::kChannels] = 3.0f;
  off[30] = off[61] = off[217] = off[400] = -100.0f;
  const std::vector<Finding> findings = host::check(off);
  REQUIRE(findings.size() == 1);
  CHECK(findings[0].text ==
        "channels 3: process_file and all effects but AutoGain and EQ10 take two at most");
}
