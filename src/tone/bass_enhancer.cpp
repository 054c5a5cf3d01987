// Replaces the lowest part of the spectrum by its harmonics, for loudspeakers that cannot play it: split,
// waveshaper on the low part, harmonics kept between the split and three times it.
#include <cmath>
#include <memory>

#include "common/log.h"
#include "common/memory.h"
#include "common/numeric.h"
#include "common/sample_format.h"
#include "filters/biquad.h"
#include "tone/bass_enhancer.kernel.h"
#include "tone/designs.h"
#include "tone/effects.h"

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

  // Beyond the documented fields.
  tone::BassJob job;                        // of the latest block
  std::unique_ptr<lanes::Scratch> scratch;  // null in a chain, which has one for all
};

namespace {

// ---- Design: designs.cpp ----------------------------------------------------------------------------
// Settings, coefficients, and everything that has a memory starting from silence.
void load(BassEnhancerState& s, const float* section) {
  for (int ch = 0; ch < s.channels; ++ch) {
    const float* const record = section + (s.channel_link ? 0 : ch * AUDIOPOST_BASS_STRIDE);
    s.amount_dB[ch] = record[AUDIOPOST_BASS_AMOUNT_DB];
    s.amount_linear[ch] = common::dB_to_linear(s.amount_dB[ch]);
    s.drive[ch] = record[AUDIOPOST_BASS_DRIVE];
    s.blend[ch] = record[AUDIOPOST_BASS_BLEND];
    s.freq[ch] = record[AUDIOPOST_BASS_FREQ];
    s.floor_active[ch] = common::truncate_to_int(record[AUDIOPOST_BASS_FLOOR_ACTIVE]);
    s.floor[ch] = record[AUDIOPOST_BASS_FLOOR];
    s.dc_prev_in[ch] = s.dc_prev_out[ch] = 0.0f;
    const auto d =
        tone::design_bass_enhancer(s.drive[ch], s.blend[ch], s.freq[ch], s.floor[ch], s.sample_rate);
    s.bass_lowpass[ch] = filters::fresh_pair(d.bass_lowpass);
    s.main_highpass[ch] = filters::fresh_pair(d.main_highpass);
    s.harmonic_lowpass[ch] = filters::fresh_pair(d.harmonic_lowpass);
    s.harmonic_highpass[ch] = filters::fresh_pair(d.harmonic_highpass);
    s.floor_highpass[ch] = filters::fresh_pair(d.floor_highpass);
    s.pos_offset[ch] = d.shaper.pos_offset, s.pos_bias[ch] = d.shaper.pos_bias;
    s.pos_const[ch] = d.shaper.pos_const;
    s.neg_offset[ch] = d.shaper.neg_offset, s.neg_bias[ch] = d.shaper.neg_bias;
    s.neg_const[ch] = d.shaper.neg_const;
    s.shaper_gain[ch] = d.shaper.gain;
    s.dc_coef[ch] = d.dc_pole;
  }
}

// ---- Process ---------------------------------------------------------------------------------------
tone::BassChannel channel_for_kernel(BassEnhancerState& s, int ch, const float* in, float* out) {
  tone::BassChannel c{};
  c.bass_lowpass = &s.bass_lowpass[ch], c.main_highpass = &s.main_highpass[ch];
  c.harmonic_lowpass = &s.harmonic_lowpass[ch], c.harmonic_highpass = &s.harmonic_highpass[ch];
  if (s.floor_active[ch] > 0) c.floor_highpass = &s.floor_highpass[ch];
  c.pos_offset = s.pos_offset[ch], c.pos_bias = s.pos_bias[ch], c.pos_const = s.pos_const[ch];
  c.neg_offset = s.neg_offset[ch], c.neg_bias = s.neg_bias[ch], c.neg_const = s.neg_const[ch];
  c.shaper_gain = s.shaper_gain[ch], c.dc_coef = s.dc_coef[ch];
  c.dc_prev_in = &s.dc_prev_in[ch], c.dc_prev_out = &s.dc_prev_out[ch];
  c.amount = s.amount_linear[ch], c.scale = s.sample_scale;
  c.in = in, c.out = out;
  return c;
}

}  // namespace

void tone::join(BassEnhancerState& s, float** in, float** out, lanes::Block& block) {
  s.job.count = s.channels;
  for (int ch = 0; ch < s.channels; ++ch) s.job.channels[ch] = channel_for_kernel(s, ch, in[ch], out[ch]);
  block.join(kBassKind, &s.job);
}

int BassEnhancer_Process(BassEnhancerState* s, float** in, float** out, int n) {
  return lanes::process_alone(*s, tone::join, in, out, n);
}

// ---- Control ---------------------------------------------------------------------------------------
int BassEnhancer_SetPara(BassEnhancerState* s, const float* section) {
  load(*s, section);
  return s->channels;
}

const BassEnhancerState* BassEnhancer_GetPara(const BassEnhancerState* s, float* section) {
  for (int ch = 0; ch < s->channels; ++ch) {
    float* const record = section + ch * AUDIOPOST_BASS_STRIDE;
    record[AUDIOPOST_BASS_AMOUNT_DB] = s->amount_dB[ch];
    record[AUDIOPOST_BASS_DRIVE] = s->drive[ch];
    record[AUDIOPOST_BASS_BLEND] = s->blend[ch];
    record[AUDIOPOST_BASS_FREQ] = s->freq[ch];
    record[AUDIOPOST_BASS_FLOOR_ACTIVE] = static_cast<float>(s->floor_active[ch]);
    record[AUDIOPOST_BASS_FLOOR] = s->floor[ch];
  }
  return s;
}

// ---- Print -----------------------------------------------------------------------------------------
void BassEnhancer_PrintPara(const BassEnhancerState* s) {
  LOG_LINE("BassEnhancer Param\n");
  LOG_LINE("=====================\n");
  for (int ch = 0; ch < s->channels; ++ch) {
    LOG_LINE("==== channel:%i ====\n", ch);
    LOG_LINE("amount_dB:%.2f\n", s->amount_dB[ch]);
    LOG_LINE("drive:%.2f\n", s->drive[ch]);
    LOG_LINE("blend:%.2f\n", s->blend[ch]);
    LOG_LINE("freq:%.2f\n", s->freq[ch]);
    LOG_LINE("floor_active:%i\n", s->floor_active[ch]);
    LOG_LINE("floor:%.2f\n", s->floor[ch]);
  }
}

// ---- Life cycle ------------------------------------------------------------------------------------
BassEnhancerState* BassEnhancer_Init(const float* section, int bit_rate, int sample_rate, int channels,
                                     int channel_link) {
  const common::SampleFormat* format = common::stereo_format(channels, bit_rate, __func__);
  if (!format) return nullptr;
  return common::null_without_memory([&] {
    auto s = std::make_unique<BassEnhancerState>();
    s->bit_rate = bit_rate, s->sample_rate = sample_rate, s->channels = channels,
    s->channel_link = channel_link;
    s->coef_count = 10, s->history_count = 4;
    s->sample_scale = format->clip_level;
    load(*s, section);
    s->scratch = std::make_unique<lanes::Scratch>();
    return s.release();
  });
}

void tone::share_scratch(BassEnhancerState& s) { s.scratch.reset(); }

int BassEnhancer_Destroy(BassEnhancerState* s) { return common::destroy(s); }
