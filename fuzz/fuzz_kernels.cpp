// Arbitrary records and samples through two chains, one with the scalar kernels, one with a row of the kernel table that
// changes from block to block: the output is the same to the bit.
// Input: as fuzz_chain's: choices, block length, a record of 2000 bytes, then 16-bit PCM.
#include <cstdlib>

#include "fuzz/fuzz.h"
#include "lanes/target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto choices = input.raw<uint8_t>();
  const int frames = input.raw<uint8_t>();
  const auto record = fuzz::record(input, choices);
  AudioPostState* chains[2] = {};
  fuzz::completes([&] {
    for (AudioPostState*& chain : chains) chain = AudioPost_Init(record.data(), frames);
    if (!chains[0] || !chains[1]) return;
    std::vector<int16_t> pcm(static_cast<size_t>(fuzz::channels_of(record) * frames)), out[2] = {pcm, pcm};
    for (int block = 0; block < 8; ++block) {
      for (int16_t& x : pcm) x = input.raw<int16_t>();
      const int row = block % 3 == 2 ? 0 : 1 + block % (lanes::kTargetCount - 1);
      const int rows[2] = {0, lanes::kTargets[row]->runs_here() ? row : 0};
      for (size_t i : {0u, 1u}) {
        lanes::use_target(*lanes::kTargets[rows[i]]);
        AudioPost_Process(chains[i], pcm.data(), out[i].data(), 2, frames);
      }
      if (out[0] != out[1]) std::abort();
    }
  });
  for (AudioPostState* chain : chains) AudioPost_Destroy(chain);
  return 0;
}
