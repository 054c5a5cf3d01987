// all_sines FIRST STRIDE: every STRIDE-th float within a turn, from the FIRST on, of both signs, through sine and cosine.
// Prints how many floats they were, how many of the results are not the C library's, and a digest of the results, which
// is the sum of its parts'. For scripts/check-sine, which links it with C libraries that have no C++ runtime beside them.
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/sine.h"

namespace {

constexpr uint32_t kTwoPi = 0x40c90fdb, kSigns[] = {0, 0x80000000};

uint32_t bits_of(float x) {
  uint32_t bits;
  memcpy(&bits, &x, sizeof bits);
  return bits;
}

}  // namespace

int main(int argc, char** argv) {
  const uint64_t stride = argc == 3 ? strtoull(argv[2], nullptr, 10) : 0;
  if (!stride) return 2;
  unsigned long long floats = 0, differ = 0, digest = 0;
  for (uint64_t bits = strtoull(argv[1], nullptr, 10); bits <= kTwoPi; bits += stride)
    for (const uint32_t sign : kSigns) {
      const auto both = static_cast<uint32_t>(bits) | sign;
      float x;
      memcpy(&x, &both, sizeof x);
      const uint32_t sine = bits_of(common::sine(x)), cosine = bits_of(common::cosine(x));
      ++floats;
      differ += (sine != bits_of(sinf(x))) + (cosine != bits_of(cosf(x)));
      const uint64_t pair =
          ((uint64_t{sine} << 32 | cosine) ^ both * 0x9e3779b97f4a7c15u) * 0xbf58476d1ce4e5b9u;
      digest += pair ^ pair >> 32;
    }
  printf("%llu %llu %016llx\n", floats, differ, digest);
}
