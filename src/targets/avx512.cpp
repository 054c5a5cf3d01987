// The lanes with AVX-512, of which they use the registers, not the width.
#if defined(__x86_64__)
#define TARGET avx512
#include "lanes/vector_x86.h"
#include "targets/run.h"
#include "targets/targets.h"

const lanes::Target targets::kAvx512{"avx512",
                                     targets::has_avx512,
                                     TARGET::run,
                                     TARGET::lanes_peak,
                                     TARGET::lanes_mean_squares,
                                     TARGET::lanes_ramp,
                                     TARGET::lanes_from_pcm,
                                     TARGET::lanes_to_pcm};
#endif
