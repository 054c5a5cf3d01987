// The readable forms for the processor the build is for.

#define TARGET scalar

#include "targets/run.h"
#include "targets/targets.h"

const lanes::Target targets::kScalar{"scalar",
                                     targets::always,
                                     TARGET::run,
                                     TARGET::plain_peak,
                                     TARGET::plain_mean_squares,
                                     TARGET::plain_ramp,
                                     TARGET::plain_from_pcm,
                                     TARGET::plain_to_pcm};
