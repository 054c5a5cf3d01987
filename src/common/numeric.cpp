#include "common/numeric.h"

// Levels reach this through negative times only. Denormals have log10f's answer.
float common::log10_below_1(float x) {
  if (!(x >= FLT_MIN && x < 1.0f)) return log10f(x);
  int exponent;
  const float m = std::frexp(x, &exponent);  // 0.5 to 1
  return log10_of(static_cast<float>(exponent), m);
}
