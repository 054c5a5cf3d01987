// The kernels as anyone can check them against their formulas. Included by each row's file inside the row's own
// namespace, so that no function here is shared between instruction sets: the linker would keep one copy of it, and
// if that were the AVX2 one, the library would die on a machine without AVX2. For the same reason nothing here calls
// an inline function from outside.

float fused(float a, float b, float c) { return __builtin_fmaf(a, b, c); }

// ---- Sections --------------------------------------------------------------------------------------
// Transposed direct form II, as filters::biquad_step.
float section_step(const BiquadCoeffs& c, BiquadHistory& h, float x) {
  const float y = fused(c.b0, x, h.s1);
  h.s1 = h.s2 + fused(-c.a1, y, c.b1 * x);
  h.s2 = fused(-c.a2, y, c.b2 * x);
  return y;
}

void plain_cascade(const CascadeChannel* channels, int count, int n) {
  for (int ch = 0; ch < count; ++ch)
    for (int k = 0; k < channels[ch].sections; ++k) {
      const BiquadCoeffs c = channels[ch].coeffs[k];
      BiquadHistory h = channels[ch].history[k];
      float* const x = channels[ch].x;
      for (int i = 0; i < n; ++i) x[i] = section_step(c, h, x[i]);
      channels[ch].history[k] = h;
    }
}
