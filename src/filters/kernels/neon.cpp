// The lane kernels with NEON, which every 64-bit Arm has.
#if defined(__aarch64__)
#include <arm_neon.h>

#include "filters/kernels/rows.h"

namespace filters::neon {
namespace {
#include "filters/kernels/vector_neon.inl"

#include "filters/kernels/lane_kernels.inl"
}  // namespace

const Kernels kRow{"neon", always, lanes_cascade};

}  // namespace filters::neon
#endif
