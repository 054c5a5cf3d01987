/* The public header in C: a host's calls, compiled as C99. */
#include "zelkaudio_effect_eqdrc.h"

int header_used_from_c(void);

int header_used_from_c(void) {
  AudioPostParam record = {48000, 16, 0, 1, 2};
  int16_t block[2] = {100, -100};
  AudioPostState* chain;
  record[20] = 20;
  chain = AudioPost_Init(record, 2);
  AudioPost_Process(chain, block, block, 1, 2);
  AudioPost_Destroy(chain);
  return block[0] == 1000 && block[1] == -1000;
}
