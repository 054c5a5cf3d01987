// all_sines STRIDE: every STRIDE-th float within a turn, of both signs, through sine and cosine. Prints how many floats
// they were, how many of the results are not the C library's, and a digest of the results. For scripts/check-sine, which
// links it with C libraries that have no C++ runtime beside them.
#include <math.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/sine.h"

namespace {

constexpr uint32_t kTwoPi = 0x40c90fdb, kThreads = 8;

struct Share {
  uint64_t first, stride;
  uint64_t floats, differ, digest;
};

uint32_t bits_of(float x) {
  uint32_t bits;
  memcpy(&bits, &x, sizeof bits);
  return bits;
}

void look_at(uint32_t bits, Share& share) {
  float x;
  memcpy(&x, &bits, sizeof x);
  const uint32_t sine = bits_of(common::sine(x)), cosine = bits_of(common::cosine(x));
  ++share.floats;
  share.differ += (sine != bits_of(sinf(x))) + (cosine != bits_of(cosf(x)));
  // A sum, so that the threads' order is nothing to it, of what each float scatters.
  const uint64_t pair = ((uint64_t{sine} << 32 | cosine) ^ bits * 0x9e3779b97f4a7c15u) * 0xbf58476d1ce4e5b9u;
  share.digest += pair ^ pair >> 32;
}

void* run(void* argument) {
  Share& share = *static_cast<Share*>(argument);
  for (uint64_t bits = share.first; bits <= kTwoPi; bits += share.stride)
    look_at(static_cast<uint32_t>(bits), share), look_at(static_cast<uint32_t>(bits) | 0x80000000u, share);
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  const uint64_t stride = argc == 2 ? strtoull(argv[1], nullptr, 10) : 0;
  if (!stride) return 2;
  Share shares[kThreads] = {}, sum{};
  pthread_t threads[kThreads];
  for (uint64_t i = 0; i < kThreads; ++i) {
    shares[i].first = i * stride, shares[i].stride = kThreads * stride;
    if (pthread_create(&threads[i], nullptr, run, &shares[i])) return 2;
  }
  for (uint64_t i = 0; i < kThreads; ++i) {
    pthread_join(threads[i], nullptr);
    sum.floats += shares[i].floats, sum.differ += shares[i].differ, sum.digest += shares[i].digest;
  }
  printf("%llu %llu %016llx\n", static_cast<unsigned long long>(sum.floats),
         static_cast<unsigned long long>(sum.differ), static_cast<unsigned long long>(sum.digest));
}
