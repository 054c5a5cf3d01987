// The lanes with AVX-512, of which they use the registers, not the width.
#if defined(__x86_64__)
#define TARGET avx512
#include "lanes/vector_x86.h"
#include "targets/run.h"

constexpr lanes::Target targets::kAvx512 = TARGET::entry("avx512", has_avx512);
#endif
