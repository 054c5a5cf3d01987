// The plain kernels for the processor the build is for.
#include "filters/kernels/rows.h"

namespace filters::scalar {
namespace {
#include "filters/kernels/plain.inl"
}  // namespace

const Kernels kRow{"scalar", always, plain_cascade};

}  // namespace filters::scalar
