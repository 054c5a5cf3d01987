// What the library needs of an instruction set, and which one it has chosen. Each is a file of src/targets/ in which all
// kernels are compiled for it.
//
// A kernel is a header. Its loops stand in namespace TARGET, which such a file names before it includes them, and there
// in an unnamed namespace: no function of theirs is shared between instruction sets, since the linker would keep one copy
// of it, and if that were the AVX2 one, the library would die on a machine without AVX2. For the same reason no loop
// calls an inline function from outside, but for such as are always inlined.
#pragma once

#include <cstdint>

namespace lanes {

class Block;

// Callers hold a common::FlushDenormals.
struct Target {
  const char* name;
  bool (*runs_here)();

  // What waits in a block, in the order in which it joined; without `all` those that only read may go on waiting.
  void (*run)(Block& block, bool all);

  // The largest of `peak` and all magnitudes; NaN doesn't count.
  float (*peak)(float peak, const float* x, int n);
  // Of one or two channels: 0 + x[0]^2 / n + x[1]^2 / n + ..., in this order.
  void (*mean_squares)(const float* const* x, int channels, int n, float* means);
  // gains[i] = gain after i + 1 additions of `step`, each rounded; the last of them is returned.
  float (*ramp)(float gain, float step, float* gains, int n);

  // 16-bit interleaved to planar floats times a gain per channel, and back: clamped to bottom ... top (NaN to top),
  // truncated toward zero, the low 16 bits of that.
  void (*from_pcm)(const int16_t* in, const float* gains, float* const* out, int channels, int n);
  void (*to_pcm)(const float* const* in, float bottom, float top, int16_t* out, int channels, int n);
};

// Defined in src/targets/table.cpp.
extern const Target* const kTargets[];  // scalar first, widest last
extern const int kTargetCount;

// The widest that runs here, chosen when the library is loaded.
const Target& target();
// Another one from now on, for tests and measurements. Not while anything is being processed.
void use_target(const Target& one);

}  // namespace lanes
