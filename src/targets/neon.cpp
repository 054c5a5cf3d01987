// The lanes with NEON, which every 64-bit Arm has.
#if defined(__aarch64__)
#define TARGET neon
#include "lanes/vector_neon.h"
#include "targets/run.h"
#include "targets/targets.h"

const lanes::Target targets::kNeon{"neon",
                                   targets::always,
                                   TARGET::run,
                                   TARGET::lanes_peak,
                                   TARGET::lanes_mean_squares,
                                   TARGET::lanes_ramp,
                                   TARGET::lanes_from_pcm,
                                   TARGET::lanes_to_pcm};
#endif
