// Tames sibilance: while an octave around f0 is louder than the threshold, the channel is cross-faded into a
// copy with a notch at f0.
#include <cmath>
#include <memory>

#include "common/log.h"
#include "common/memory.h"
#include "common/numeric.h"
#include "common/sample_format.h"
#include "common/time_constant.h"
#include "tone/de_esser.kernel.h"
#include "tone/designs.h"
#include "tone/effects.h"

// ---- Record ----------------------------------------------------------------------------------------
struct DeEsserState {
  int bit_depth, sample_rate, channels, frame_length, channel_link;
  float log_full_scale, full_scale;
  // Settings, per channel.
  float f0[2];         // Hz
  float threshold[2];  // dB
  float release_ms, attack_ms;
  // Coefficients.
  float release_coef, attack_coef;  // share of the old gain that is left after one block
  float q;                          // kDeEsserQ
  BiquadCoeffs detector_coeffs[2];
  BiquadHistory detector_history[2];
  BiquadCoeffs notch_coeffs[2];
  BiquadHistory notch_history[2];
  float gain[2];  // share of the dry signal; the rest is the notched one
  float inv_frame_length;

  // Beyond the documented fields.
  tone::DeEsserJob job;                     // of the latest block
  std::unique_ptr<lanes::Scratch> scratch;  // null in a chain, which has one for all
};

namespace {

// ---- Design: designs.cpp ----------------------------------------------------------------------------
// Settings and filters; filters and gain start afresh.
void load(DeEsserState& s, const float* section) {
  for (int ch = 0; ch < s.channels; ++ch) {
    const float* const record = section + (s.channel_link ? 0 : ch * AUDIOPOST_DEESSER_STRIDE);
    s.f0[ch] = record[AUDIOPOST_DEESSER_F0];
    s.threshold[ch] = record[AUDIOPOST_DEESSER_THRESHOLD];
    const auto d = tone::design_de_esser(s.f0[ch], s.q, s.sample_rate);
    s.detector_coeffs[ch] = d.detector, s.notch_coeffs[ch] = d.notch;
    s.detector_history[ch] = s.notch_history[ch] = {};
    s.gain[ch] = 1.0f;
  }
}

// ---- Process ---------------------------------------------------------------------------------------
// The gain at the end of a block whose energy in the detectors' band, up to and with this channel, is `energy`.
float decide_gain(void* owner, int ch, float energy) {
  DeEsserState& s = *static_cast<DeEsserState*>(owner);
  const float level_dB = 10.0f * common::log10_portable(energy + 1.0f) - 20.0f * s.log_full_scale;
  const float gain = s.gain[ch];
  s.gain[ch] =
      s.threshold[ch] < level_dB ? gain * s.attack_coef : s.release_coef * gain + (1.0f - s.release_coef);
  return s.gain[ch];
}

}  // namespace

void tone::join(DeEsserState& s, float** in, float** out, lanes::Block& block) {
  s.job.count = s.channels, s.job.target = decide_gain, s.job.owner = &s;
  for (int ch = 0; ch < s.channels; ++ch) {
    tone::DeEsserChannel& c = s.job.channels[ch];
    c.detector = &s.detector_coeffs[ch], c.detector_history = &s.detector_history[ch];
    c.notch = &s.notch_coeffs[ch], c.notch_history = &s.notch_history[ch];
    c.gain = s.gain[ch], c.inv_frame_length = s.inv_frame_length;
    c.in = in[ch], c.out = out[ch];
  }
  block.join(kDeEsserKind, &s.job);
}

int DeEsser_Process(DeEsserState* s, float** in, float** out, int n) {
  return lanes::process_alone(*s, tone::join, in, out, n);
}

// ---- Control ---------------------------------------------------------------------------------------
int DeEsser_SetPara(DeEsserState* s, const float* section) {
  load(*s, section);
  return s->channels;
}

// No more than this, and what stands at 5 depends on the channel count: tools that read it back rely on it.
void DeEsser_GetPara(const DeEsserState* s, float* section) {
  float* const second = section + AUDIOPOST_DEESSER_STRIDE;
  second[0] = s->threshold[0];
  if (s->channels == 2)
    second[AUDIOPOST_DEESSER_F0] = s->f0[1], second[AUDIOPOST_DEESSER_THRESHOLD] = s->threshold[1];
}

// ---- Print -----------------------------------------------------------------------------------------
void DeEsser_PrintPara(const DeEsserState* s) {
  LOG_LINE("DeEsser Param\n");
  LOG_LINE("=====================\n");
  for (int ch = 0; ch < s->channels; ++ch) {
    LOG_LINE("---- channel:%i ----\n", ch);
    LOG_LINE("f0:%.2f\n", s->f0[ch]);
    LOG_LINE("threshold:%.2f\n", s->threshold[ch]);
  }
}

// ---- Life cycle ------------------------------------------------------------------------------------
DeEsserState* DeEsser_Init(const float* section, int bit_depth, int sample_rate, int channels,
                           int frame_length, int channel_link) {
  const common::SampleFormat* format = common::stereo_format(channels, bit_depth, __func__);
  if (!format) return nullptr;
  return common::null_without_memory([&] {
    auto s = std::make_unique<DeEsserState>();
    s->bit_depth = bit_depth, s->sample_rate = sample_rate, s->channels = channels;
    s->frame_length = frame_length, s->channel_link = channel_link;
    s->log_full_scale = format->log_full_scale, s->full_scale = format->clip_level;
    s->release_ms = 200.0f, s->attack_ms = 100.0f;
    const float rise = static_cast<float>(common::kRiseTime) * static_cast<float>(frame_length);
    s->release_coef = common::block_decay(rise, sample_rate, s->release_ms);
    s->attack_coef = common::block_decay(rise, sample_rate, s->attack_ms);
    s->q = tone::kDeEsserQ;
    // GetPara tells them of a handle without channels too.
    s->f0[0] = section[AUDIOPOST_DEESSER_F0], s->threshold[0] = section[AUDIOPOST_DEESSER_THRESHOLD];
    load(*s, section);
    s->inv_frame_length = 1.0f / static_cast<float>(frame_length);
    s->scratch = std::make_unique<lanes::Scratch>();
    return s.release();
  });
}

void tone::share_scratch(DeEsserState& s) { s.scratch.reset(); }

int DeEsser_Destroy(DeEsserState* s) { return common::destroy(s); }
