// Vectors of 8 lanes and the few operations that the language's own vector arithmetic lacks. A pair is the two
// channels' lanes of one section, a quad is two pairs.
#pragma once

#include "lanes/target.h"

#if defined(__AVX2__) && defined(__FMA__)
#include <immintrin.h>

#define LANES  // from here on kernels have their form in lanes, too

namespace TARGET {
namespace {

constexpr int kLanes = 8;
typedef float Vec __attribute__((vector_size(4 * kLanes)));
typedef float Quad __attribute__((vector_size(16)));
typedef int Mask __attribute__((vector_size(4 * kLanes)));
typedef int MaskOf4 __attribute__((vector_size(16)));
constexpr bool kShortPasses = false;  // long waves: 8 lanes wait only once for the latency of a section
// Whether a large wave may store its state at every step: beside AVX-512's arithmetic that costs nothing.
#if defined(__AVX512VL__)
constexpr bool kStoresHidden = true;
#else
constexpr bool kStoresHidden = false;
#endif

Vec fused(Vec a, Vec b, Vec c) { return _mm256_fmadd_ps(a, b, c); }
Quad fused(Quad a, Quad b, Quad c) { return _mm_fmadd_ps(a, b, c); }
Vec root(Vec x) { return _mm256_sqrt_ps(x); }
// b where a is NaN.
Quad smaller(Quad a, Quad b) { return _mm_min_ps(a, b); }
Quad larger(Quad a, Quad b) { return _mm_max_ps(a, b); }

// Whether |x| > least.
MaskOf4 is_larger(Quad x, Quad least) { return (Quad)((MaskOf4)x & 0x7fffffff) > least; }

// The one of larger magnitude, or its magnitude; b where a is NaN.
Vec larger_sample(Vec a, Vec b) {
  const Vec size = (Vec)((Mask)a & 0x7fffffff);
  return size > b ? size : b;
}
// Between bottom and top, NaN at the top, truncated and saturated.
Mask to_sample(Vec x, Vec bottom, Vec top) {
  Vec y = x < top ? x : top;
  y = y > bottom ? y : bottom;
  return y < 0x1p31f ? __builtin_convertvector(y, Mask) : Mask{} + INT32_MAX;
}
Mask frames_of(Mask left, Mask right) { return (left & 0xffff) | (right << 16); }

// The pair at p in every pair of lanes.
double pair_at(const float* p) {
  double pair;
  __builtin_memcpy(&pair, p, sizeof pair);
  return pair;
}
Vec every_pair(const float* p) { return _mm256_castpd_ps(_mm256_set1_pd(pair_at(p))); }
// v moved up by one pair, with the last pair of `before` below it.
Vec pair_up(Vec before, Vec v) {
#if defined(__AVX512VL__)
  return _mm256_castsi256_ps(_mm256_alignr_epi64(_mm256_castps_si256(v), _mm256_castps_si256(before), 3));
#else
  const __m256 middle = _mm256_permute2f128_ps(before, v, 0x21);
  return _mm256_castpd_ps(_mm256_shuffle_pd(_mm256_castps_pd(middle), _mm256_castps_pd(v), 5));
#endif
}

// v moved down by one pair, with the first pair of `after` above it.
Vec pair_down(Vec v, Quad after) {
  const __m256 above = _mm256_castps128_ps256(after);
#if defined(__AVX512VL__)
  return _mm256_castsi256_ps(_mm256_alignr_epi64(_mm256_castps_si256(above), _mm256_castps_si256(v), 1));
#else
  const __m256 middle = _mm256_permute2f128_ps(v, above, 0x21);
  return _mm256_castpd_ps(_mm256_shuffle_pd(_mm256_castps_pd(v), _mm256_castps_pd(middle), 5));
#endif
}

// `before` below v, moved up by one quad.
Vec quad_up(Vec before, Vec v) { return _mm256_permute2f128_ps(before, v, 0x21); }

Quad quad_pairs(const float* p) { return _mm_castpd_ps(_mm_set1_pd(pair_at(p))); }
Quad quad_of(const Vec* v, int q) {
  return q % 2 ? _mm256_extractf128_ps(v[q / 2], 1) : _mm256_castps256_ps128(v[q / 2]);
}
Vec from_quads(const Quad* q) { return _mm256_set_m128(q[1], q[0]); }
Quad first_quad(Vec v) { return _mm256_castps256_ps128(v); }
Quad swap_pairs(Quad q) { return _mm_permute_ps(q, 0x4e); }
void store_pair(float* p, Quad q) { _mm_storel_pi(reinterpret_cast<__m64*>(p), q); }
void store_last_pair(float* p, Quad q) { _mm_storeh_pi(reinterpret_cast<__m64*>(p), q); }

// `yes` where a >= b, `no` elsewhere. (The compiler turns a comparison around, and then needs a register for b.)
Vec at_least(Vec a, Vec b, Vec yes, Vec no) {
#if defined(__AVX512VL__)
  return _mm256_mask_blend_ps(_mm256_cmp_ps_mask(a, b, _CMP_GE_OQ), no, yes);
#else
  return _mm256_blendv_ps(no, yes, _mm256_cmp_ps(a, b, _CMP_GE_OQ));
#endif
}
[[maybe_unused]] bool all_set(MaskOf4 m) { return _mm_movemask_ps((Quad)m) == 0xf; }
// Whether from <= x < to in every lane; NaN is nowhere.
bool all_within(Vec x, Vec from, Vec to) {
#if defined(__AVX512VL__)
  return _mm256_mask_cmp_ps_mask(_mm256_cmp_ps_mask(x, to, _CMP_LT_OQ), x, from, _CMP_GE_OQ) == 0xff;
#else
  return _mm256_movemask_ps(
             _mm256_and_ps(_mm256_cmp_ps(x, to, _CMP_LT_OQ), _mm256_cmp_ps(x, from, _CMP_GE_OQ))) == 0xff;
#endif
}
Vec gather(const float* base, Mask index) { return _mm256_i32gather_ps(base, (__m256i)index, 4); }

}  // namespace
}  // namespace TARGET
#endif
