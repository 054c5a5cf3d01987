/* The checker's header in C, alone: what a device does with a record from outside, compiled as C99. */
#include "audiopost_check.h"

int checked_from_c(const float* record, char* text, int room);

int checked_from_c(const float* record, char* text, int room) {
  audiopost_finding first;
  if (!AUDIOPOST_REFUSED(audiopost_check_worst(record, 480))) return 0;
  if (audiopost_check(record, 480, &first, 1) < 1) return -1;
  return audiopost_check_text(&first, text, room);
}
