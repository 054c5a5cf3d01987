// The library's `main`: runs the chain over a raw PCM file, with fixed file names in the working directory.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "common/numeric.h"
#include "zelkaudio_effect_eqdrc.h"

namespace {

constexpr int kFrames = 1024, kChannels = 2;
constexpr size_t kFrameBytes = kChannels * sizeof(int16_t);
using Block = std::array<int16_t, kFrames * kChannels>;

char kInput[] = "raw.pcm", kOutput[] = "process.pcm", kTuning[] = "0522_48000HZ.bin";

// A tuning file that is missing or short ends the process.
void read_tuning(const char* path, AudioPostParam& record) {
  std::FILE* file = std::fopen(path, "rb");
  const size_t count = file ? std::fread(record, sizeof(float), AUDIOPOST_PARAM_LENGTH, file) : 0;
  if (file) std::fclose(file);
  if (count == AUDIOPOST_PARAM_LENGTH) return;
  std::puts("error");
  std::exit(-1);
}

// A chain takes as many channels as its record says, and a block has room for the file's two. With an effect made for
// two, AudioPost_Init has ended the process before that is looked at.
AudioPostState* chain_for_file(const AudioPostParam& record) {
  AudioPostState* const chain = AudioPost_Init(record, kFrames);
  if (!chain || common::truncate_to_int(record[AUDIOPOST_CHANNELS]) <= kChannels) return chain;
  std::fputs("The record has more channels than the file\n", stderr);
  AudioPost_Destroy(chain);
  return nullptr;
}

// Whole blocks only: a final partial block is dropped. A null handle leaves every block as it was.
void process_blocks(AudioPostState* chain, std::FILE* input, std::FILE* output) {
  Block block;
  while (input && std::fread(block.data(), kFrameBytes, kFrames, input) == kFrames) {
    AudioPost_Process(chain, block.data(), block.data(), kChannels, kFrames);
    if (!output || std::fwrite(block.data(), kFrameBytes, kFrames, output) != kFrames)
      std::fputs("file write error\n", stderr);
  }
}

}  // namespace

// The names go into argv whatever argc is: the caller's vector has room for them.
[[gnu::visibility("default")]] int main(int /*argc*/, char** argv) {
  argv[1] = kInput, argv[2] = kOutput, argv[3] = kTuning;
  std::FILE* input = std::fopen(argv[1], "rb");
  std::FILE* output = std::fopen(argv[2], "wb");
  if (!input || !output) std::fputs("open file fail", stderr);

  AudioPostParam record{};
  read_tuning(argv[3], record);
  if (common::truncate_to_int(record[AUDIOPOST_SAMPLE_RATE]) != 48000)
    std::fputs("Sample rate is wrong \n", stderr);

  const std::clock_t start = std::clock();
  AudioPostState* chain = chain_for_file(record);
  process_blocks(chain, input, output);
  const double seconds = static_cast<double>(std::clock() - start) / 1000000.0;
  std::printf("Finished, speech_time = %f, cost_time = %f\n", 0.0, seconds);

  AudioPost_Destroy(chain);
  if (input) std::fclose(input);
  if (output) std::fclose(output);
  return 0;
}
