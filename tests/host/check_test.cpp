// The checker against the chain itself.
#include "host/check.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <set>

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

float& field(Record& record, const std::string& path, const std::string& name) {
  for (const host::Table& table : host::tables())
    for (const host::Field& f : table.fields)
      if (table.path == path && name == f.name) return record[static_cast<size_t>(f.index)];
  throw std::out_of_range(path + "." + name);
}

// ---- What the chain does ---------------------------------------------------------------------------
// Three blocks of noise; true unless AudioPost_Init failed.
bool run(const Case& c) {
  AudioPostState* const chain = AudioPost_Init(c.record.data(), c.block);
  if (!chain) return false;
  const int channels = std::max(host::field_as_int(c.record, host::kChannels), 1);
  const std::vector<int16_t> in = support::noise_pcm(channels * c.block);
  std::vector<int16_t> out(in.size());
  for (int i = 0; i < 3; ++i) AudioPost_Process(chain, in.data(), out.data(), channels, c.block);
  AudioPost_Destroy(chain);
  return true;
}

// What stands in a log beyond the banner and the listings of settings.
std::set<std::string> complaints(const std::string& log) {
  std::set<std::string> all;
  for (size_t at = 0; at < log.size();) {
    const size_t end = std::min(log.find('\n', at), log.size());
    const std::string line = log.substr(at, end - at);
    at = end + 1;
    const size_t text = line.find("), ");
    if (line.empty() || line.find("_PrintPara(): ,") != std::string::npos ||
        line.find("ZELK_AudioEffect-RELEASE-VERSION") != std::string::npos)
      continue;
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
  switch (random() % 5) {
    case 0:
      return pick[random() % std::size(pick)];
    case 1:
      return -value;
    case 2:
      return value + static_cast<float>(random() % 1000) * 0.01f;
    default:
      return value * static_cast<float>(random() % 300) * 0.01f;
  }
}

Case random_case(uint32_t seed) {
  std::mt19937 random(seed);
  Case c{everything_on(), kBlocks[random() % std::size(kBlocks)], {}};
  for (size_t flag = 10; flag < 18; ++flag) c.record[flag] = static_cast<float>(random() % 2);
  c.record[host::kChannels] = static_cast<float>(random() % 8 ? 1 + random() % 2 : random() % 7);
  c.record[host::kChannelLink] = static_cast<float>(random() % 4 != 0);
  for (int i = static_cast<int>(random() % 20); i > 0; --i) {
    const std::vector<host::Table>& all = host::tables();
    const host::Table& table = all[random() % all.size()];
    const auto index = static_cast<size_t>(table.fields[random() % table.fields.size()].index);
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
  constexpr uint32_t kRecords = 10000;
  constexpr size_t kBatch = 250;
  const std::string mark = "==== next ====\n";
  std::vector<uint32_t> batch;  // seeds of usable records, which share a child
  int silent = 0, complained = 0, rejected = 0;
  for (uint32_t seed = 0; seed < kRecords; ++seed) {
    const Case c = random_case(seed);
    if (host::unusable(c.findings)) {
      ++rejected;
      const support::Outcome outcome = support::in_child([&] {
        std::atexit([] { _exit(support::kExitMinusOne); });  // no search for leaks in every process that ends
        if (!run(c)) _exit(1);                               // a null handle
      });
      const std::set<std::string> said = complaints(outcome.err), expected = predicted(c);
      if (outcome.status == 0 || outcome.signal != 0 ||
          !std::includes(expected.begin(), expected.end(), said.begin(), said.end()))
        FAIL(outcome.err << told(c));
    } else {
      batch.push_back(seed);
      ++(predicted(c).empty() ? silent : complained);
    }
    if (batch.size() < kBatch && seed + 1 < kRecords) continue;
    const support::Outcome outcome = support::in_child([&] {
      for (const uint32_t usable : batch) {
        if (!run(random_case(usable))) std::fputs("null\n", stderr);
        std::fputs(mark.c_str(), stderr);
      }
    });
    size_t at = 0;
    for (const uint32_t usable : batch) {
      const Case each = random_case(usable);
      const size_t end = outcome.err.find(mark, at);
      if (end == std::string::npos) FAIL("ended the process: " << told(each));
      const std::string log = outcome.err.substr(at, end - at);
      if (complaints(log) != predicted(each)) FAIL(log << told(each));
      at = end + mark.size();
    }
    batch.clear();
  }
  CHECK(silent > 3000);
  CHECK(complained > 500);
  CHECK(rejected > 1000);
}

TEST_CASE("findings say in a tuner's words what the chain does to a setting") {
  const struct {
    const char *path, *name;
    float value;
    Severity severity;
    const char *where, *text;
  } rows[] = {
      {"EQ10.channel0.band3", "type", 9, Severity::fatal, "EQ10 channel 0 band 3",
       "type 9 is unknown; the chain would end the process"},
      {"EQ10.channel0.band3", "type", 1.5f, Severity::note, "EQ10 channel 0 band 3",
       "type 1.5 is read as the integer 1"},
      {"EQ10.channel0.band3", "boost", 30, Severity::note, "EQ10 channel 0 band 3",
       "boost 30 is clamped to 20"},
      {"EQ10.channel0.band3", "Q", 40, Severity::note, "EQ10 channel 0 band 3",
       "Q (here the slope S) 40 is clamped to 2"},
      {"EQ10.channel0.band3", "fc", 24000, Severity::warning, "EQ10 channel 0 band 3",
       "fc 24000 Hz is not below half the sample rate, 24000 Hz; its filter would be unstable"},
      {"EQ10", "enable", 2, Severity::warning, "EQ10",
       "enable is 2: the chain creates the effect but never runs it; 1 turns it on, 0 off"},
      {"chain", "version", 1.9f, Severity::fatal, "chain",
       "version 1.9 is not 2.0; AudioPost_Init would fail"},
      {"chain", "channels", 3, Severity::fatal, "DeEsser",
       "allows one or two channels and the record has 3; the chain would end the process"},
      {"AutoGain", "r128_steps", 10, Severity::fatal, "AutoGain",
       "r128_steps 10 ms is 480 samples, shorter than a block of 1024; the chain would end the process"},
      {"BassEnhancer.channel0", "blend", 10.5f, Severity::warning, "BassEnhancer channel 0",
       "drive 6 and blend 10.5 divide by zero in the waveshaper; the chain would play noise"},
      {"MultiBandDRC.channel0.mid2", "freq_start", 1500, Severity::note, "MultiBandDRC channel 0",
       "mid1 ends at 1000 Hz and mid2 starts at 1500 Hz; what lies between is lost"},
      {"MultiBandDRC.channel0.mid2", "attack_time", 50000, Severity::warning,
       "MultiBandDRC channel 0 mid2 band",
       "attack_time 50000 ms is too long at this sample rate; it overflows"},
      {"Maximizer.channel0", "release", NAN, Severity::warning, "Maximizer channel 0",
       "release is not a number; the chain would play noise or nothing"},
  };
  for (const auto& r : rows) {
    Record record = everything_on();
    CHECK(host::check(record).empty());
    field(record, r.path, r.name) = r.value;
    const std::vector<Finding> findings = host::check(record);
    const std::string text = r.text;
    CAPTURE(text);
    CHECK(std::any_of(findings.begin(), findings.end(), [&](const Finding& f) {
      return f.severity == r.severity && f.where == r.where && f.text == text;
    }));
    CHECK(host::unusable(findings) == (r.severity == Severity::fatal));
  }
}
