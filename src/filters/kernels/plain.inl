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

// ---- Bass enhancer ---------------------------------------------------------------------------------
constexpr float kTiny = 1e-8f;

// The square root, and 0 for anything too small to matter: no denormals in the recursion behind it.
float guarded_root(float v) { return v > kTiny ? __builtin_sqrtf(v) : 0.0f; }
float flushed(float v) { return __builtin_fabsf(v) > kTiny ? v : 0.0f; }

// Unlike halves: even harmonics as well as odd ones. The magnitude keeps the root defined for any input.
float shape(const BassChannel& c, float l) {
  if (l >= 0.0f)
    return c.shaper_gain * (guarded_root(__builtin_fabsf((c.pos_offset - l) * l + c.pos_const)) + c.pos_bias);
  return -c.shaper_gain * (guarded_root(__builtin_fabsf(c.neg_const - (l + c.neg_offset) * l)) + c.neg_bias);
}

[[maybe_unused]] void plain_bass(const BassChannel* channels, int count, int n) {
  for (int ch = 0; ch < count; ++ch) {
    const BassChannel c = channels[ch];
    BiquadPair bass = *c.bass_lowpass, main = *c.main_highpass;
    BiquadPair harmonic_lowpass = *c.harmonic_lowpass, harmonic_highpass = *c.harmonic_highpass;
    BiquadPair floor_highpass{};
    if (c.floor_highpass) floor_highpass = *c.floor_highpass;
    float prev_in = *c.dc_prev_in, prev_out = *c.dc_prev_out;
    for (int i = 0; i < n; ++i) {
      const float x = c.in[i] / c.scale;
      const float low = edge_step(bass, x);
      const float high = edge_step(main, x);
      const float y = shape(c, low);
      const float z = ((y - prev_in) + prev_out) * c.dc_coef;
      prev_in = flushed(y), prev_out = flushed(z);
      float harmonics = edge_step(harmonic_highpass, edge_step(harmonic_lowpass, z));
      if (c.floor_highpass) harmonics = edge_step(floor_highpass, harmonics);
      c.out[i] =
          c.scale * fused(harmonics, c.amount, high);  // the dry bass is left out: its harmonics stand for it
    }
    *c.bass_lowpass = bass, *c.main_highpass = main;
    *c.harmonic_lowpass = harmonic_lowpass, *c.harmonic_highpass = harmonic_highpass;
    if (c.floor_highpass) *c.floor_highpass = floor_highpass;
    *c.dc_prev_in = prev_in, *c.dc_prev_out = prev_out;
  }
}

// ---- Exciter ---------------------------------------------------------------------------------------
// 1.5 u - 0.5 u^3 between -1 and 1, where its slope reaches 0. NaN is 1.
float soft_clip(float u) {
  if (!(u <= 1.0f)) return 1.0f;
  return u >= -1.0f ? u * fused(-u, 0.5f * u, 1.5f) : -1.0f;
}

[[maybe_unused]] void plain_exciter(const ExciterChannel* channels, int count, int n) {
  for (int ch = 0; ch < count; ++ch) {
    const ExciterChannel c = channels[ch];
    const BiquadCoeffs pre = *c.pre, post = *c.post;
    BiquadHistory pre_history = *c.pre_history, post_history = *c.post_history;
    for (int i = 0; i < n; ++i) {
      const float x = c.in[i] / c.scale;
      const float high = section_step(pre, pre_history, x);
      const float shaped = soft_clip((high + c.bias) * c.drive);
      const float w = section_step(post, post_history, shaped);  // without the offset that the bias makes
      c.out[i] = c.scale * fused(c.wet, w, c.dry * x);
    }
    *c.pre_history = pre_history, *c.post_history = post_history;
  }
}

// ---- De-esser --------------------------------------------------------------------------------------
// Adds the block's mean square in the detector's band to `energy`, sample by sample in this order.
float add_band_energy(const DeEsserChannel& c, int n, float energy) {
  const BiquadCoeffs detector = *c.detector;
  BiquadHistory h = *c.detector_history;
  for (int i = 0; i < n; ++i) {
    const float d = section_step(detector, h, c.in[i]);
    energy += d * d / static_cast<float>(n);
  }
  *c.detector_history = h;
  return energy;
}

// The gain moves to its target in a straight line over the block, against zipper noise.
void cross_fade(const DeEsserChannel& c, float step, int n) {
  const BiquadCoeffs notch = *c.notch;
  BiquadHistory h = *c.notch_history;
  float gain = c.gain;
  for (int i = 0; i < n; ++i) {
    gain += step;
    const float x = c.in[i];
    const float y = section_step(notch, h, x);
    c.out[i] = x * gain + (1.0f - gain) * y;
  }
  *c.notch_history = h;
}

[[maybe_unused]] void plain_de_esser(const DeEsserChannel* channels, int count, int n,
                                     float (*target)(void*, int, float), void* owner) {
  float energy =
      0;  // not reset between channels: channel 1 answers to both channels' sibilance. Hosts are tuned to it.
  for (int ch = 0; ch < count; ++ch) {
    const DeEsserChannel& c = channels[ch];
    energy = add_band_energy(c, n, energy);
    cross_fade(c, (target(owner, ch, energy) - c.gain) * c.inv_frame_length, n);
  }
}

// ---- Loudness meter --------------------------------------------------------------------------------
[[maybe_unused]] void plain_meter(const MeterChannel* channels, int count, int n, MeterRing& ring) {
  for (int ch = 0; ch < count; ++ch) {
    const MeterChannel c = channels[ch];
    const BiquadCoeffs shelf = *c.shelf, high_pass = *c.high_pass;
    BiquadHistory shelf_history = *c.shelf_history, high_pass_history = *c.high_pass_history;
    float sum = *c.sum;
    for (int i = 0; i < n; ++i) {
      const float y =
          section_step(high_pass, high_pass_history, section_step(shelf, shelf_history, c.in[i] / c.scale));
      float& oldest = ring.squares[ring.position];
      sum -= oldest;  // in this order: the running sum is rounded twice a sample
      oldest = y * y;
      sum += oldest;
      if (++ring.position >= ring.size) ring.position = 0;
    }
    *c.sum = sum;
    *c.shelf_history = shelf_history, *c.high_pass_history = high_pass_history;
  }
}

// ---- Effects that share a loop ---------------------------------------------------------------------
[[maybe_unused]] void plain_tone(const BassChannel* bass, const ExciterChannel* exciter,
                                 const DeEsserChannel* de_esser, int count, int n,
                                 float (*target)(void*, int, float), void* owner, const MeterChannel* meter,
                                 MeterRing* ring) {
  if (meter) plain_meter(meter, count, n, *ring);
  if (bass) plain_bass(bass, count, n);
  if (exciter) plain_exciter(exciter, count, n);
  if (de_esser) plain_de_esser(de_esser, count, n, target, owner);
}

[[maybe_unused]] void plain_cascade_multiband(const CascadeChannel* cascade, float* const* between,
                                              const MultibandChannel* multiband, int count, int n,
                                              const MeterChannel* meter, MeterRing* ring) {
  if (meter) plain_meter(meter, count, n, *ring);
  plain_cascade(cascade, count, n);
  for (int ch = 0; ch < count; ++ch)
    if (n > 0) __builtin_memcpy(between[ch], cascade[ch].x, static_cast<unsigned long>(n) * sizeof(float));
  plain_multiband(multiband, count, n);
}

// ---- Levels and gains of a block -------------------------------------------------------------------
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

// ---- PCM -------------------------------------------------------------------------------------------
[[maybe_unused]] void plain_from_pcm(const int16_t* in, const float* gains, float* const* out, int channels,
                                     int n) {
  for (int ch = 0; ch < channels; ++ch) {
    const int16_t* from = in + ch;
    for (int i = 0; i < n; ++i, from += channels) out[ch][i] = static_cast<float>(*from) * gains[ch];
  }
}

[[maybe_unused]] void plain_to_pcm(const float* const* in, float bottom, float top, int16_t* out,
                                   int channels, int n) {
  for (int ch = 0; ch < channels; ++ch) {
    int16_t* to = out + ch;
    for (int i = 0; i < n; ++i, to += channels) {
      float y = in[ch][i] < top ? in[ch][i] : top;
      y = y > bottom ? y : bottom;
      *to = static_cast<int16_t>(static_cast<uint16_t>(common::truncate_to_int(static_cast<double>(y))));
    }
  }
}
