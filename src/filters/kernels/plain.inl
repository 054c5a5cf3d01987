// The kernels as anyone can check them against their formulas. Included by each row's file inside the row's own
// namespace, so that no function here is shared between instruction sets: the linker would keep one copy of it, and
// if that were the AVX2 one, the library would die on a machine without AVX2. For the same reason nothing here calls
// an inline function from outside, but for such as are always inlined.

float fused(float a, float b, float c) { return __builtin_fmaf(a, b, c); }

// ---- Sections --------------------------------------------------------------------------------------
// Transposed direct form II, as filters::biquad_step.
float section_step(const BiquadCoeffs& c, BiquadHistory& h, float x) {
  const float y = fused(c.b0, x, h.s1);
  h.s1 = h.s2 + fused(-c.a1, y, c.b1 * x);
  h.s2 = fused(-c.a2, y, c.b2 * x);
  return y;
}

[[maybe_unused]] void plain_cascade(const CascadeChannel* channels, int count, int n) {
  for (int ch = 0; ch < count; ++ch)
    for (int k = 0; k < channels[ch].sections; ++k) {
      const BiquadCoeffs c = channels[ch].coeffs[k];
      BiquadHistory h = channels[ch].history[k];
      float* const x = channels[ch].x;
      for (int i = 0; i < n; ++i) x[i] = section_step(c, h, x[i]);
      channels[ch].history[k] = h;
    }
}

// ---- Multi-band compressor -------------------------------------------------------------------------
float edge_step(BiquadPair& edge, float x) {
  return section_step(edge.coeffs[1], edge.history[1], section_step(edge.coeffs[0], edge.history[0], x));
}

float compressed_gain(const MultibandChannel& channel, const MultibandBand& band, float x) {
  const float envelope = *band.envelope;
  // The signed sample, not its magnitude: the negative half-wave always releases. Hosts are tuned to it.
  const float coef = x > envelope ? band.attack : band.release;
  const float followed = fused(coef, envelope, (1.0f - coef) * __builtin_fabsf(x));
  const float level_dB = 20.0f * (common::log10_portable(followed + 1.0f) - channel.full_scale_log10);
  *band.envelope = followed;
  // 1 / bands on compressed bands only; the others pass with their make-up gain alone. Hosts are tuned to it.
  return table_search(kGainSteps - 1, band.table, level_dB, band.table_start, band.table_inv_step) *
         channel.band_scale;
}

// This order of adding is the contract. A fifth band and more are never filtered, nor is the fourth beside them.
float sum_bands(const MultibandChannel& channel) {
  const MultibandBand* const b = channel.band;
  float sum = 0.0f;
  if (channel.summed >= 1) sum = *b[0].value + 0.0f;
  if (channel.summed >= 2) sum += *b[1].value;
  if (channel.summed >= 3) sum += *b[2].value;
  if (channel.summed == 4) sum += *b[3].value;
  return sum;
}

[[maybe_unused]] void plain_multiband(const MultibandChannel* channels, int count, int n) {
  for (int ch = 0; ch < count; ++ch) {
    const MultibandChannel& channel = channels[ch];
    for (int i = 0; i < n; ++i) {
      for (int b = 0; b < channel.bands; ++b) {
        const MultibandBand& band = channel.band[b];
        float x = channel.in[i];
        if (!band.path[0]) x = *band.value;  // not filtered: the sample before, scaled again
        for (BiquadPair* edge : band.path)
          if (edge) x = edge_step(*edge, x);
        x *= band.gain;
        *band.value = band.compressed ? x * compressed_gain(channel, band, x) : x;
      }
      channel.out[i] = sum_bands(channel);
    }
  }
}
