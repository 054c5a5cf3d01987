// The lanes with AVX2 and FMA.
#if defined(__x86_64__)
#define TARGET avx2
#include "lanes/vector_x86.h"
#include "targets/run.h"
#include "targets/targets.h"

const lanes::Target targets::kAvx2{"avx2",
                                   targets::has_avx2,
                                   TARGET::run,
                                   TARGET::lanes_peak,
                                   TARGET::lanes_mean_squares,
                                   TARGET::lanes_ramp,
                                   TARGET::lanes_from_pcm,
                                   TARGET::lanes_to_pcm};
#endif
