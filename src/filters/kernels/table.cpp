// Which rows this build has, and which one runs.
#include "filters/kernels/rows.h"

namespace filters {

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

const Kernels kKernelTable[] = {
    scalar::kRow,
#if defined(__x86_64__)
    scalar_fma::kRow,
    avx2::kRow,
    avx512::kRow,
#elif defined(__aarch64__)
    neon::kRow,
#endif
};
const int kKernelCount = sizeof kKernelTable / sizeof *kKernelTable;

namespace {

const Kernels* widest() {
  const Kernels* best = kKernelTable;
  for (const Kernels& row : kKernelTable)
    if (row.runs_here()) best = &row;
  return best;
}

const Kernels* chosen = widest();

}  // namespace

const Kernels& kernels() { return *chosen; }
void use_kernels(const Kernels& row) { chosen = &row; }

}  // namespace filters
