// check_records COUNT [FIRST_SEED]: holds the checker to the chain. Random and mutated records go through it; each that
// it does not refuse plays two seconds of music, speech, noise and full-scale square waves, and must neither end the
// process nor leave a value that is not finite in the chain's buffers. Prints the share refused and every
// counterexample; fails if there is one. check_records 1 SEED shows what becomes of one record.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "bench/signal.h"
#include "chain/chain.h"
#include "host/check.h"
#include "host/fields.h"

using host::Record;

namespace {

// ---- Records ---------------------------------------------------------------------------------------
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  uint32_t below(uint32_t n) { return static_cast<uint32_t>(engine_() % n); }
  bool one_in(uint32_t n) { return below(n) == 0; }
  float between(float least, float most) {
    return least + (most - least) * static_cast<float>(engine_()) * 0x1p-32f;
  }
  // Evenly spread in octaves.
  float between_hz(float least, float most) {
    return least * std::exp2(between(0.0f, std::log2(most / least)));
  }
  template <size_t N>
  float pick(const float (&from)[N]) {
    return from[below(N)];
  }

 private:
  std::mt19937 engine_;
};

struct Case {
  Record record;
  int block;
  std::vector<host::Finding> findings;
};

// What a slip of the hand, a wrong unit or a broken file makes of a value.
float near(Random& random, float value) {
  constexpr float kSlips[] = {0,    -1,     1,     2,        3,         5,   9,   10.5f, 12,   1e-30f,
                              1e9f, -1e12f, -0.0f, INFINITY, -INFINITY, NAN, 100, 1000,  24000};
  switch (random.below(5)) {
    case 0:
      return random.pick(kSlips);
    case 1:
      return -value;
    case 2:
      return value + random.between(0, 10);
    default:
      return value * random.between(0, 3);
  }
}

// Any value that a tuner may set.
float in_range(Random& random, const host::Field& field, float half_rate) {
  const std::string unit = field.unit, name = field.name;
  if (field.kind == host::Kind::flag) return float(random.below(2));
  if (field.kind == host::Kind::filter) return float(random.below(8));
  if (name == "freq") return random.between_hz(10, half_rate / 3.01f);
  if (unit == "Hz") return random.between_hz(10, half_rate * 0.9999f);
  if (unit == "ms") return std::round(random.between_hz(1, 5000));
  if (std::isfinite(field.least)) return random.between(field.least, field.most);
  if (name == "Q") return random.between_hz(0.01f, 16);
  if (name == "boost") return random.between(-20, 20);
  if (name == "crossover_band") return float(2 + random.below(3));
  if (name == "noise_threshold") return random.between(-90, -60);
  if (name == "expand_end") return random.between(-60, -45);
  if (name == "compress_start") return random.between(-45, -5);
  if (name == "max_gain") return random.between(-10, 25);
  if (name == "max_peak") return random.between(-20, 0);
  return unit == "dB" ? random.between(-20, 20) : random.between(-60, 0);
}

void all_in_range(Random& random, Record& record) {
  for (const host::Table& table : host::tables())
    for (const host::Field& field : table.fields)
      if (field.index >= 20)
        record[size_t(field.index)] = in_range(random, field, record[host::kSampleRate] / 2);
  for (size_t band = 100; band < 200; band += 5)
    if (record[band + 1] >= ButterworthLP) record[band + 4] = 0;
}

// Bands in range, each at an end of it.
void extreme_equalizer(Random& random, Record& record) {
  constexpr float kBoost[] = {-20, 20, 20, 0}, kQ[] = {0.01f, 0.1f, 0.7f, 2, 8, 11, 16};
  const float half = record[host::kSampleRate] / 2;
  record[14] = 1;
  for (size_t band = 100; band < 200; band += 5) {
    record[band] = float(random.below(2)), record[band + 1] = float(random.below(8));
    record[band + 2] =
        random.one_in(2) ? random.between_hz(1, half) : half - random.between_hz(0.5f, half / 2);
    record[band + 3] = random.one_in(2) ? random.pick(kQ) : random.between_hz(0.01f, 16);
    record[band + 4] = random.one_in(2) && record[band + 1] < 6 ? random.pick(kBoost) : 0;
  }
}

void mutate(Random& random, Record& record, uint32_t most) {
  const std::vector<host::Table>& all = host::tables();
  for (uint32_t i = random.below(most + 1); i > 0; --i) {
    const host::Table& table = all[random.below(uint32_t(all.size()))];
    float& value = record[size_t(table.fields[random.below(uint32_t(table.fields.size()))].index)];
    value = near(random, value);
  }
}

// Records that people start from, with settings for both channels, linked or not.
std::vector<Record> starting_points() {
  std::vector<Record> all;
  for (const char* const name : {"tv", "music", "speech", "night"}) {
    all.push_back(host::preset(name));
    for (const host::Table& table : host::tables())
      if (table.channel == 1) host::copy_from_channel0(all.back(), table);
  }
  all.push_back(bench::full_record());
  return all;
}

Case make_case(uint32_t seed) {
  static const std::vector<Record> starts = starting_points();
  constexpr float kRates[] = {8000, 16000, 32000, 44100, 48000, 48000, 48000, 48000, 88200, 96000, 192000};
  constexpr int kBlocks[] = {64, 480, 1024};
  Random random(seed);
  Case c{starts[random.below(uint32_t(starts.size()))], kBlocks[random.below(3)], {}};
  c.record[host::kSampleRate] = random.pick(kRates);
  c.record[host::kBitRate] = random.one_in(6) ? random.one_in(2) ? 24.0f : 32.0f : 16.0f;
  c.record[host::kChannels] = random.one_in(8) ? float(random.below(7)) : float(1 + random.below(2));
  c.record[host::kChannelLink] = float(random.below(2));
  for (size_t flag = 10; flag < 18; ++flag) c.record[flag] = float(random.below(2));
  switch (random.below(4)) {
    case 0:
      mutate(random, c.record, 6);
      break;
    case 1:
      all_in_range(random, c.record);
      break;
    case 2:
      extreme_equalizer(random, c.record);
      break;
    default:
      all_in_range(random, c.record), mutate(random, c.record, 20);
      break;
  }
  c.findings = host::check(c.record, c.block);
  return c;
}

// ---- Programmes: interleaved stereo ----------------------------------------------------------------
struct Programme {
  const char* name;
  std::vector<int16_t> pcm;
};

constexpr int kLongest = 384000;  // frames: two seconds at 192 kHz

// Syllables of a buzz through two resonances, with sibilants and silences between them.
std::vector<int16_t> speech() {
  Random random(1);
  std::vector<int16_t> pcm;
  pcm.reserve(size_t{2} * kLongest);
  double low[2] = {}, high[2] = {};
  for (int i = 0; i < kLongest; ++i) {
    const int syllable = i / 9600, at = i % 9600;
    const double buzz = i % (360 + 40 * (syllable % 5)) == 0 ? 1 : 0, hiss = random.between(-1, 1);
    const bool voiced = syllable % 3 != 2 && at < 7000, sibilant = syllable % 4 == 3 && at > 7000;
    const auto ring = [](double(&y)[2], double f, double x) {
      const double now = x + 1.96 * std::cos(f) * y[0] - 0.9604 * y[1];
      y[1] = y[0];
      return y[0] = now;
    };
    const double vowel = ring(low, 0.05 + 0.02 * (syllable % 3), voiced ? buzz : 0) +
                         0.5 * ring(high, 0.15 + 0.05 * (syllable % 4), voiced ? buzz : 0);
    const double x = std::clamp(0.2 * vowel + (sibilant ? 0.3 * hiss : 0), -1.0, 1.0);
    pcm.insert(pcm.end(), 2, int16_t(32767 * x));
  }
  return pcm;
}

std::vector<int16_t> noise() {
  Random random(2);
  std::vector<int16_t> pcm(size_t{2} * kLongest);
  for (int16_t& x : pcm) x = int16_t(random.below(65536) - 32768);
  return pcm;
}

// Between the rails, the channels opposed, at periods of 2 to 4096 samples; an eighth of a second in each, then one
// without a change.
std::vector<int16_t> squares() {
  std::vector<int16_t> pcm;
  pcm.reserve(size_t{2} * kLongest);
  for (int i = 0; i < kLongest; ++i) {
    const int part = i / 6000 % 13;
    const bool up = part == 12 || (i >> part) % 2 == 0;
    pcm.push_back(up ? 32767 : -32768);
    pcm.push_back(up ? -32768 : 32767);
  }
  return pcm;
}

std::vector<Programme> programmes() {
  return {
      {"music", bench::music(kLongest)}, {"speech", speech()}, {"noise", noise()}, {"squares", squares()}};
}

// ---- Playing ---------------------------------------------------------------------------------------
enum Verdict : int { kUnknown, kRefused, kPassed, kNoChain, kNotFinite, kEnded };

// Two seconds; where a value was not finite, which one.
struct Outcome {
  Verdict verdict;
  int programme, frame, channel;
};

Outcome play(const Case& c, const Programme& programme, int number) {
  AudioPostState* const chain = AudioPost_Init(c.record.data(), c.block);
  if (!chain) return {kNoChain, number, 0, 0};
  const int channels = host::field_as_int(c.record, host::kChannels);
  const int rate = host::field_as_int(c.record, host::kSampleRate);
  const int frames = std::clamp(rate > kLongest ? kLongest : 2 * rate, 4 * c.block, kLongest);
  std::vector<int16_t> block(size_t(std::max(1, channels) * c.block));
  Outcome outcome{kPassed, number, 0, 0};
  for (int at = 0; at + c.block <= frames && outcome.verdict == kPassed; at += c.block) {
    for (int i = 0; i < c.block; ++i)
      for (int ch = 0; ch < channels; ++ch)
        block[size_t(i * channels + ch)] = programme.pcm[size_t(2 * (at + i) + ch % 2)];
    AudioPost_Process(chain, block.data(), block.data(), channels, c.block);
    for (size_t ch = 0; ch < chain->channel_buf.size(); ++ch) {
      const float* const x = chain->channel_buf[ch];
      const float* const bad = std::find_if(x, x + c.block, [](float y) { return !std::isfinite(y); });
      if (bad != x + c.block) outcome = {kNotFinite, number, at + int(bad - x), int(ch)};
    }
  }
  AudioPost_Destroy(chain);
  return outcome;
}

Outcome judge(const Case& c, const std::vector<Programme>& all) {
  if (host::refusal(c.findings)) return {kRefused, 0, 0, 0};
  for (size_t i = 0; i < all.size(); ++i) {
    const Outcome outcome = play(c, all[i], int(i));
    if (outcome.verdict != kPassed) return outcome;
  }
  return {kPassed, 0, 0, 0};
}

// Every worker takes the next record that no one has; one that the chain ended is started again.
struct Shared {
  uint32_t next;
  Outcome outcomes[1];
};

void work(Shared* shared, uint32_t first, uint32_t count, const std::vector<Programme>& all) {
  if (!std::freopen("/dev/null", "w", stderr)) std::_Exit(1);
  for (;;) {
    const uint32_t i = __atomic_fetch_add(&shared->next, 1u, __ATOMIC_RELAXED);
    if (i >= count) std::_Exit(0);
    const Case c = make_case(first + i);
    shared->outcomes[i].verdict = kEnded;  // until it has come back
    shared->outcomes[i] = judge(c, all);
  }
}

Shared* run(uint32_t first, uint32_t count, const std::vector<Programme>& all) {
  void* const memory = mmap(nullptr, sizeof(Shared) + count * sizeof(Outcome), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) std::abort();
  auto* const shared = static_cast<Shared*>(memory);
  int running = 0;
  const auto start = [&] {
    ++running;
    if (fork() == 0) work(shared, first, count, all);
  };
  for (long i = std::max(1L, std::min(sysconf(_SC_NPROCESSORS_ONLN), long(count))); i > 0; --i) start();
  for (int status; running > 0 && wait(&status) > 0;) {
    --running;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) start();
  }
  return shared;
}

void report(uint32_t seed, const Outcome& o, const std::vector<Programme>& all) {
  const Case c = make_case(seed);
  const char* const name = all[size_t(o.programme)].name;
  std::printf("seed %u, block %d: ", seed, c.block);
  if (o.verdict == kEnded) std::printf("the process ended\n");
  if (o.verdict == kNoChain) std::printf("AudioPost_Init failed\n");
  if (o.verdict == kNotFinite)
    std::printf("%s, channel %d: not finite at frame %d\n", name, o.channel, o.frame);
  for (const host::Finding& f : c.findings)
    if (f.severity >= host::Severity::warning) std::printf("  %s: %s\n", f.where.c_str(), f.text.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const uint32_t count = argc > 1 ? uint32_t(std::strtoul(argv[1], nullptr, 10)) : 0;
  const uint32_t first = argc > 2 ? uint32_t(std::strtoul(argv[2], nullptr, 10)) : 0;
  if (argc > 3 || count < 1) {
    std::fprintf(stderr, "usage: check_records COUNT [FIRST_SEED]\n");
    return 2;
  }
  const std::vector<Programme> all = programmes();
  const Shared* const shared = run(first, count, all);
  uint32_t refused = 0, wrong = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const Outcome& o = shared->outcomes[i];
    refused += o.verdict == kRefused;
    if (o.verdict == kRefused || o.verdict == kPassed) continue;
    ++wrong;
    report(first + i, o, all);
  }
  if (count == 1) std::printf("%s", host::to_text(make_case(first).record).c_str());
  std::printf("%u records, %u refused (%.1f %%), %u run, %u counterexamples\n", count, refused,
              100.0 * refused / count, count - refused, wrong);
  return wrong > 0;
}
