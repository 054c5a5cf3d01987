// The designs of the tone effects, apart from what runs them: whoever judges settings links this and no more.
#include "tone/designs.h"

#include <cmath>

#include "common/numeric.h"
#include "common/sine.h"
#include "filters/design.h"

namespace tone {

// ---- Ten-band equalizer ----------------------------------------------------------------------------
EqBand read_eq_band(const float* record) {
  return {common::truncate_to_int(record[AUDIOPOST_EQ10_BAND_ENABLE]),
          common::truncate_to_int(record[AUDIOPOST_EQ10_TYPE]), record[AUDIOPOST_EQ10_FC],
          record[AUDIOPOST_EQ10_Q], record[AUDIOPOST_EQ10_BOOST]};
}

BiquadCoeffs design_eq_band(const EqBand& band, int sample_rate) {
  return filters::design(band.type, static_cast<float>(sample_rate), band.fc, band.q, band.boost);
}

// ---- Bass enhancer ---------------------------------------------------------------------------------
namespace {

constexpr float kTiny = 1e-8f;

// The square root, and 0 for anything too small to matter: no denormals in the recursion behind it.
float guarded_root(float v) { return v > kTiny ? sqrtf(v) : 0.0f; }

// Not guarded: drive 0 and blend 10.5 give infinities, which stay in the coefficients until the next design.
BassShaper design_shaper(float drive, float blend) {
  const float a = 12.0f / drive;
  const float k = a / (10.5f - blend) * 23.64f;
  const float twice_a_squared = (a + a) * a;
  const float root = guarded_root(std::fabs(twice_a_squared - 1.0f));
  const float P = 1.0f + root;
  BassShaper c{};
  c.pos_offset = P;
  c.pos_bias = (2.0f - P) * 0.5f;
  c.pos_const = (std::fma(a, a, -P) + 1.0f) * 0.5f;

  const float m = P / guarded_root(std::fabs(2.0f * root - twice_a_squared));
  const float m_squared_1 = std::fma(m, m, 1.0f), hypotenuse = sqrtf(m_squared_1);
  c.neg_bias = -k / hypotenuse;
  c.neg_offset = 2.0f * m * k / hypotenuse;
  c.neg_const = k * k / m_squared_1;

  const float end = guarded_root(std::fabs(2.0f * c.neg_offset + 4.0f * c.neg_const - 1.0f));
  c.gain = 2.0f / (2.0f * c.neg_bias + end + 1.0f);
  return c;
}

}  // namespace

BassDesign design_bass_enhancer(float drive, float blend, float freq, float floor, int sample_rate) {
  const auto section = [fs = static_cast<float>(sample_rate)](FilterType type, float fc) {
    return filters::design(type, fs, fc, 0.0f, 0.0f);
  };
  const float tenth = 0.1f * static_cast<float>(sample_rate);
  return {section(ButterworthLP, freq), section(ButterworthHP, freq),  section(ButterworthLP, freq * 3.0f),
          section(ButterworthHP, freq), section(ButterworthHP, floor), design_shaper(drive, blend),
          tenth / (tenth + 1.0f)};
}

// ---- Exciter ---------------------------------------------------------------------------------------
ExciterDesign design_exciter(float distortion_amount, float cutoff_hz, int sample_rate) {
  const float drive = powf(10.0f, distortion_amount + distortion_amount);
  return {drive, 1.0f / drive,
          filters::design(ButterworthHP, static_cast<float>(sample_rate), cutoff_hz, 0.0f, 0.0f)};
}

// ---- De-esser --------------------------------------------------------------------------------------
namespace {

constexpr double kTwoPi = 6.283185307179586;
constexpr float kHalfLn2 = 0.3465736f;

struct Angle {
  float w0, sw, cw;
};

Angle angle(float f0, int sample_rate) {
  const auto w0 = static_cast<float>(static_cast<double>(f0) * kTwoPi / static_cast<double>(sample_rate));
  return {w0, common::sine(w0), common::cosine(w0)};
}

// Band-pass with 0 dB peak, bandwidth in octaves, and notch (R. Bristow-Johnson, "Cookbook formulae for audio
// EQ biquad filter coefficients").
BiquadCoeffs design_detector(Angle w, float octaves) {
  const float alpha = w.sw * common::sinh_rounded_once(kHalfLn2 * octaves * w.w0 / w.sw);
  const float a0 = 1.0f + alpha;
  return {alpha / a0, 0.0f, -alpha / a0, -2.0f * w.cw / a0, (1.0f - alpha) / a0};
}

BiquadCoeffs design_notch(Angle w, float q) {
  const float alpha = w.sw / (2.0f * q);
  const float a0 = 1.0f + alpha;
  const float mid = -2.0f * w.cw / a0;
  return {1.0f / a0, mid, 1.0f / a0, mid, (1.0f - alpha) / a0};
}

}  // namespace

DeEsserDesign design_de_esser(float f0, float q, int sample_rate) {
  const Angle w = angle(f0, sample_rate);
  return {design_detector(w, q), design_notch(w, q)};
}

}  // namespace tone
