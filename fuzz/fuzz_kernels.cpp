// Two tuning records of arbitrary bytes and audio through two chains, one with the scalar kernels, one with a row of the
// kernel table that changes from block to block: the output is the same to the bit.
// Input: one byte of choices, one of block length, two records of 2000 bytes, then 16-bit PCM.
#include <cstdlib>

#include "fuzz/fuzz.h"
#include "lanes/target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto choices = input.raw<uint8_t>();
  const int frames = input.raw<uint8_t>();
  const auto first = fuzz::record(input, choices), second = fuzz::record(input, choices);
  std::vector<int16_t> pcm(static_cast<size_t>(fuzz::channels_of(first) * frames)), out[2] = {pcm, pcm};
  AudioPostState* chains[2] = {};
  const auto process = [&](int blocks) {
    for (int block = 0; block < blocks; ++block) {
      for (size_t k = 0; k < std::min<size_t>(pcm.size(), 512); ++k) pcm[k] = input.raw<int16_t>();
      const int row = block % 3 == 2 ? 0 : 1 + block % (lanes::kTargetCount - 1);
      const int rows[2] = {0, lanes::kTargets[row]->runs_here() ? row : 0};
      for (size_t i : {0u, 1u}) {
        lanes::use_target(*lanes::kTargets[rows[i]]);
        AudioPost_Process(chains[i], pcm.data(), out[i].data(), 2, frames);
      }
      if (out[0] != out[1]) std::abort();
    }
  };
  const auto retune = [&](const std::vector<float>& record) {
    for (AudioPostState* chain : chains) AudioPost_SetPara(chain, record.data(), frames);
  };
  fuzz::completes([&] {
    for (AudioPostState*& chain : chains) chain = AudioPost_Init(first.data(), frames);
    if (!chains[0] || !chains[1]) return;
    process(8);
    retune(second);
    process(4);
    std::vector<float> read_back(AUDIOPOST_PARAM_LENGTH);
    AudioPost_GetPara(chains[0], read_back.data());
    retune(read_back);
    process(2);
  });
  for (AudioPostState* chain : chains) AudioPost_Destroy(chain);
  return 0;
}
