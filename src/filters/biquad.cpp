// The biquad section as an object of the host's.
#include "filters/biquad.h"

#include <cstdlib>
#include <cstring>

BiquadFilter* biquad_init() {
  auto* filter = static_cast<BiquadFilter*>(std::calloc(1, sizeof(BiquadFilter)));
  if (!filter) return nullptr;
  filter->coeffs = static_cast<BiquadCoeffs*>(std::calloc(1, sizeof(BiquadCoeffs)));
  filter->history = static_cast<float*>(std::calloc(4, sizeof(float)));
  if (filter->coeffs && filter->history) return filter;
  biquad_destroy(filter);
  return nullptr;
}

int biquad_destroy(BiquadFilter* filter) {
  if (!filter) return 0;
  std::free(filter->coeffs);
  std::free(filter->history);
  std::free(filter);
  return 0;
}

void biquad_reset(BiquadFilter* filter) { std::memset(filter->history, 0, 4 * sizeof(float)); }

void biquad_setCoefficients(BiquadFilter* filter, const float* coeffs) {
  std::memcpy(filter->coeffs, coeffs, sizeof(BiquadCoeffs));
}

float biquad_processAudioSample(BiquadFilter* filter, float x) {
  return update_biquad_filter(&filter->coeffs->b0, filter->history, x);
}

float biquad_1st_processAudioSample(BiquadFilter* filter, float x) {
  const BiquadCoeffs& c = *filter->coeffs;
  const float y = std::fma(c.b0, x, filter->history[0]);
  filter->history[0] = std::fma(-c.a1, y, c.b1 * x);
  return y;
}

float update_biquad_filter(const float* coeffs, float* history, float x) {
  const BiquadCoeffs c{coeffs[0], coeffs[1], coeffs[2], coeffs[3], coeffs[4]};
  BiquadHistory h{history[0], history[1]};
  const float y = filters::biquad_step(c, h, x);
  history[0] = h.s1;
  history[1] = h.s2;
  return y;
}
