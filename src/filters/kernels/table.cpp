// Which rows this build has, and which one runs.
#include <iterator>

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

const Kernels* const kKernelTable[] = {
    &scalar::kRow,
#if defined(__x86_64__)
    &scalar_fma::kRow,
    &avx2::kRow,
    &avx512::kRow,
#elif defined(__aarch64__)
    &neon::kRow,
#endif
};
const int kKernelCount = std::size(kKernelTable);

namespace {

const Kernels* chosen = &scalar::kRow;

// Before any other constructor: a host that links statically may use the library from its own.
[[gnu::constructor(101)]] void choose_widest() {
  for (const Kernels* row : kKernelTable)
    if (row->runs_here()) chosen = row;
}

}  // namespace

const Kernels& kernels() { return *chosen; }
void use_kernels(const Kernels& row) { chosen = &row; }

}  // namespace filters
