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
#include <vector>

#include "chain/chain.h"
#include "records/random_records.h"

using records::Case, records::make_case, records::Random;

namespace {

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
  const int channels = host::field_as_int(c.record, AUDIOPOST_CHANNELS);
  const int rate = host::field_as_int(c.record, AUDIOPOST_SAMPLE_RATE);
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
