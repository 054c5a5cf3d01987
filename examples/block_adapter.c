/* A host whose audio arrives in pieces of any size, while the chain takes blocks of exactly one: standard input to
 * standard output, stereo, 16 bit, with the tuning in tuning.bin. Every piece is answered by as many frames as it has,
 * one block late, so the pieces' sizes may change at any time and nothing ever waits. */
#include <stdio.h>
#include <stdlib.h>
#include <zelkaudio_effect_eqdrc.h>

enum { BLOCK = 480, CHANNELS = 2 };

/* While a block of input fills, the output of the block before is handed out from the same places. */
struct adapter {
  AudioPostState* chain;
  int16_t pcm[BLOCK *
              CHANNELS]; /* up to `filled` new input, from there on output that is still to be handed out */
  int filled;            /* frames */
};

static void adapt(struct adapter* a, const int16_t* in, int16_t* out, int frames) {
  while (frames > 0) {
    int n = BLOCK - a->filled < frames ? BLOCK - a->filled : frames;
    int16_t* slot = a->pcm + a->filled * CHANNELS;
    for (int i = 0; i < n * CHANNELS; ++i) { /* in and out may be the same */
      int16_t sample = in[i];
      out[i] = slot[i];
      slot[i] = sample;
    }
    in += n * CHANNELS, out += n * CHANNELS, frames -= n;
    a->filled += n;
    if (a->filled == BLOCK) {
      AudioPost_Process(a->chain, a->pcm, a->pcm, CHANNELS, BLOCK);
      a->filled = 0;
    }
  }
}

int main(void) {
  static struct adapter adapter; /* zero: the first block's worth of output is silence */
  static const int sizes[] = {441, 64, 1000, 1, 480, 959};
  AudioPostParam tuning;
  int16_t piece[1000 * CHANNELS];
  FILE* file = fopen("tuning.bin", "rb");
  if (!file || fread(tuning, sizeof tuning, 1, file) != 1) return EXIT_FAILURE;
  fclose(file);
  if (tuning[AUDIOPOST_CHANNELS] != CHANNELS)
    return EXIT_FAILURE; /* the chain reads and writes as many as the record says */
  adapter.chain = AudioPost_Init(tuning, BLOCK);
  if (!adapter.chain) return EXIT_FAILURE;
  for (int n = 0;; ++n) {
    size_t frames = fread(piece, 2 * CHANNELS, (size_t)sizes[n % 6], stdin);
    if (frames == 0) break;
    adapt(&adapter, piece, piece, (int)frames);
    fwrite(piece, 2 * CHANNELS, frames, stdout);
  }
  AudioPost_Destroy(adapter.chain);
  return EXIT_SUCCESS;
}
