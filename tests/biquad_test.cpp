#include "support.h"

TEST_CASE("a section follows its difference equation, and its history outlives a change of coefficients") {
  BiquadFilter* f = biquad_init();
  CHECK(biquad_processAudioSample(f, 1000.0f) == 0.0f);  // fresh: all coefficients 0

  const float fir[5] = {0.5f, -0.25f, 0.125f, 0, 0};
  biquad_setCoefficients(f, fir);
  biquad_reset(f);
  for (float expected : {0.5f, -0.25f, 0.125f, 0.0f})
    CHECK(biquad_processAudioSample(f, expected == 0.5f ? 1.0f : 0.0f) == expected);

  const float recursive[5] = {1, 0, 0, -0.5f, 0.25f};  // y[n] = x[n] + y[n-1] / 2 - y[n-2] / 4
  biquad_setCoefficients(f, recursive);
  CHECK(biquad_processAudioSample(f, 8.0f) == 8.0f);
  CHECK(biquad_processAudioSample(f, 0.0f) == 4.0f);
  biquad_setCoefficients(f, fir);
  CHECK(biquad_processAudioSample(f, 2.0f) == 1.0f);  // 0.5 * 2 + (4 / 2 - 8 / 4)
  biquad_reset(f);
  CHECK(biquad_processAudioSample(f, 4.0f) == 2.0f);
  CHECK(biquad_processAudioSample(f, 0.0f) == -1.0f);
  CHECK(biquad_destroy(f) == 0);
  CHECK(biquad_destroy(nullptr) == 0);
}

TEST_CASE("the first-order step leaves the second-order slots alone") {
  BiquadFilter* f = biquad_init();
  const float coeffs[5] = {1, 0.5f, 1e9f, -0.5f, 1e9f};
  biquad_setCoefficients(f, coeffs);
  f->history[1] = 7.0f;
  CHECK(biquad_1st_processAudioSample(f, 2.0f) == 2.0f);
  CHECK(biquad_1st_processAudioSample(f, 0.0f) == 2.0f);  // 0.5 * 2 + 0.5 * 2
  CHECK(biquad_1st_processAudioSample(f, 0.0f) == 1.0f);
  CHECK(f->history[1] == 7.0f);
  biquad_destroy(f);
}
