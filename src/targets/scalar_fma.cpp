// The readable forms with fused multiply-add as an instruction.
#if defined(__x86_64__)
#define TARGET scalar_fma
#include "targets/run.h"

constexpr lanes::Target targets::kScalarFma = TARGET::entry("scalar+fma", has_avx2);
#endif
