// The library's one coefficient designer. Every formula is evaluated in single precision in the order it
// stands.
#include "filters/design.h"

#include <cmath>

#include "common/log.h"
#include "common/numeric.h"
#include "common/sine.h"

namespace {

constexpr float kTwoPi = 6.2831855f;
constexpr float kHalfLn2 = 0.3465736f;
constexpr float kSqrt2 = 1.4142f;  // these four decimals and no more: hosts are tuned to them

// NaN goes to the upper end.
float clamp(float value, float low, float high) {
  value = value < high ? value : high;
  return value > low ? value : low;
}

struct Angle {
  float w0, cw, sw;  // the frequency in radians a sample, its cosine and sine
};

BiquadCoeffs parametric(Angle w, float q, float gain_dB) {
  const float A = powf(10.0f, gain_dB / 40.0f);
  const float alpha = w.sw / (2.0f * clamp(q, 0.01f, 16.0f));
  const float a0 = 1.0f + alpha / A;
  const float mid = -2.0f * w.cw / a0;
  return {(1.0f + alpha * A) / a0, mid, (1.0f - alpha * A) / a0, mid, (1.0f - alpha / A) / a0};
}

struct Shelf {
  float A, r;  // amplitude at the mid-point; 2 sqrt(A) alpha
};

Shelf shelf_terms(float sw, float slope, float gain_dB) {
  const float A = powf(10.0f, gain_dB / 40.0f);
  const float t = (A + 1.0f / A) * (1.0f / clamp(slope, 0.01f, 2.0f) - 1.0f) + 2.0f;
  const float alpha = t > 0.0f ? sw / 2.0f * sqrtf(t) : 0.0f;  // a slope too steep for its gain
  return {A, 2.0f * sqrtf(A) * alpha};
}

BiquadCoeffs low_shelf(Angle w, float slope, float gain_dB) {
  const auto [A, r] = shelf_terms(w.sw, slope, gain_dB);
  const float up = A + 1.0f, down = A - 1.0f;
  const float a0 = up + down * w.cw + r;
  return {A * (up - down * w.cw + r) / a0, 2.0f * A * (down - up * w.cw) / a0,
          A * (up - down * w.cw - r) / a0, -2.0f * (down + up * w.cw) / a0, (up + down * w.cw - r) / a0};
}

BiquadCoeffs high_shelf(Angle w, float slope, float gain_dB) {
  const auto [A, r] = shelf_terms(w.sw, slope, gain_dB);
  const float up = A + 1.0f, down = A - 1.0f;
  const float a0 = up - down * w.cw + r;
  return {A * (up + down * w.cw + r) / a0, -2.0f * A * (down + up * w.cw) / a0,
          A * (up + down * w.cw - r) / a0, 2.0f * (down - up * w.cw) / a0, (up - down * w.cw - r) / a0};
}

BiquadCoeffs general_low_pass(Angle w, float q, float gain_dB) {
  const float G = powf(10.0f, gain_dB / 20.0f);
  const float alpha = w.sw / (2.0f * clamp(q, 0.01f, 16.0f));
  const float a0 = 1.0f + alpha;
  const float b0 = G * (1.0f - w.cw) * 0.5f / a0;
  return {b0, G * (1.0f - w.cw) / a0, b0, -2.0f * w.cw / a0, (1.0f - alpha) / a0};
}

BiquadCoeffs general_high_pass(Angle w, float q, float gain_dB) {
  const float G = powf(10.0f, gain_dB / 20.0f);
  const float alpha = w.sw / (2.0f * clamp(q, 0.01f, 16.0f));
  const float a0 = 1.0f + alpha;
  const float b0 = G * (1.0f + w.cw) * 0.5f / a0;
  return {b0, -G * (1.0f + w.cw) / a0, b0, -2.0f * w.cw / a0, (1.0f - alpha) / a0};
}

BiquadCoeffs band_pass(Angle w, float octaves, float gain_dB) {
  const float G = powf(10.0f, gain_dB / 20.0f);
  const float alpha = w.sw * common::sinh_rounded_once(kHalfLn2 * clamp(octaves, 0.01f, 11.0f) * w.w0 / w.sw);
  const float a0 = 1.0f + alpha;
  return {G * alpha / a0, 0.0f, -G * alpha / a0, -2.0f * w.cw / a0, (1.0f - alpha) / a0};
}

// G goes into the factor k that all coefficients share, so at any gain but 0 dB it scales the feedback too
// and stands in b1 and b2 twice: required behaviour, and harmless because the library itself always asks for
// 0 dB.
BiquadCoeffs butterworth_low_pass(Angle w, float gain_dB) {
  const float T = 1.0f / common::tan_rounded_once(w.w0 / 2.0f);
  const float G = powf(10.0f, gain_dB / 20.0f);
  const float k = G / (T * T + kSqrt2 * T + 1.0f);
  return {k, 2.0f * k * G, k * G, 2.0f * k * (1.0f - T * T), k * (T * T - kSqrt2 * T + 1.0f)};
}

BiquadCoeffs butterworth_high_pass(Angle w, float gain_dB) {
  const float K = common::tan_rounded_once(w.w0 / 2.0f);
  const float G = powf(10.0f, gain_dB / 20.0f);
  const float k = G / (K * K + kSqrt2 * K + 1.0f);
  return {k, -2.0f * k * G, k * G, 2.0f * k * (K * K - 1.0f), k * (K * K - kSqrt2 * K + 1.0f)};
}

}  // namespace

bool filters::is_filter_type(int type) { return type >= Parametric && type <= ButterworthHP; }

BiquadCoeffs filters::design(int type, float sample_rate, float fc, float q, float gain_db) {
  const float gain_dB = clamp(gain_db, -20.0f, 20.0f);
  const float w0 = fc * kTwoPi / sample_rate;
  const Angle w{w0, common::cosine(w0), common::sine(w0)};
  switch (type) {
    case Parametric:
      return parametric(w, q, gain_dB);
    case LowShelf:
      return low_shelf(w, q, gain_dB);
    case HighShelf:
      return high_shelf(w, q, gain_dB);
    case GeneralLP:
      return general_low_pass(w, q, gain_dB);
    case GeneralHP:
      return general_high_pass(w, q, gain_dB);
    case BandPass:
      return band_pass(w, q, gain_dB);
    case ButterworthLP:
      return butterworth_low_pass(w, gain_dB);
    case ButterworthHP:
      return butterworth_high_pass(w, gain_dB);
    default:
      return {};
  }
}

void filters::require_filter_type(int type) {
  if (is_filter_type(type)) return;
  LOG_LINE_AS("filter_calculateCoeffs", "ErrorXXX: You should choose a filter type!\n\n");
  common::end_process();
}

void filter_calculateCoeffs(float* coeffs, int type, float sample_rate, float fc, float q, float gain_db) {
  filters::require_filter_type(type);
  const BiquadCoeffs c = filters::design(type, sample_rate, fc, q, gain_db);
  const float result[5] = {c.b0, c.b1, c.b2, c.a1, c.a2};
  for (int i = 0; i < 5; ++i) coeffs[i] = result[i];
}
