// Which instruction sets this build has, and which one runs.
#include <iterator>

#include "targets/targets.h"

namespace targets {

bool always() { return true; }
#if defined(__x86_64__)
bool has_avx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}
bool has_avx512() {
  return has_avx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
}
#endif

}  // namespace targets

namespace lanes {

const Target* const kTargets[] = {
    &targets::kScalar,
#if defined(__x86_64__)
    &targets::kScalarFma,
    &targets::kAvx2,
    &targets::kAvx512,
#elif defined(__aarch64__)
    &targets::kNeon,
#endif
};
const int kTargetCount = std::size(kTargets);

namespace {

const Target* chosen = &targets::kScalar;

// Before any other constructor: a host that links statically may use the library from its own.
[[gnu::constructor(101)]] void choose_widest() {
  for (const Target* one : kTargets)
    if (one->runs_here()) chosen = one;
}

}  // namespace

const Target& target() { return *chosen; }
void use_target(const Target& one) { chosen = &one; }

}  // namespace lanes
