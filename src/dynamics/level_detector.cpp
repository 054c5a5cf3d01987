// Ten-band level meter for one channel of 16-bit PCM. Stands alone: the chain does not use it.
#include "dynamics/level_detector.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "common/build_date.h"
#include "common/flush_denormals.h"
#include "common/log.h"
#include "common/memory.h"
#include "common/numeric.h"
#include "common/time_constant.h"
#include "filters/biquad.h"
#include "filters/design.h"

using common::truncate_to_int;

namespace {
constexpr int kBands = dynamics::kDetectorBands;
}

// ---- Record ----------------------------------------------------------------------------------------
struct LevelDetectorState {
  // Settings of Init.
  int sample_rate;
  int channels;  // stride of the interleaved input; only the first channel is measured
  int bit_rate;
  int frame_len;  // the block length that coefficients and power are made for, whatever Process gets
  // What is made of the settings.
  float inv_frame;              // 1 / (frame_len + 1)
  float rise_coef, decay_coef;  // the share of a block's power that is taken over
  int hold_samples;
  float level_offset;  // dB
  // Memory.
  int hold_count[kBands];    // samples left before the power may fall
  float band_power[kBands];  // smoothed mean square
  float band_level[kBands];  // dB
  // Filters: settings, coefficients and history.
  float band_freq[kBands], band_q[kBands];  // Hz; Q at both ends, octaves in between
  BiquadCoeffs band_coeffs[kBands];
  BiquadHistory band_history[kBands];
};

// ---- Design ----------------------------------------------------------------------------------------
BiquadCoeffs dynamics::design_detector_band(int index, const DetectorBand& band, int sample_rate) {
  const FilterType type = index == 0 ? GeneralLP : index == kDetectorBands - 1 ? GeneralHP : BandPass;
  return filters::design(type, static_cast<float>(sample_rate), band.freq, band.q, 0.0f);
}

namespace {

void design_filters(LevelDetectorState& s) {
  for (int b = 0; b < kBands; ++b)
    s.band_coeffs[b] = dynamics::design_detector_band(b, {s.band_freq[b], s.band_q[b]}, s.sample_rate);
}

// To four decimals 20 log10 of 32767, 2^24 (not 2^23: hosts are tuned to it) and 2^32. The input is read as
// 16-bit PCM in every case, so only at 16 bits are the levels relative to full scale.
float level_offset(int bit_rate) {
  return bit_rate == 16 ? 90.3087f : bit_rate == 24 ? 144.4944f : 192.6592f;
}

// ---- Process ---------------------------------------------------------------------------------------
// Adds up the squares of every band's output over n frames, all bands in one pass.
void measure(LevelDetectorState& s, const int16_t* pcm, uint32_t n, float (&sum)[kBands]) {
  const size_t stride = common::array_size(s.channels);
  for (size_t i = 0; i < n; ++i) {
    const float x = static_cast<float>(pcm[i * stride]);
    for (int b = 0; b < kBands; ++b) {
      const float y = filters::biquad_step(s.band_coeffs[b], s.band_history[b], x);
      sum[b] = std::fma(y, y, sum[b]);
    }
  }
}

float moved(float power, float target, float share) { return std::fma(power, 1.0f - share, target * share); }

// A rise charges the hold counter; the power stands until the counter has run out, and then falls.
void follow(LevelDetectorState& s, int b, float power, uint32_t n) {
  if (power > s.band_power[b]) {
    s.band_power[b] = moved(s.band_power[b], power, s.rise_coef);
    s.hold_count[b] = static_cast<int>(std::min(int64_t{s.hold_count[b]} + n, int64_t{s.hold_samples}));
  } else {
    const int64_t held = int64_t{s.hold_count[b]} - n;
    if (held < 1) s.band_power[b] = moved(s.band_power[b], power, s.decay_coef);
    s.hold_count[b] = static_cast<int>(std::max(held, int64_t{0}));
  }
  s.band_level[b] = std::fma(common::log10_portable(s.band_power[b] + 1.0f), 10.0f, -s.level_offset);
}

}  // namespace

uint32_t LevelDetector_Process(LevelDetectorState* s, const int16_t* pcm, uint32_t n) {
  const common::FlushDenormals flush;
  float sum[kBands] = {};
  measure(*s, pcm, n, sum);
  for (int b = 0; b < kBands; ++b) follow(*s, b, sum[b] * s->inv_frame, n);
  return n;
}

// ---- Control ---------------------------------------------------------------------------------------
int LevelDetector_SetPara(LevelDetectorState* s, const float* band_param, float rmstc, float hold_time,
                          float decay_time) {
  const float frames = static_cast<float>(common::wrapping_mul(s->frame_len, common::kRiseTime));
  s->rise_coef = 1.0f - common::block_decay(frames, s->sample_rate, rmstc);
  s->hold_samples = truncate_to_int(static_cast<float>(s->sample_rate) * hold_time / 1000.0f);
  s->decay_coef = 1.0f - common::block_decay(frames, s->sample_rate, decay_time);
  LOG_LINE("rmstc is %f, hold_time is %f, decay_time %f\n", rmstc, hold_time, decay_time);
  std::fill_n(s->hold_count, kBands, 0);
  std::fill_n(s->band_power, kBands, 0.0f);
  if (band_param) {
    for (int b = 0; b < kBands; ++b)
      s->band_freq[b] = band_param[2 * b], s->band_q[b] = band_param[2 * b + 1];
    design_filters(*s);
  }
  return s->frame_len;
}

int LevelDetector_GetRes(const LevelDetectorState* s, LevelDetectorResult* result) {
  for (int b = 0; b < kBands; ++b) {
    result->freq[b] = common::low_16_bits(truncate_to_int(s->band_freq[b]));
    result->level[b] = common::low_16_bits(truncate_to_int(s->band_level[b]));
  }
  return s->frame_len;
}

// ---- Life cycle ------------------------------------------------------------------------------------
namespace {

// The build's date reads "May 10 2024"; the banner puts the year first.
void print_banner() {
  char month[16];
  int day = 0, year = 0;
  if (std::sscanf(common::kBuildDate, "%15s %d %d", month, &day, &year) == 3)
    LOG_LINE_AS("LevelDetector_Init", "ZELK_LevelDetector-VERSION_1.0.0:[%d-%s-%d:%s]\n\n", year, month, day,
                common::kBuildTime);
}

}  // namespace

LevelDetectorState* LevelDetector_Init(int bit_rate, int sample_rate, int channels, int frame_len) {
  return common::null_without_memory([&] {
    auto s = std::make_unique<LevelDetectorState>();
    s->sample_rate = sample_rate, s->channels = channels, s->bit_rate = bit_rate, s->frame_len = frame_len;
    s->inv_frame = 1.0f / (static_cast<float>(frame_len) + 1.0f);
    // 200 ms; unlike in SetPara, the frames' product is a float and the rate's an integer.
    s->rise_coef = 1.0f - expf(static_cast<float>(frame_len) * static_cast<float>(common::kRiseTime) /
                               static_cast<float>(common::wrapping_mul(sample_rate, 200)));
    s->decay_coef = s->rise_coef;
    s->level_offset = level_offset(bit_rate);
    for (int b = 0; b < kBands; ++b)
      s->band_freq[b] = dynamics::kDefaultDetectorBands[b].freq,
      s->band_q[b] = dynamics::kDefaultDetectorBands[b].q;
    design_filters(*s);
    print_banner();
    return s.release();
  });
}

int LevelDetector_Destroy(LevelDetectorState* s) { return common::destroy(s); }
