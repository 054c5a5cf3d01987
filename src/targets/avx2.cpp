// The lanes with AVX2 and FMA.
#if defined(__x86_64__)
#define TARGET avx2
#include "lanes/vector_x86.h"
#include "targets/run.h"

constexpr lanes::Target targets::kAvx2 = TARGET::entry("avx2", has_avx2);
#endif
