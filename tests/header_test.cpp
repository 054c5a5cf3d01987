// The public header first and alone, as a C++ host includes it.
#include "zelkaudio_effect_eqdrc.h"

#include "support.h"

extern "C" int header_used_from_c(void);

TEST_CASE("a C host and a C++ host use the same header and the same functions") {
  CHECK(header_used_from_c() == 1);
  AudioPostParam record = {48000, 16, 0, 1, 2};
  int16_t sample = 12;
  AudioPostState* chain = AudioPost_Init(record, 1);
  AudioPost_Process(chain, &sample, &sample, 1, 1);
  AudioPost_Destroy(chain);
  CHECK(sample == 12);
}
