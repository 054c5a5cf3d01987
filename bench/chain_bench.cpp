// chain_bench RECORD: nanoseconds per stereo frame of each effect of a tuning record alone, and of all
// together.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "zelkaudio_effect_eqdrc.h"

namespace {

constexpr int kFrames = 480, kBlocks = 100, kRounds = 15;
constexpr int kFirstFlag = 10, kFlags = 8;
const char* const kNames[kFlags] = {"AutoGain", "BassEnhancer", "Exciter", "DeEsser",
                                    "EQ10",     "MultiBandDRC", "Agc",     "Maximizer"};

// The fastest round: what else the machine does only ever adds.
double ns_per_frame(const AudioPostParam& record, const std::vector<int16_t>& input) {
  AudioPostState* const chain = AudioPost_Init(record, kFrames);
  if (!chain) return 0;
  std::vector<int16_t> output(input.size());
  double best = 1e30;
  for (int round = 0; round < kRounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    for (int block = 0; block < kBlocks; ++block)
      AudioPost_Process(chain, input.data(), output.data(), 2, kFrames);
    const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
    best = std::min(best, time.count() / (kBlocks * kFrames));
  }
  AudioPost_Destroy(chain);
  return best;
}

void report(const char* name, double ns) {
  std::printf("%-14s %8.1f ns/frame  %8.0f x real time at 48 kHz\n", name, ns, 1e9 / 48000 / ns);
}

}  // namespace

int main(int argc, char** argv) {
  AudioPostParam all{};
  std::FILE* const file = argc == 2 ? std::fopen(argv[1], "rb") : nullptr;
  if (!file || std::fread(all, sizeof(float), AUDIOPOST_PARAM_LENGTH, file) != AUDIOPOST_PARAM_LENGTH) {
    std::fputs("usage: chain_bench RECORD\n", stderr);
    return EXIT_FAILURE;
  }
  std::fclose(file);
  std::vector<int16_t> input(size_t{kFrames} * 2);
  uint32_t random = 1;
  for (int16_t& sample : input) {
    random = random * 1664525u + 1013904223u;
    sample = static_cast<int16_t>(static_cast<int32_t>(random) >> 18);  // noise at -12 dBFS
  }
  for (int only = -1; only < kFlags; ++only) {
    AudioPostParam record;
    std::copy(all, all + AUDIOPOST_PARAM_LENGTH, record);
    for (int flag = 0; flag < kFlags; ++flag) record[kFirstFlag + flag] = flag == only ? 1.0f : 0.0f;
    report(only < 0 ? "no effect" : kNames[only], ns_per_frame(record, input));
  }
  report("as tuned", ns_per_frame(all, input));
  return EXIT_SUCCESS;
}
