#include <stdio.h>
#include <zelkaudio_effect_eqdrc.h>
int main(void) { /* stereo, 16 bit: standard input to standard output, in blocks of 480 frames */
  AudioPostParam tuning;
  int16_t block[480 * 2];
  FILE* file = fopen("tuning.bin", "rb");
  if (!file || fread(tuning, sizeof tuning, 1, file) != 1 || tuning[AUDIOPOST_CHANNELS] != 2) return 1;
  AudioPostState* chain = AudioPost_Init(tuning, 480);
  while (fread(block, 4, 480, stdin) == 480) {
    AudioPost_Process(chain, block, block, 2, 480);
    fwrite(block, 4, 480, stdout);
  }
  AudioPost_Destroy(chain);
  return fclose(file);
}
