// Replaces the lowest part of the spectrum by its harmonics, for loudspeakers that cannot play it: split,
// waveshaper on the low part, harmonics kept between the split and three times it.
#include <cmath>
#include <memory>

#include "common/flush_denormals.h"
#include "common/log.h"
#include "common/memory.h"
#include "common/numeric.h"
#include "common/sample_format.h"
#include "filters/biquad.h"

using filters::BiquadPair;

// ---- Record ----------------------------------------------------------------------------------------
struct BassEnhancerState {
  int bit_rate, sample_rate, channels, channel_link;
  int coef_count, history_count;  // per channel and filter: always 10 and 4
  // Filters, per channel, with their histories.
  BiquadPair bass_lowpass[2], main_highpass[2], harmonic_lowpass[2], harmonic_highpass[2], floor_highpass[2];
  // Settings, per channel.
  float amount_dB[2], amount_linear[2];
  float drive[2], blend[2];
  float freq[2];  // Hz: the split
  int floor_active[2];
  float floor[2];  // Hz
  // Coefficients of the waveshaper: P, Q, R, S, T, U.
  float pos_offset[2], pos_bias[2], neg_offset[2], neg_bias[2], pos_const[2], neg_const[2];
  float dc_coef[2];
  float shaper_gain[2];
  // Memory of the DC blocker.
  float dc_prev_in[2], dc_prev_out[2];
  float sample_scale;
};

namespace {

constexpr int kRecordStride = 10;
constexpr float kTiny = 1e-8f;

// The square root, and 0 for anything too small to matter: no denormals in the recursion behind it.
float guarded_root(float v) { return v > kTiny ? sqrtf(v) : 0.0f; }
float flushed(float v) { return std::fabs(v) > kTiny ? v : 0.0f; }

// ---- Design ----------------------------------------------------------------------------------------
void design_filters(BassEnhancerState& s, int ch) {
  const auto fs = static_cast<float>(s.sample_rate);
  filters::design_pair(s.bass_lowpass[ch], ButterworthLP, fs, s.freq[ch]);
  filters::design_pair(s.main_highpass[ch], ButterworthHP, fs, s.freq[ch]);
  filters::design_pair(s.harmonic_lowpass[ch], ButterworthLP, fs, s.freq[ch] * 3.0f);
  filters::design_pair(s.harmonic_highpass[ch], ButterworthHP, fs, s.freq[ch]);
  filters::design_pair(s.floor_highpass[ch], ButterworthHP, fs, s.floor[ch]);
}

// Not guarded: drive 0 and blend 10.5 give infinities, which stay in the coefficients until the next design.
void design_shaper(BassEnhancerState& s, int ch) {
  const float a = 12.0f / s.drive[ch];
  const float k = a / (10.5f - s.blend[ch]) * 23.64f;
  const float twice_a_squared = (a + a) * a;
  const float root = guarded_root(std::fabs(twice_a_squared - 1.0f));
  const float P = 1.0f + root;
  s.pos_offset[ch] = P;
  s.pos_bias[ch] = (2.0f - P) * 0.5f;
  s.pos_const[ch] = (std::fma(a, a, -P) + 1.0f) * 0.5f;

  const float m = P / guarded_root(std::fabs(2.0f * root - twice_a_squared));
  const float m_squared_1 = std::fma(m, m, 1.0f), hypotenuse = sqrtf(m_squared_1);
  s.neg_bias[ch] = -k / hypotenuse;
  s.neg_offset[ch] = 2.0f * m * k / hypotenuse;
  s.neg_const[ch] = k * k / m_squared_1;

  const float end = guarded_root(std::fabs(2.0f * s.neg_offset[ch] + 4.0f * s.neg_const[ch] - 1.0f));
  s.shaper_gain[ch] = 2.0f / (2.0f * s.neg_bias[ch] + end + 1.0f);
}

// Settings, coefficients, and everything that has a memory starting from silence.
void load(BassEnhancerState& s, const float* section) {
  for (int ch = 0; ch < s.channels; ++ch) {
    const float* const record = section + (s.channel_link ? 0 : ch * kRecordStride);
    s.amount_dB[ch] = record[0];
    s.amount_linear[ch] = common::dB_to_linear(s.amount_dB[ch]);
    s.drive[ch] = record[1];
    s.blend[ch] = record[2];
    s.freq[ch] = record[3];
    s.floor_active[ch] = common::truncate_to_int(record[4]);
    s.floor[ch] = record[5];
    s.dc_prev_in[ch] = s.dc_prev_out[ch] = 0.0f;
    const float tenth = 0.1f * static_cast<float>(s.sample_rate);
    s.dc_coef[ch] = tenth / (tenth + 1.0f);
    design_filters(s, ch);
    design_shaper(s, ch);
  }
}

// ---- Process ---------------------------------------------------------------------------------------
struct Shaper {
  float P, Q, R, S, T, U, gain;
};

// Unlike halves: even harmonics as well as odd ones. The magnitude keeps the root defined for any input.
float shape(const Shaper& c, float l) {
  if (l >= 0.0f) return c.gain * (guarded_root(std::fabs((c.P - l) * l + c.T)) + c.Q);
  return -c.gain * (guarded_root(std::fabs(c.U - (l + c.R) * l)) + c.S);
}

void process_channel(BassEnhancerState& s, int ch, const float* in, float* out, int n) {
  const Shaper shaper{s.pos_offset[ch], s.pos_bias[ch],  s.neg_offset[ch], s.neg_bias[ch],
                      s.pos_const[ch],  s.neg_const[ch], s.shaper_gain[ch]};
  const float scale = s.sample_scale, amount = s.amount_linear[ch], dc_coef = s.dc_coef[ch];
  const bool floor_active = s.floor_active[ch] > 0;
  BiquadPair bass = s.bass_lowpass[ch], main = s.main_highpass[ch], floor_highpass = s.floor_highpass[ch];
  BiquadPair harmonic_lowpass = s.harmonic_lowpass[ch], harmonic_highpass = s.harmonic_highpass[ch];
  float prev_in = s.dc_prev_in[ch], prev_out = s.dc_prev_out[ch];
  for (int i = 0; i < n; ++i) {
    const float x = in[i] / scale;
    const float low = filters::pair_step(bass, x);
    const float high = filters::pair_step(main, x);
    const float y = shape(shaper, low);
    const float z = ((y - prev_in) + prev_out) * dc_coef;
    prev_in = flushed(y), prev_out = flushed(z);
    float harmonics = filters::pair_step(harmonic_highpass, filters::pair_step(harmonic_lowpass, z));
    if (floor_active) harmonics = filters::pair_step(floor_highpass, harmonics);
    out[i] =
        scale * std::fma(harmonics, amount, high);  // the dry bass is left out: its harmonics stand for it
  }
  s.bass_lowpass[ch] = bass, s.main_highpass[ch] = main, s.floor_highpass[ch] = floor_highpass;
  s.harmonic_lowpass[ch] = harmonic_lowpass, s.harmonic_highpass[ch] = harmonic_highpass;
  s.dc_prev_in[ch] = prev_in, s.dc_prev_out[ch] = prev_out;
}

}  // namespace

int BassEnhancer_Process(BassEnhancerState* s, float** in, float** out, int n) {
  const common::FlushDenormals flush;
  for (int ch = 0; ch < s->channels; ++ch) process_channel(*s, ch, in[ch], out[ch], n);
  return s->channels;
}

// ---- Control ---------------------------------------------------------------------------------------
int BassEnhancer_SetPara(BassEnhancerState* s, const float* section) {
  load(*s, section);
  return s->channels;
}

void BassEnhancer_GetPara(const BassEnhancerState* s, float* section) {
  for (int ch = 0; ch < s->channels; ++ch) {
    float* const record = section + ch * kRecordStride;
    record[0] = s->amount_dB[ch];
    record[1] = s->drive[ch];
    record[2] = s->blend[ch];
    record[3] = s->freq[ch];
    record[4] = static_cast<float>(s->floor_active[ch]);
    record[5] = s->floor[ch];
  }
}

// ---- Print -----------------------------------------------------------------------------------------
void BassEnhancer_PrintPara(const BassEnhancerState* s) {
  LOG_LINE("BassEnhancer Param\n");
  LOG_LINE("=====================\n");
  for (int ch = 0; ch < s->channels; ++ch) {
    LOG_LINE("==== channel:%i ====\n", ch);
    LOG_LINE("amount_dB:%.2f\n", static_cast<double>(s->amount_dB[ch]));
    LOG_LINE("drive:%.2f\n", static_cast<double>(s->drive[ch]));
    LOG_LINE("blend:%.2f\n", static_cast<double>(s->blend[ch]));
    LOG_LINE("freq:%.2f\n", static_cast<double>(s->freq[ch]));
    LOG_LINE("floor_active:%i\n", s->floor_active[ch]);
    LOG_LINE("floor:%.2f\n", static_cast<double>(s->floor[ch]));
  }
}

// ---- Life cycle ------------------------------------------------------------------------------------
BassEnhancerState* BassEnhancer_Init(const float* section, int bit_rate, int sample_rate, int channels,
                                     int channel_link) {
  if (channels > 2) {
    LOG_LINE("Too Many Channel!\n\n");
    common::end_process();
  }
  const common::SampleFormat* format = common::sample_format(bit_rate);
  if (!format) {
    LOG_LINE("bit_rate is wrong!\n");
    return nullptr;
  }
  return common::null_without_memory([&] {
    auto s = std::make_unique<BassEnhancerState>();
    s->bit_rate = bit_rate, s->sample_rate = sample_rate, s->channels = channels,
    s->channel_link = channel_link;
    s->coef_count = 10, s->history_count = 4;
    s->sample_scale = format->clip_level;
    load(*s, section);
    return s.release();
  });
}

int BassEnhancer_Destroy(BassEnhancerState* s) {
  if (!s) return -3;
  delete s;
  return 0;
}
