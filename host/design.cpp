#include "host/design.h"

#include <algorithm>
#include <cmath>

#include "host/fields.h"

namespace host {
namespace {

float at(const Record& record, int index) { return record[static_cast<size_t>(index)]; }

struct Coefficients {
  double b0, b1, b2, a0, a1, a2;
};
Complex response(const Coefficients& c, double sample_rate, double hz) {
  const Complex z = std::polar(1.0, -2.0 * kPi * hz / sample_rate);
  return (c.b0 + z * (c.b1 + z * c.b2)) / (c.a0 + z * (c.a1 + z * c.a2));
}

double clamped(double x, double low, double high) { return x < high ? std::max(x, low) : high; }  // NaN: high

// R. Bristow-Johnson's cookbook for bells, shelves, resonant filters and the band-pass.
Coefficients cookbook(const EqBand& band, double w0) {
  const double gain = clamped(band.boost_dB, -20.0, 20.0), cw = std::cos(w0), sw = std::sin(w0);
  const double amp = std::pow(10.0, gain / 40.0), g = std::pow(10.0, gain / 20.0);
  const double alpha = sw / (2.0 * clamped(band.q, 0.01, 16.0));
  switch (band.type) {
    case Parametric:
      return {1 + alpha * amp, -2 * cw, 1 - alpha * amp, 1 + alpha / amp, -2 * cw, 1 - alpha / amp};
    case LowShelf:
    case HighShelf: {
      const double slope = clamped(band.q, 0.01, 2.0), t = (amp + 1 / amp) * (1 / slope - 1) + 2;
      const double r = t > 0 ? std::sqrt(amp) * sw * std::sqrt(t) : 0.0;
      const double s =
          band.type == LowShelf ? 1.0 : -1.0;  // the high shelf is the low one with cos(w0) negated
      return {amp * (amp + 1 - s * (amp - 1) * cw + r), s * 2 * amp * (amp - 1 - s * (amp + 1) * cw),
              amp * (amp + 1 - s * (amp - 1) * cw - r), amp + 1 + s * (amp - 1) * cw + r,
              -s * 2 * (amp - 1 + s * (amp + 1) * cw),  amp + 1 + s * (amp - 1) * cw - r};
    }
    case GeneralLP:
      return {g * (1 - cw) / 2, g * (1 - cw), g * (1 - cw) / 2, 1 + alpha, -2 * cw, 1 - alpha};
    case GeneralHP:
      return {g * (1 + cw) / 2, -g * (1 + cw), g * (1 + cw) / 2, 1 + alpha, -2 * cw, 1 - alpha};
    default: {  // BandPass: bandwidth in octaves
      const double a = sw * std::sinh(std::log(2.0) / 2 * clamped(band.q, 0.01, 11.0) * w0 / sw);
      return {g * a, 0, -g * a, 1 + a, -2 * cw, 1 - a};
    }
  }
}

// Second-order Butterworth under the bilinear transform. Any gain but 0 dB scales the feedback too, as the designer does.
Coefficients butterworth(bool high, double w0, double gain_dB) {
  const double k = high ? std::tan(w0 / 2) : 1 / std::tan(w0 / 2), sign = high ? -1.0 : 1.0;
  const double g = std::pow(10.0, clamped(gain_dB, -20.0, 20.0) / 20.0);
  const double d = (k * k + 1.4142 * k + 1) / g;
  return {1, sign * 2 * g, g, d, sign * 2 * (1 - k * k), k * k - 1.4142 * k + 1};
}

// One edge of a Linkwitz-Riley crossover: two Butterworth sections.
Complex edge(bool high, double corner_hz, double sample_rate, double hz) {
  const Complex h = response(butterworth(high, 2 * kPi * corner_hz / sample_rate, 0.0), sample_rate, hz);
  return h * h;
}

// The five corners stand side by side, here and in the AGC's section, from compress_start to max_peak.
DynamicsCurve curve_at(const Record& record, int index) {
  return {at(record, index), at(record, index + 1), at(record, index + 2), at(record, index + 3),
          at(record, index + 4)};
}

}  // namespace

double full_scale(const Record& record) {
  const int bits = field_as_int(record, AUDIOPOST_BIT_RATE);
  return bits == 16 ? 32767.0 : bits == 24 ? 8388607.0 : 2147483648.0;
}

// ---- Equalizer -------------------------------------------------------------------------------------
std::vector<EqBand> eq_bands(const Record& record, int channel) {
  std::vector<EqBand> bands;
  for (int b = 0; b < AUDIOPOST_EQ10_BANDS; ++b) {
    const int i = settings_start(record, AUDIOPOST_EFFECT_EQ10, channel) + AUDIOPOST_EQ10_BAND_STRIDE * b;
    bands.push_back({b, field_as_int(record, i + AUDIOPOST_EQ10_BAND_ENABLE) != 0,
                     field_as_int(record, i + AUDIOPOST_EQ10_TYPE), at(record, i + AUDIOPOST_EQ10_FC),
                     at(record, i + AUDIOPOST_EQ10_Q), at(record, i + AUDIOPOST_EQ10_BOOST)});
  }
  return bands;
}

Complex band_response(const EqBand& band, double sample_rate, double hz) {
  const double w0 = 2 * kPi * band.fc_hz / sample_rate;
  if (band.type == ButterworthLP || band.type == ButterworthHP)
    return response(butterworth(band.type == ButterworthHP, w0, band.boost_dB), sample_rate, hz);
  return response(cookbook(band, w0), sample_rate, hz);
}

// ---- Multi-band compressor -----------------------------------------------------------------------------------
double DynamicsCurve::gain_dB(double x) const {
  const double half = 2.0, divisor = 8.0;  // of the 4 dB knee
  const double expand = (expand_end + max_gain - noise_threshold) / (expand_end - noise_threshold);
  const double compress = (compress_start + max_gain - max_peak) / compress_start;
  if (x <= expand_end - half) return noise_threshold + (x - noise_threshold) * expand - x;
  if (x <= expand_end + half) return max_gain + (1 - expand) * std::pow(x - expand_end - half, 2) / divisor;
  if (x <= compress_start - half) return max_gain;
  if (x <= compress_start + half)
    return max_gain + (compress - 1) * std::pow(x - compress_start + half, 2) / divisor;
  return max_gain + compress_start + compress * (x - compress_start) - x;
}

double DynamicsCurve::played_gain_dB(double level_dB, double end_dB) const {
  return std::max(-60.0, gain_dB(clamped(level_dB, noise_threshold - 4.0, end_dB)));
}

std::vector<CompressorBand> compressor_bands(const Record& record, int channel) {
  const int start = settings_start(record, AUDIOPOST_EFFECT_MULTIBAND_DRC, channel);
  const int bands = field_as_int(record, start + AUDIOPOST_DRC_CROSSOVER_BAND);
  if (bands < 2 || bands > 4) return {};
  struct Edges {
    const char* name;
    int offset;
    bool high_pass, low_pass;
  };
  static constexpr Edges kPlaces[] = {{"low", AUDIOPOST_DRC_LOW, false, true},
                                      {"mid 1", AUDIOPOST_DRC_MID1, true, true},
                                      {"mid 2", AUDIOPOST_DRC_MID2, true, true},
                                      {"high", AUDIOPOST_DRC_HIGH, true, false}};
  std::vector<CompressorBand> result;
  for (const Edges& place : kPlaces) {
    if ((place.offset == AUDIOPOST_DRC_MID1 && bands < 3) ||
        (place.offset == AUDIOPOST_DRC_MID2 && bands < 4))
      continue;
    const int i = start + place.offset;
    const bool compresses = field_as_int(record, i + AUDIOPOST_DRC_BAND_ENABLE) != 0;
    result.push_back({place.name, place.high_pass ? at(record, i + AUDIOPOST_DRC_FREQ_START) : 0.0,
                      place.low_pass ? at(record, i + AUDIOPOST_DRC_FREQ_END) : 0.0,
                      at(record, i + AUDIOPOST_DRC_GAIN_DB), compresses,
                      curve_at(record, i + AUDIOPOST_DRC_COMPRESS_START), compresses ? -to_dB(bands) : 0.0});
  }
  return result;
}

Complex crossover_response(const CompressorBand& band, double sample_rate, double hz) {
  return (band.low_hz > 0 ? edge(true, band.low_hz, sample_rate, hz) : 1.0) *
         (band.high_hz > 0 ? edge(false, band.high_hz, sample_rate, hz) : 1.0);
}

// ---- Peak stage ------------------------------------------------------------------------------------
double PeakStage::limiter_gain_dB(double level_dB) const {
  const double knee = std::trunc(6 - 2 * max_threshold), half = std::floor(knee / 2);
  const double x = clamped(level_dB, 2 * max_threshold - 6, 10.0);
  double gain = 0;
  if (knee < 1)
    gain = -x;  // the curve without a knee is 0 dB, whatever goes in
  else if (x > max_threshold + half)
    gain = max_threshold - x;
  else if (x > max_threshold - half)
    gain = -std::pow(x - max_threshold + half, 2) / (2 * knee);
  return std::max(gain, -60.0) + ceiling - max_threshold + to_dB(0.998);
}

PeakStage peak_stage(const Record& record, int channel) {
  const int i = settings_start(record, AUDIOPOST_EFFECT_MAXIMIZER, channel);
  return {at(record, i + AUDIOPOST_MAXIMIZER_MAX_THRESHOLD), at(record, i + AUDIOPOST_MAXIMIZER_CEILING),
          curve_at(record, i + AUDIOPOST_AGC_COMPRESS_START)};
}

// ---- Bass enhancer ---------------------------------------------------------------------------------
BassStage bass_stage(const Record& record, int channel) {
  const int i = settings_start(record, AUDIOPOST_EFFECT_BASS_ENHANCER, channel);
  return {at(record, i + AUDIOPOST_BASS_AMOUNT_DB),
          at(record, i + AUDIOPOST_BASS_DRIVE),
          at(record, i + AUDIOPOST_BASS_BLEND),
          at(record, i + AUDIOPOST_BASS_FREQ),
          field_as_int(record, i + AUDIOPOST_BASS_FLOOR_ACTIVE) >= 1,
          at(record, i + AUDIOPOST_BASS_FLOOR)};
}

std::function<double(double)> bass_shaper(const BassStage& stage) {
  const auto root = [](double v) { return v > 1e-8 ? std::sqrt(v) : 0.0; };
  const double a = 12.0 / stage.drive, k = a / (10.5 - stage.blend) * 23.64;
  const double s1 = root(std::abs(2 * a * a - 1)), p = 1 + s1, q = (2 - p) / 2, t = (a * a - p + 1) / 2;
  const double m = p / root(std::abs(2 * s1 - 2 * a * a)), x3 = m * m + 1;
  const double s = -k / std::sqrt(x3), r = 2 * m * k / std::sqrt(x3), u = k * k / x3;
  const double gain = 2 / (2 * s + root(std::abs(2 * r + 4 * u - 1)) + 1);
  return [=](double l) {
    return l >= 0 ? gain * (root(std::abs((p - l) * l + t)) + q)
                  : -gain * (root(std::abs(u - (l + r) * l)) + s);
  };
}

BassPaths bass_paths(const BassStage& stage, double sample_rate, double hz) {
  const Complex low = edge(false, stage.split_hz, sample_rate, hz),
                high = edge(true, stage.split_hz, sample_rate, hz);
  const double pole = 0.1 * sample_rate / (0.1 * sample_rate + 1);  // of the DC blocker
  const Complex z = std::polar(1.0, -2 * kPi * hz / sample_rate);
  Complex out = pole * (1.0 - z) / (1.0 - pole * z) * edge(false, 3 * stage.split_hz, sample_rate, hz) *
                high * from_dB(stage.amount_dB);
  if (stage.floor_active) out *= edge(true, stage.floor_hz, sample_rate, hz);
  return {high, low, out};
}

std::vector<double> bass_harmonics(const BassStage& stage, double sample_rate, double hz, double amplitude,
                                   int n) {
  const auto shaper = bass_shaper(stage);
  const BassPaths tone = bass_paths(stage, sample_rate, hz);
  constexpr int kSteps = 8192;
  std::vector<double> amplitudes;
  for (int h = 1; h <= n; ++h) {
    Complex sum = 0;  // Fourier coefficient of the shaped tone
    for (int i = 0; i < kSteps; ++i) {
      const double phase = 2 * kPi * i / kSteps;
      const Complex low = amplitude * tone.to_shaper * std::polar(1.0, phase);
      sum += shaper(low.imag()) * std::polar(2.0 / kSteps, -h * phase);
    }
    Complex out = sum * bass_paths(stage, sample_rate, h * hz).from_shaper;
    if (h == 1) out += Complex(0, -1) * amplitude * tone.dry;  // a sine is -j times its phasor
    amplitudes.push_back(std::abs(out));
  }
  return amplitudes;
}

}  // namespace host
