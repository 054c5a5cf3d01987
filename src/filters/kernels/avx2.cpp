// The lane kernels with AVX2 and FMA.
#if defined(__x86_64__)
#include <immintrin.h>

#include "filters/kernels/rows.h"

namespace filters::avx2 {
namespace {
#include "filters/kernels/vector_x86.inl"

#include "filters/kernels/lane_kernels.inl"
}  // namespace

const Kernels kRow{"avx2", has_avx2, lanes_cascade};

}  // namespace filters::avx2
#endif
