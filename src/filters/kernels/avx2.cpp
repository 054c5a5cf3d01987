// The lane kernels with AVX2 and FMA.
#if defined(__x86_64__)
#include <immintrin.h>

#include "common/numeric.h"
#include "filters/biquad.h"
#include "filters/kernels/rows.h"

namespace filters::avx2 {
namespace {
#include "filters/kernels/vector_x86.inl"

#include "filters/kernels/lane_kernels.inl"
}  // namespace

const Kernels kRow{"avx2",        has_avx2,           lanes_cascade, lanes_multiband,         lanes_bass,
                   lanes_exciter, lanes_de_esser,     lanes_tone,    lanes_cascade_multiband, lanes_meter,
                   lanes_peak,    lanes_mean_squares, lanes_ramp,    lanes_from_pcm,          lanes_to_pcm};

}  // namespace filters::avx2
#endif
