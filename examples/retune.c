/* A host that turns knobs while the chain plays: standard input to standard output, stereo, 16 bit, 48 kHz, with the
 * tuning in tuning.bin. After one second it softens the treble, after two it lowers the limiter, after three it turns
 * the compressor off. The host's own record is the truth and every knob is turned there too, because AudioPost_GetPara
 * does not read back everything. All of it happens between two blocks, on the thread that processes: retuning must not
 * overlap AudioPost_Process, and may allocate. */
#include <stdio.h>
#include <stdlib.h>
#include <zelkaudio_effect_eqdrc.h>

enum { BLOCK = 480, SECOND = 100 }; /* frames in a block, blocks in a second */
/* Indices of the tuning record: docs/tuning-record.md. */
enum { CHANNELS = 3, DRC_FLAG = 15, LIMITER_FLAG = 17, EQ10_SECTION = 100, LIMITER_SECTION = 400 };

/* One effect: the last band of both channels becomes a dip at 3 kHz. The chain's equalizer goes on without a click.
 * Without one this does nothing. */
static void soften(AudioPostState* chain, float* tuning) {
  for (int channel = 0; channel < 2; ++channel) {
    float* band = tuning + EQ10_SECTION + 50 * channel + 45;
    band[0] = 1, band[1] = Parametric, band[2] = 3000, band[3] = 0.7f, band[4] = -6;
  }
  AudioPost_EQ10_SetPara(chain, tuning + EQ10_SECTION);
}

/* One stage of one channel at a time: the cheapest knob. Without a limiter it would end the process. */
static void limit_lower(AudioPostState* chain, float* tuning) {
  if ((int)tuning[LIMITER_FLAG] == 0) return;
  for (int channel = 0; channel < 2; ++channel) {
    float* limiter = tuning + LIMITER_SECTION + 20 * channel;
    limiter[0] = -9, limiter[1] = -8, limiter[2] = 100;
    AudioPost_Maximizer_AdjustPara(chain, channel, limiter[0], limiter[1], limiter[2]);
  }
}

/* The whole record: what is turned off stops, keeps its state, and can be turned on again. */
static void without_compressor(AudioPostState* chain, float* tuning) {
  tuning[DRC_FLAG] = 0;
  AudioPost_SetPara(chain, tuning, BLOCK);
}

int main(void) {
  AudioPostParam tuning;
  int16_t block[BLOCK * 2];
  FILE* file = fopen("tuning.bin", "rb");
  if (!file || fread(tuning, sizeof tuning, 1, file) != 1) return EXIT_FAILURE;
  fclose(file);
  if (tuning[CHANNELS] != 2) return EXIT_FAILURE; /* the chain reads and writes as many as the record says */
  AudioPostState* chain = AudioPost_Init(tuning, BLOCK);
  if (!chain) return EXIT_FAILURE;
  for (int n = 0; fread(block, 4, BLOCK, stdin) == BLOCK; ++n) {
    if (n == SECOND) soften(chain, tuning);
    if (n == 2 * SECOND) limit_lower(chain, tuning);
    if (n == 3 * SECOND) without_compressor(chain, tuning);
    AudioPost_Process(chain, block, block, 2, BLOCK);
    fwrite(block, 4, BLOCK, stdout);
  }
  AudioPost_Destroy(chain);
  return EXIT_SUCCESS;
}
