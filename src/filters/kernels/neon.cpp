// The lane kernels with NEON, which every 64-bit Arm has.
#if defined(__aarch64__)
#include <arm_neon.h>

#include "common/numeric.h"
#include "filters/biquad.h"
#include "filters/kernels/rows.h"

namespace filters::neon {
namespace {
#include "filters/kernels/vector_neon.inl"

#include "filters/kernels/lane_kernels.inl"
}  // namespace

const Kernels kRow{"neon",          always,         lanes_cascade,
                   lanes_multiband, lanes_bass,     lanes_exciter,
                   lanes_de_esser,  lanes_tone,     lanes_cascade_multiband,
                   lanes_meter,     lanes_peak,     lanes_mean_squares,
                   lanes_ramp,      lanes_from_pcm, lanes_to_pcm};

}  // namespace filters::neon
#endif
