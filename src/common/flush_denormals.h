// Denormals cost nothing: while an object of this class lives, this thread's processor reads and writes them
// as zero. A recursion that has fallen silent then runs as fast as a loud one. Values this small (below
// 1.2e-38, where a 16-bit step is 1) reach no output sample, unless later gains add 750 dB or something jumps
// at zero, as the bass enhancer's shaper does for drives above 12. A result within half a bit below the
// smallest normal number is that number on x86-64 and zero on Arm. Every Process function that works on
// blocks holds one.
#pragma once

#include <cstdint>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace common {

class FlushDenormals {
 public:
#if defined(__x86_64__)
  FlushDenormals() : saved_(_mm_getcsr()) {
    _mm_setcsr(saved_ | 0x8040u);
  }  // flush to zero, denormals are zero
  ~FlushDenormals() { _mm_setcsr(saved_); }

 private:
  const uint32_t saved_;
#elif defined(__aarch64__)
  FlushDenormals() {
    asm volatile("mrs %0, fpcr" : "=r"(saved_));
    asm volatile("msr fpcr, %0" : : "r"(saved_ | (uint64_t{1} << 24)) : "memory");  // FZ
  }
  ~FlushDenormals() { asm volatile("msr fpcr, %0" : : "r"(saved_) : "memory"); }

 private:
  uint64_t saved_ = 0;
#elif defined(__arm__) && defined(__ARM_FP)
  FlushDenormals() {
    asm volatile("vmrs %0, fpscr" : "=r"(saved_));
    asm volatile("vmsr fpscr, %0" : : "r"(saved_ | (1u << 24)) : "memory");  // FZ
  }
  ~FlushDenormals() { asm volatile("vmsr fpscr, %0" : : "r"(saved_) : "memory"); }

 private:
  uint32_t saved_ = 0;
#else
 public:
  FlushDenormals() {}
  ~FlushDenormals() {}
#endif
 public:
  FlushDenormals(const FlushDenormals&) = delete;
  FlushDenormals& operator=(const FlushDenormals&) = delete;
};

}  // namespace common
