// Arbitrary records and samples through two chains, one with the scalar kernels, one with a row of the kernel table that
// changes from block to block: the output is the same to the bit.
// Input: as fuzz_chain's: choices, block length, a record of 2000 bytes, then 16-bit PCM.
#include <algorithm>
#include <cstdlib>

#include "common/numeric.h"
#include "filters/kernels/kernels.h"
#include "fuzz/fuzz.h"

namespace {

// Most choices make a record that Init accepts, so that mutations reach the kernels.
void mend(float* record, uint8_t choices) {
  if (choices & 1) record[4] = 2.0f;
  if (choices & 2) record[1] = choices & 4 ? 16.0f : 32.0f;
  if (choices & 8) record[3] = choices & 16 ? 1.0f : 2.0f;
  if (choices & 32) record[0] = 48000.0f;
  if (choices & 64) std::fill_n(record + 10, 8, 1.0f);
  if (choices & 128) record[33] = record[34] = 400.0f;
}

void process(AudioPostState* chain, const filters::Kernels& row, const std::vector<int16_t>& pcm,
             std::vector<int16_t>& out, int frames) {
  filters::use_kernels(row);
  AudioPost_Process(chain, pcm.data(), out.data(), 2, frames);
}

void compare(AudioPostState* const (&chains)[2], size_t channels, int frames, fuzz::Input& input) {
  std::vector<int16_t> pcm(channels * static_cast<size_t>(frames)), out[2] = {pcm, pcm};
  for (int block = 0; block < 8; ++block) {
    for (int16_t& x : pcm) x = input.raw<int16_t>();
    const filters::Kernels& row =
        filters::kKernelTable[block % 3 == 2 ? 0 : 1 + block % (filters::kKernelCount - 1)];
    process(chains[0], filters::kKernelTable[0], pcm, out[0], frames);
    process(chains[1], row.runs_here() ? row : filters::kKernelTable[0], pcm, out[1], frames);
    if (out[0] != out[1]) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto choices = input.raw<uint8_t>();
  const int frames = input.raw<uint8_t>();
  std::vector<float> record(AUDIOPOST_PARAM_LENGTH);
  for (float& v : record) v = input.raw<float>();
  mend(record.data(), choices);
  AudioPostState* chains[2] = {};
  fuzz::completes([&] {
    for (AudioPostState*& chain : chains) chain = AudioPost_Init(record.data(), frames);
    if (chains[0] && chains[1])
      compare(chains, static_cast<size_t>(std::clamp(common::truncate_to_int(record[3]), 0, 1024)), frames,
              input);
  });
  for (AudioPostState* chain : chains) AudioPost_Destroy(chain);
  return 0;
}
