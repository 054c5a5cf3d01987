// The lanes with NEON, which every 64-bit Arm has.
#if defined(__aarch64__)
#define TARGET neon
#include "lanes/vector_neon.h"
#include "targets/run.h"

constexpr lanes::Target targets::kNeon = TARGET::entry("neon", always);
#endif
