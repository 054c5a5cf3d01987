// The readable forms with fused multiply-add as an instruction.
#if defined(__x86_64__)
#define TARGET scalar_fma

#include "targets/run.h"
#include "targets/targets.h"

const lanes::Target targets::kScalarFma{
    "scalar+fma",           targets::has_avx2,          TARGET::run,
    TARGET::plain_peak,     TARGET::plain_mean_squares, TARGET::plain_ramp,
    TARGET::plain_from_pcm, TARGET::plain_to_pcm};
#endif
