// The polynomials' figures, and the order in which their terms are added, are those of sinf and cosf in the Arm
// Optimized Routines (see LICENSE); glibc's functions rest on them too.
#include "common/sine.h"

#include <cmath>

namespace {

constexpr double kHalfPi = 0x1.921fb54442d18p0, kInverseHalfPi = 0x1.45f306dc9c883p-1;
// Further out, glibc's own bits depend on whether its build for the processor fuses multiply-add.
constexpr float kTurn = 0x1.921fb6p2f;

// Within an eighth of a turn. The order of adding is glibc's, though none of those tried, fused or not, rounds
// to another float within a turn.
double sine_near_0(double x) {
  const double x2 = x * x, x3 = x * x2;
  const double low = x + x3 * -0x1.555545995a603p-3;
  const double high = 0x1.1107605230bc4p-7 + x2 * -0x1.994eb3774cf24p-13;
  return low + x3 * x2 * high;
}

double cosine_near_0(double x) {
  const double x2 = x * x, x4 = x2 * x2;
  const double low = (1.0 + x2 * -0x1.ffffffd0c621cp-2) + x4 * 0x1.55553e1068f19p-5;
  const double high = -0x1.6c087e89a359dp-10 + x2 * 0x1.99343027bf8c3p-16;
  return low + x4 * x2 * high;
}

// The sine of `quarters` quarter turns more than x.
float sine_after(int quarters, float x) {
  const double turns = std::round(static_cast<double>(x) * kInverseHalfPi);
  const double rest = static_cast<double>(x) - turns * kHalfPi;
  const int quarter = static_cast<int>(turns) + quarters;
  const double value = quarter & 1 ? cosine_near_0(rest) : sine_near_0(rest);
  return static_cast<float>(quarter & 2 ? -value : value);
}

}  // namespace

float common::sine(float x) {
  if (!(std::fabs(x) <= kTurn)) return sinf(x);
  return std::fabs(x) < 0x1p-12f ? x : sine_after(0, x);  // keeps the sign of a zero
}

float common::cosine(float x) { return std::fabs(x) <= kTurn ? sine_after(1, x) : cosf(x); }
