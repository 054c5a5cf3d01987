// A host that runs the full chain and prints its output. Built twice: once as it is, and once (DECOYS) defining functions
// of its own under the library's inner names, as a host with other loudness or filter code would.
#include <cstdio>
#include <cstdlib>

#include "full_record.h"

#ifdef DECOYS
#define DECOY(name)                                                                     \
  extern "C" __attribute__((visibility("default"))) void name##_decoy() __asm__(#name); \
  extern "C" void name##_decoy() { std::abort(); }
DECOY(ebur128_init)
DECOY(filter_calculateCoeffs)
DECOY(table_search)
DECOY(EQ10_Process)
DECOY(Agc_Process)
#endif

int main() {
  constexpr int kFrames = 480;
  const auto record = support::full_record();
  AudioPostState* chain = AudioPost_Init(record.data(), kFrames);
  const auto out = support::through_chain(chain, support::noise_pcm(2 * 48000), 2, kFrames);
  AudioPost_SetPara(chain, record.data(), kFrames);
  const auto more = support::through_chain(chain, out, 2, kFrames);
  AudioPost_Destroy(chain);
  for (const auto& pcm : {out, more}) std::fwrite(pcm.data(), sizeof(int16_t), pcm.size(), stdout);
  return 0;
}
