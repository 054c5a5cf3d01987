// A tuning record of arbitrary bytes, audio through it, a second record, more audio.
// Input: one byte of choices, one of block length, two records of 2000 bytes, then 16-bit PCM.
#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto choices = input.raw<uint8_t>();
  const int frames = input.raw<uint8_t>();
  const auto first = fuzz::record(input, choices), second = fuzz::record(input, choices);
  std::vector<int16_t> pcm(static_cast<size_t>(fuzz::channels_of(first) * frames)), out(pcm.size());
  AudioPostState* chain = nullptr;
  const auto process = [&](int blocks) {
    for (int i = 0; i < blocks; ++i) {
      for (size_t k = 0; k < std::min<size_t>(pcm.size(), 512); ++k) pcm[k] = input.raw<int16_t>();
      AudioPost_Process(chain, pcm.data(), out.data(), 2, frames);
    }
  };
  fuzz::completes([&] {
    chain = AudioPost_Init(first.data(), frames);
    if (!chain) return;
    process(3);
    std::vector<float> read_back(AUDIOPOST_PARAM_LENGTH);
    AudioPost_GetPara(chain, read_back.data());
    AudioPost_SetPara(chain, second.data(), frames);
    process(3);
    AudioPost_GetPara(chain, read_back.data());
    AudioPost_SetPara(chain, read_back.data(), frames);
    process(1);
  });
  AudioPost_Destroy(chain);
  return 0;
}
