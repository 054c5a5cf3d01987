// Peaks, sums and ramps over a block, with every rounding where the serial form has it.
#pragma once

#include "common/numeric.h"
#include "lanes/lanes.h"

#if defined(TARGET)
namespace TARGET {
namespace {

[[maybe_unused]] float plain_peak(float peak, const float* x, int n) {
  for (int i = 0; i < n; ++i) {
    const float size = __builtin_fabsf(x[i]);
    if (size > peak) peak = size;
  }
  return peak;
}

// Each square is divided before it is added: this order of rounding is the contract.
[[maybe_unused]] void plain_mean_squares(const float* const* x, int channels, int n, float* means) {
  for (int ch = 0; ch < channels; ++ch) {
    means[ch] = 0.0f;
    for (int i = 0; i < n; ++i) means[ch] += x[ch][i] * x[ch][i] / static_cast<float>(n);
  }
}

float plain_ramp(float gain, float step, float* gains, int n) {
  for (int i = 0; i < n; ++i) gains[i] = gain += step;
  return gain;
}

#if defined(LANES)

constexpr int kLongestLine = 1024;  // gains

int bits_of(float value) { return static_cast<int>(common::bits_of(value)); }
// Sign and exponent.
int binade(float x) { return bits_of(x) & ~0x7fffff; }
// Far enough from denormals and infinities for all that is computed in a binade.
bool is_ordinary(float x) { return bits_of(x) >= 0x20000000 && bits_of(x) < 0x70000000; }

// Both channels' sums in one register, in order; an addition waits for the one before it, the squares don't.
void lanes_mean_squares(const float* const* x, int channels, int n, float* means) {
  const float* const x0 = x[0];
  const float* const x1 = x[channels - 1];
  const float divisor = static_cast<float>(n);
  Quad sum{};
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const Quad a = load<Quad>(x0 + i), b = load<Quad>(x1 + i);
    const Quad square0 = a * a / divisor, square1 = b * b / divisor;
    const Quad first = alternate(square0, square1), last = alternate_last(square0, square1);
    sum = (((sum + first) + swap_pairs(first)) + last) + swap_pairs(last);
  }
  for (; i < n; ++i) sum += Quad{x0[i] * x0[i], x1[i] * x1[i]} / divisor;
  means[0] = sum[0], means[channels - 1] = sum[1];
}

float lanes_peak(float peak, const float* x, int n) {
  Vec most[2] = {Vec{} + peak, Vec{} + peak};
  int i = 0;
  for (; i + 2 * kLanes <= n; i += 2 * kLanes)
    for (int v = 0; v < 2; ++v) most[v] = larger_sample(load<Vec>(x + i + v * kLanes), most[v]);
  const Vec both = magnitude(larger_sample(most[0], most[1]));
  Quad four = quad_of(&both, 0);
  for (int q = 1; q < kLanes / 4; ++q) four = four > quad_of(&both, q) ? four : quad_of(&both, q);
  const Quad two = four > swap_pairs(four) ? four : swap_pairs(four);
  return plain_peak(two[0] > two[1] ? two[0] : two[1], x + i, n - i);
}

// Within a binade every addition of one step but the first moves the gain by the same amount: the first has settled
// whether ties go up or down. A falling gain leaves the binade on its lowest value: what rounds to that from above may
// round to less from below, where floats are denser.
float lanes_ramp(float gain, float step, float* gains, int n) {
  Vec counts{};
  for (int lane = 0; lane < kLanes; ++lane) counts[lane] = static_cast<float>(lane);
  while (n >= 3) {
    gains[0] = gain + step;
    const float move = (gains[0] + step) - gains[0];
    int length = n < kLongestLine ? n : kLongestLine;  // how many gains the straight line gives
    const auto on_line = [&](int i) { return fused(static_cast<float>(i), move, gains[0]); };
    if (!is_ordinary(gains[0]) || binade(gain) != binade(gains[0])) length = 1;
    const auto is_inside = [&](float g) {
      return binade(g) == binade(gains[0]) && (move >= 0.0f || bits_of(g) != binade(g));
    };
    while (length > 1 && !is_inside(on_line(length - 1))) length /= 2;
    if (length < 3) {  // about to leave the binade, or where none of this holds
      gain = plain_ramp(gain, step, gains, length = n < 8 ? n : 8);
    } else {
      const Vec first = Vec{} + gains[0], moves = Vec{} + move;
      int i = 0;
      Vec at[4];
      for (int v = 0; v < 4; ++v) at[v] = counts + static_cast<float>(v * kLanes);
      for (; i + 4 * kLanes <= length; i += 4 * kLanes)
        for (int v = 0; v < 4; ++v) {
          store(gains + i + v * kLanes, fused(at[v], moves, first));
          at[v] += static_cast<float>(4 * kLanes);
        }
      for (; i + kLanes <= length; i += kLanes, at[0] += static_cast<float>(kLanes))
        store(gains + i, fused(at[0], moves, first));
      for (; i < length; ++i) gains[i] = on_line(i);
      gain = gains[length - 1];
    }
    gains += length, n -= length;
  }
  return plain_ramp(gain, step, gains, n);
}

#endif
}  // namespace
}  // namespace TARGET
#endif
