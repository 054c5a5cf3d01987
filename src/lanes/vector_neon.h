// Vectors of 4 lanes and the few operations that the language's own vector arithmetic lacks. A pair is the two
// channels' lanes of one section, a quad is two pairs.
#pragma once

#include "lanes/target.h"

#if defined(__aarch64__)
#include <arm_neon.h>

#define LANES  // from here on kernels have their form in lanes, too

namespace TARGET {
namespace {

constexpr int kLanes = 4;
typedef float Vec __attribute__((vector_size(4 * kLanes)));
typedef Vec Quad;
typedef int Mask __attribute__((vector_size(4 * kLanes)));
constexpr bool kShortPasses = true;  // 32 registers hold a few sections, and no long wave
constexpr bool kStoresHidden = false;

Vec fused(Vec a, Vec b, Vec c) { return vfmaq_f32(c, a, b); }
Vec root(Vec x) { return vsqrtq_f32(x); }
// b where a is NaN.
Quad smaller(Quad a, Quad b) { return vminnmq_f32(a, b); }
Quad larger(Quad a, Quad b) { return vmaxnmq_f32(a, b); }
Quad magnitude(Quad x) { return vabsq_f32(x); }
// Whether |x| > |least|. The compiler doesn't find the instruction where `least` is constant.
Mask is_larger(Quad x, Quad least) {
  Mask m;
  asm("facgt %0.4s, %1.4s, %2.4s" : "=w"(m) : "w"(x), "w"(least));
  return m;
}

// The one of larger magnitude, or its magnitude; b where a is NaN.
Vec larger_sample(Vec a, Vec b) { return vbslq_f32((uint32x4_t)is_larger(a, b), a, b); }
// Between bottom and top, NaN at the top, truncated; the conversion saturates.
Mask to_sample(Vec x, Vec bottom, Vec top) { return vcvtq_s32_f32(larger(smaller(x, top), bottom)); }
Mask frames_of(Mask left, Mask right) { return vsliq_n_s32(left, right, 16); }

// The pair at p in every pair of lanes.
Vec every_pair(const float* p) {
  const float32x2_t pair = vld1_f32(p);
  return vcombine_f32(pair, pair);
}
// v moved up by one pair, with the last pair of `before` below it.
[[maybe_unused]] Vec pair_up(Vec before, Vec v) { return vextq_f32(before, v, 2); }
// v moved down by one pair, with the first pair of `after` above it.
[[maybe_unused]] Vec pair_down(Vec v, Quad after) { return vextq_f32(v, after, 2); }

// `before` below v, moved up by one quad.
[[maybe_unused]] Vec quad_up(Vec before, Vec) { return before; }

Quad quad_pairs(const float* p) { return every_pair(p); }
Quad quad_of(const Vec* v, int q) { return v[q]; }
[[maybe_unused]] Vec from_quads(const Quad* q) { return q[0]; }
[[maybe_unused]] Quad first_quad(Vec v) { return v; }
Quad swap_pairs(Quad q) { return vextq_f32(q, q, 2); }
void store_pair(float* p, Quad q) { vst1_f32(p, vget_low_f32(q)); }
void store_last_pair(float* p, Quad q) { vst1_f32(p, vget_high_f32(q)); }

bool all_set(Mask m) { return vminvq_u32((uint32x4_t)m) != 0; }
// `yes` where a >= b, `no` elsewhere.
[[maybe_unused]] Vec at_least(Vec a, Vec b, Vec yes, Vec no) { return a >= b ? yes : no; }
// Whether from <= x < to in every lane; NaN is nowhere.
[[maybe_unused]] bool all_within(Vec x, Vec from, Vec to) { return all_set((x < to) & (x >= from)); }
Vec gather(const float* base, Mask index) {
  return Vec{base[index[0]], base[index[1]], base[index[2]], base[index[3]]};
}

}  // namespace
}  // namespace TARGET
#endif
