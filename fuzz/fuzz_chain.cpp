// A tuning record of arbitrary bytes, audio through it, a second record, more audio.
// Input: one byte of choices, one of block length, two records of 2000 bytes, then 16-bit PCM.
#include <algorithm>

#include "common/numeric.h"
#include "fuzz/fuzz.h"

namespace {

// Half of the choices make a record that Init accepts, so that mutations reach the effects.
void mend(float* record, uint8_t choices) {
  if (choices & 1) record[4] = 2.0f;
  if (choices & 2) record[1] = choices & 4 ? 16.0f : 24.0f;
  if (choices & 8) record[3] = choices & 16 ? 1.0f : 2.0f;
  if (choices & 32) record[0] = choices & 64 ? 48000.0f : 8000.0f;
}

void run(AudioPostState* chain, const std::vector<float>& first, std::vector<float> second, int frames,
         fuzz::Input& input) {
  // A host's buffers hold its own channel count, whatever a later record says.
  const size_t channels = static_cast<size_t>(std::clamp(common::truncate_to_int(first[3]), 0, 1024));
  std::vector<int16_t> pcm(channels * static_cast<size_t>(frames)), out(pcm.size());
  const auto process = [&](int blocks) {
    for (int i = 0; i < blocks; ++i) {
      for (size_t k = 0; k < std::min<size_t>(pcm.size(), 512); ++k) pcm[k] = input.raw<int16_t>();
      AudioPost_Process(chain, pcm.data(), out.data(), 2, frames);
    }
  };
  process(3);
  std::vector<float> read_back(AUDIOPOST_PARAM_LENGTH);
  AudioPost_GetPara(chain, read_back.data());
  AudioPost_SetPara(chain, second.data(), frames);
  process(3);
  AudioPost_GetPara(chain, read_back.data());
  AudioPost_SetPara(chain, read_back.data(), frames);
  process(1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto choices = input.raw<uint8_t>();
  const int frames = input.raw<uint8_t>();
  std::vector<float> records[2];
  for (auto& record : records) {
    record.resize(AUDIOPOST_PARAM_LENGTH);
    for (float& v : record) v = input.raw<float>();
    mend(record.data(), choices);
  }
  AudioPostState* chain = nullptr;
  fuzz::completes([&] {
    chain = AudioPost_Init(records[0].data(), frames);
    if (chain) run(chain, records[0], records[1], frames, input);
  });
  AudioPost_Destroy(chain);
  return 0;
}
