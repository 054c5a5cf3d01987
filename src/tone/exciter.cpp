// Adds harmonics to the upper part of the spectrum: high-pass, soft clipper with a bias, high-pass, mixed
// with the dry signal.
#include <cmath>
#include <memory>

#include "common/log.h"
#include "common/memory.h"
#include "common/sample_format.h"
#include "tone/designs.h"
#include "tone/effects.h"
#include "tone/exciter.kernel.h"

// ---- Record ----------------------------------------------------------------------------------------
struct ExciterState {
  int bit_rate, sample_rate, channels, channel_link;
  // Settings, per channel.
  float even_harmonics[2];     // bias of the clipper, where 1 is its ceiling
  float distortion_amount[2];  // drive as half a power of ten
  float Cutoff[2];             // Hz
  float mix[2];                // share of the processed signal, 0 … 1
  // Coefficients: a function of the settings alone.
  float drive[2], inverse_drive[2];
  float full_scale;
  // Both high-passes; the histories are the memory.
  BiquadCoeffs pre_coeffs[2];
  BiquadHistory pre_history[2];
  BiquadCoeffs post_coeffs[2];
  BiquadHistory post_history[2];

  // Beyond the documented fields.
  tone::ExciterJob job;                     // of the latest block
  std::unique_ptr<lanes::Scratch> scratch;  // null in a chain, which has one for all
};

namespace {

// ---- Design: designs.cpp ----------------------------------------------------------------------------
// Settings, coefficients, and filters that start from silence.
void load(ExciterState& s, const float* section) {
  for (int ch = 0; ch < s.channels; ++ch) {
    const float* const record = section + (s.channel_link ? 0 : ch * AUDIOPOST_EXCITER_STRIDE);
    s.even_harmonics[ch] = record[AUDIOPOST_EXCITER_EVEN_HARMONICS];
    s.distortion_amount[ch] = record[AUDIOPOST_EXCITER_DISTORTION_AMOUNT];
    s.Cutoff[ch] = record[AUDIOPOST_EXCITER_CUTOFF];
    s.mix[ch] = record[AUDIOPOST_EXCITER_MIX];
    const auto d = tone::design_exciter(s.distortion_amount[ch], s.Cutoff[ch], s.sample_rate);
    s.drive[ch] = d.drive, s.inverse_drive[ch] = d.inverse_drive;
    s.pre_coeffs[ch] = s.post_coeffs[ch] = d.high_pass;
    s.pre_history[ch] = s.post_history[ch] = {};
  }
}

// ---- Process ---------------------------------------------------------------------------------------
tone::ExciterChannel channel_for_kernel(ExciterState& s, int ch, const float* in, float* out) {
  tone::ExciterChannel c{};
  c.pre = &s.pre_coeffs[ch], c.pre_history = &s.pre_history[ch];
  c.post = &s.post_coeffs[ch], c.post_history = &s.post_history[ch];
  c.bias = s.even_harmonics[ch], c.drive = s.drive[ch];
  // Scaled back by the inverse drive: more drive deepens the distortion without raising its level.
  c.wet = s.mix[ch] * s.inverse_drive[ch], c.dry = 1.0f - s.mix[ch];
  c.scale = s.full_scale;
  c.in = in, c.out = out;
  return c;
}

}  // namespace

void tone::join(ExciterState& s, float** in, float** out, lanes::Block& block) {
  s.job.count = s.channels;
  for (int ch = 0; ch < s.channels; ++ch) s.job.channels[ch] = channel_for_kernel(s, ch, in[ch], out[ch]);
  block.join(kExciterKind, &s.job);
}

int Exciter_Process(ExciterState* s, float** in, float** out, int n) {
  return lanes::process_alone(*s, tone::join, in, out, n);
}

// ---- Control ---------------------------------------------------------------------------------------
int Exciter_SetPara(ExciterState* s, const float* section) {
  load(*s, section);
  return s->channels;
}

void Exciter_GetPara(const ExciterState* s, float* section) {
  for (int ch = 0; ch < s->channels; ++ch) {
    float* const record = section + ch * AUDIOPOST_EXCITER_STRIDE;
    record[AUDIOPOST_EXCITER_EVEN_HARMONICS] = s->even_harmonics[ch];
    record[AUDIOPOST_EXCITER_DISTORTION_AMOUNT] = s->distortion_amount[ch];
    record[AUDIOPOST_EXCITER_CUTOFF] = s->Cutoff[ch];
    record[AUDIOPOST_EXCITER_MIX] = s->mix[ch];
  }
}

// ---- Print -----------------------------------------------------------------------------------------
void Exciter_PrintPara(const ExciterState* s) {
  LOG_LINE("Exciter Param\n");
  LOG_LINE("=====================\n");
  for (int ch = 0; ch < s->channels; ++ch) {
    LOG_LINE("==== channel:%i ====\n", ch);
    LOG_LINE("even_harmonics:%.2f\n", s->even_harmonics[ch]);
    LOG_LINE("distortion_amount:%.2f\n", s->distortion_amount[ch]);
    LOG_LINE("Cutoff:%.2f\n", s->Cutoff[ch]);
    LOG_LINE("mix:%.2f\n", s->mix[ch]);
  }
}

// ---- Life cycle ------------------------------------------------------------------------------------
ExciterState* Exciter_Init(const float* section, int bit_rate, int sample_rate, int channels,
                           int channel_link) {
  const common::SampleFormat* format = common::stereo_format(channels, bit_rate, __func__);
  if (!format) return nullptr;
  return common::null_without_memory([&] {
    auto s = std::make_unique<ExciterState>();
    s->bit_rate = bit_rate, s->sample_rate = sample_rate, s->channels = channels,
    s->channel_link = channel_link;
    s->full_scale = format->clip_level;
    load(*s, section);
    s->scratch = std::make_unique<lanes::Scratch>();
    return s.release();
  });
}

void tone::share_scratch(ExciterState& s) { s.scratch.reset(); }

int Exciter_Destroy(ExciterState* s) { return common::destroy(s); }
