// check_records COUNT [FIRST_SEED]: holds the checker to the chain. Random and mutated records go through it; each that
// it does not refuse plays two seconds of music, speech, noise and full-scale square waves, and must neither end the
// process nor leave a value that is not finite in the chain's buffers. Prints how many it refuses and every
// counterexample; fails if there is one. check_records 1 SEED shows what becomes of one record.
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

// Syllables of a buzz through a resonance, with sibilants and silences between them.
std::vector<int16_t> speech() {
  Random random(1);
  std::vector<int16_t> pcm;
  double y1 = 0, y2 = 0;
  for (int i = 0; i < kLongest; ++i) {
    const int syllable = i / 9600, at = i % 9600;
    const double buzz = syllable % 3 != 2 && at < 7000 && i % (360 + 40 * (syllable % 5)) == 0 ? 1 : 0;
    const double y = buzz + 1.96 * std::cos(0.05 + 0.02 * (syllable % 3)) * y1 - 0.9604 * y2;
    y2 = y1, y1 = y;
    const double hiss = syllable % 4 == 3 && at > 7000 ? random.between(-0.3f, 0.3f) : 0;
    pcm.insert(pcm.end(), 2, int16_t(32767 * std::clamp(0.25 * y + hiss, -1.0, 1.0)));
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
enum Verdict : int { kPassed, kRefused, kNoChain, kNotFinite, kEnded };
const char* const kVerdicts[] = {"passed", "refused", "AudioPost_Init failed", "a value is not finite",
                                 "the process ended"};

// Two seconds of each; `programme` says which one.
Verdict play(const Case& c, const std::vector<int16_t>& pcm) {
  AudioPostState* const chain = AudioPost_Init(c.record.data(), c.block);
  if (!chain) return kNoChain;
  const int channels = host::field_as_int(c.record, AUDIOPOST_CHANNELS);
  const int rate = host::field_as_int(c.record, AUDIOPOST_SAMPLE_RATE);
  const int frames = std::clamp(rate > kLongest ? kLongest : 2 * rate, 4 * c.block, kLongest);
  std::vector<int16_t> block(size_t(std::max(1, channels) * c.block));
  Verdict verdict = kPassed;
  for (int at = 0; at + c.block <= frames && verdict == kPassed; at += c.block) {
    for (int i = 0; i < c.block; ++i)
      for (int ch = 0; ch < channels; ++ch)
        block[size_t(i * channels + ch)] = pcm[size_t(2 * (at + i) + ch % 2)];
    AudioPost_Process(chain, block.data(), block.data(), channels, c.block);
    for (const float* const x : chain->channel_buf)
      if (!std::all_of(x, x + c.block, [](float y) { return std::isfinite(y); })) verdict = kNotFinite;
  }
  AudioPost_Destroy(chain);
  return verdict;
}

// In a process of its own, which the chain may end.
Verdict judge(const Case& c, const std::vector<Programme>& all) {
  if (host::refusal(c.findings)) return kRefused;
  std::fflush(stdout);  // or the end of the child would write it, too
  const pid_t child = fork();
  if (child == 0) {
    if (!std::freopen("/dev/null", "w", stderr)) std::_Exit(kEnded);
    Verdict verdict = kPassed;
    for (const Programme& programme : all)
      if (verdict == kPassed) verdict = play(c, programme.pcm);
    std::_Exit(verdict);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) < kEnded ? Verdict(WEXITSTATUS(status)) : kEnded;
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
  uint32_t refused = 0, wrong = 0;
  for (uint32_t seed = first; seed < first + count; ++seed) {
    const Case c = make_case(seed);
    const Verdict verdict = judge(c, all);
    refused += verdict == kRefused, wrong += verdict > kRefused;
    if (verdict <= kRefused) continue;
    std::printf("seed %u, block %d: %s\n", seed, c.block, kVerdicts[verdict]);
    for (const host::Finding& f : c.findings)
      if (f.severity >= host::Severity::warning) std::printf("  %s: %s\n", f.where.c_str(), f.text.c_str());
  }
  if (count == 1) std::printf("%s", host::to_text(make_case(first).record).c_str());
  std::printf("%u records, %u refused, %u run, %u counterexamples\n", count, refused, count - refused, wrong);
  return wrong > 0;
}
