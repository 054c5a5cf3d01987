/* A host that turns knobs while the chain plays: standard input to standard output, stereo, 16 bit, 48 kHz, with the
 * tuning in tuning.bin. After one second it softens the treble, after two it lowers the limiter, after three it turns
 * the compressor off. The host's own record is the truth and every knob is turned there too, because AudioPost_GetPara
 * does not read back everything. All of it happens between two blocks, on the thread that processes: retuning must not
 * overlap AudioPost_Process, and may allocate. */
#include <stdio.h>
#include <stdlib.h>
#include <zelkaudio_effect_eqdrc.h>

enum { BLOCK = 480, SECOND = 100 }; /* frames in a block, blocks in a second */

/* One effect: the last band of both channels becomes a dip at 3 kHz. The chain's equalizer goes on without a click.
 * Without one this does nothing. */
static void soften(AudioPostState* chain, float* tuning) {
  for (int channel = 0; channel < 2; ++channel) {
    float* band =
        tuning + AUDIOPOST_EQ10_SECTION + AUDIOPOST_EQ10_STRIDE * channel + 9 * AUDIOPOST_EQ10_BAND_STRIDE;
    band[AUDIOPOST_EQ10_BAND_ENABLE] = 1, band[AUDIOPOST_EQ10_TYPE] = Parametric;
    band[AUDIOPOST_EQ10_FC] = 3000, band[AUDIOPOST_EQ10_Q] = 0.7f, band[AUDIOPOST_EQ10_BOOST] = -6;
  }
  AudioPost_EQ10_SetPara(chain, tuning + AUDIOPOST_EQ10_SECTION);
}

/* One stage of one channel at a time: the cheapest knob. Without a limiter it would end the process. */
static void limit_lower(AudioPostState* chain, float* tuning) {
  if ((int)tuning[AUDIOPOST_MAXIMIZER_ENABLE] == 0) return;
  for (int channel = 0; channel < 2; ++channel) {
    float* limiter = tuning + AUDIOPOST_MAXIMIZER_SECTION + AUDIOPOST_MAXIMIZER_STRIDE * channel;
    limiter[AUDIOPOST_MAXIMIZER_MAX_THRESHOLD] = -9, limiter[AUDIOPOST_MAXIMIZER_CEILING] = -8;
    limiter[AUDIOPOST_MAXIMIZER_RELEASE] = 100;
    AudioPost_Maximizer_AdjustPara(chain, channel, -9, -8, 100);
  }
}

/* The whole record: what is turned off stops, keeps its state, and can be turned on again. */
static void without_compressor(AudioPostState* chain, float* tuning) {
  tuning[AUDIOPOST_DRC_ENABLE] = 0;
  AudioPost_SetPara(chain, tuning, BLOCK);
}

int main(void) {
  AudioPostParam tuning;
  int16_t block[BLOCK * 2];
  FILE* file = fopen("tuning.bin", "rb");
  if (!file || fread(tuning, sizeof tuning, 1, file) != 1) return EXIT_FAILURE;
  fclose(file);
  if (tuning[AUDIOPOST_CHANNELS] != 2)
    return EXIT_FAILURE; /* the chain reads and writes as many as the record says */
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
