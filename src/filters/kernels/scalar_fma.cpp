// The plain kernels, compiled with the flags of the AVX2 row.
#if defined(__x86_64__)
#include "common/numeric.h"
#include "filters/biquad.h"
#include "filters/kernels/rows.h"

namespace filters::scalar_fma {
namespace {
#include "filters/kernels/plain.inl"
}  // namespace

const Kernels kRow{"scalar+fma",  has_avx2,           plain_cascade, plain_multiband,         plain_bass,
                   plain_exciter, plain_de_esser,     plain_tone,    plain_cascade_multiband, plain_meter,
                   plain_peak,    plain_mean_squares, plain_ramp,    plain_from_pcm,          plain_to_pcm};

}  // namespace filters::scalar_fma
#endif
