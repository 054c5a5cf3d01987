// The two static curves, the one builder that samples them, and the look-up.
#include "dynamics/gain_table.h"

#include <algorithm>
#include <cmath>

#include "common/numeric.h"

// ---- Curves ----------------------------------------------------------------------------------------
namespace {

// Half the knee's width, and the divisor of its parabola. Integer arithmetic: an odd knee rounds down.
struct Knee {
  explicit Knee(int knee)
      : half(static_cast<float>(knee >> 1)), divisor(static_cast<float>(common::wrapping_mul(2, knee))) {}
  float half, divisor;
};

}  // namespace

float table_caculate(int32_t knee, float x, float noise_threshold, float expand_end, float compress_start,
                     float max_gain, float max_peak) {
  if (knee < 1) return 0.0f;
  const Knee k(knee);
  // No guard: corners that coincide make a slope infinite or undefined, and the table's floor takes what
  // comes of it.
  const float expand_slope = (expand_end + max_gain - noise_threshold) / (expand_end - noise_threshold);
  const float compress_slope = (compress_start + max_gain - max_peak) / compress_start;
  // A level right on an edge belongs to the segment below it.
  if (x <= expand_end - k.half) return std::fma(x - noise_threshold, expand_slope, noise_threshold);
  if (x <= expand_end + k.half) {
    const float d = x - expand_end - k.half;
    return (1.0f - expand_slope) * (d * d) / k.divisor + (max_gain + x);
  }
  if (x <= compress_start - k.half) return max_gain + x;
  if (x <= compress_start + k.half) {
    const float d = x - compress_start + k.half;
    return (compress_slope - 1.0f) * (d * d) / k.divisor + (max_gain + x);
  }
  return std::fma(compress_slope, x - compress_start, max_gain + compress_start);
}

float max_table_caculate(int32_t knee, float x, float threshold) {
  if (knee < 1) return 0.0f;
  const Knee k(knee);
  if (x <= threshold - k.half) return x;
  if (x > threshold + k.half) return threshold;
  const float d = x - threshold + k.half;
  return x - d * d / k.divisor;
}

// ---- Look-up ---------------------------------------------------------------------------------------
int dynamics::table_entry(int last, float x, float start, float scale) {
  if (x < start) return 0;
  const float p = (x - start) * scale;
  const int32_t nearest = common::truncate_to_int(static_cast<double>(p) + 0.5);
  // Never below 0: a table whose step is negative would otherwise be read before its beginning.
  return std::max(0, std::min(nearest, last));
}

float table_search(int32_t last, const float* table, float x, float start, float scale) {
  return table[dynamics::table_entry(last, x, start, scale)];
}

// ---- Tables ----------------------------------------------------------------------------------------
namespace {

constexpr double kFloor = 0.001;  // -60 dB of gain

// Samples a curve (level in, level out, dB) from `start` to `end` dB as linear gains times `factor`; returns
// the entries per dB. The comparison is in double: 0.001f itself lies above the floor, which shows only where
// a factor rounds their products differently. A gain that is not a number becomes the floor.
template <class Curve>
float build(Curve curve, float start, float end, float factor, dynamics::GainTable& table) {
  const float step = (end - start) / static_cast<float>(dynamics::kLastEntry);
  const float floor = static_cast<float>(static_cast<double>(factor) * kFloor);
  for (int i = 0; i <= dynamics::kLastEntry; ++i) {
    const float x = std::fma(static_cast<float>(i), step, start);
    const float gain = common::dB_to_linear(curve(x) - x);
    table[static_cast<size_t>(i)] = static_cast<double>(gain) > kFloor ? factor * gain : floor;
  }
  return 1.0f / step;
}

}  // namespace

bool dynamics::in_order(const CurvePoints& p) {
  return !(p.noise_threshold > p.expand_end || p.expand_end > p.compress_start ||
           p.compress_start + p.max_gain > p.max_peak);
}

void dynamics::build_compressor_table(const CurvePoints& p, float end, GainTable& table, float& start,
                                      float& scale) {
  constexpr int kKnee = 4;  // dB, 2 either side of a corner
  start = p.noise_threshold - 4.0f;
  const auto curve = [&](float x) {
    return table_caculate(kKnee, x, p.noise_threshold, p.expand_end, p.compress_start, p.max_gain,
                          p.max_peak);
  };
  scale = build(curve, start, end, 1.0f, table);
}

void dynamics::build_limiter_table(float threshold, float factor, GainTable& table, float& start,
                                   float& scale) {
  constexpr float kEnd = 10.0f;
  // The knee ends 3 dB above full scale, and begins as far below the threshold. A threshold above 2.5 dB
  // leaves no knee: the curve then asks for 0 dB at every level.
  const int knee = common::truncate_to_int(6.0f - 2.0f * threshold);
  start = std::fma(threshold, 2.0f, -6.0f);
  scale = build([&](float x) { return max_table_caculate(knee, x, threshold); }, start, kEnd, factor, table);
}
