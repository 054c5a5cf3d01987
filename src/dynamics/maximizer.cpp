// Peak limiter with make-up gain: the last stage of the chain. Creates, reports and ends the AGC mode with
// it.
#include "dynamics/maximizer.h"

#include <cmath>
#include <memory>

#include "common/flush_denormals.h"
#include "common/log.h"
#include "common/memory.h"
#include "common/numeric.h"
#include "common/sample_format.h"
#include "dynamics/gain_ramp.h"

namespace {

// ---- Settings --------------------------------------------------------------------------------------
constexpr float kDefaults[] = {-3, -1, 1, -20, -40, -45, 16, -1, 200, 400, 200};

// ---- Design ----------------------------------------------------------------------------------------
void load_limiter(MaximizerState& s, size_t ch, float max_threshold, float ceiling, float release) {
  s.max_threshold[ch] = max_threshold, s.ceiling[ch] = ceiling, s.release[ch] = release;
  s.ceiling_gain[ch] = dynamics::limiter_factor(max_threshold, ceiling);
  s.release_coef[ch] = dynamics::block_share(s.swFrmLen, s.sample_rate, release);
  dynamics::build_limiter_table(max_threshold, s.ceiling_gain[ch], s.max_table[ch], s.max_table_start[ch],
                                s.max_table_scale[ch]);
}

// `stride` 0 gives every channel the first record. The limiter's gain stays: a jump would be heard.
void load(MaximizerState& s, const float* section, size_t stride, const char* function) {
  for (size_t ch = 0; ch < s.agc_gain.size(); ++ch) {
    const float* r = section + ch * stride;
    const dynamics::AgcSettings agc{
        {r[AUDIOPOST_AGC_NOISE_THRESHOLD], r[AUDIOPOST_AGC_EXPAND_END], r[AUDIOPOST_AGC_COMPRESS_START],
         r[AUDIOPOST_AGC_MAX_GAIN], r[AUDIOPOST_AGC_MAX_PEAK]},
        r[AUDIOPOST_AGC_ATTACK_TIME],
        r[AUDIOPOST_AGC_RELEASE_TIME],
        r[AUDIOPOST_AGC_HOLD_TIME]};
    dynamics::load_agc(s, ch, agc, function);
    load_limiter(s, ch, r[AUDIOPOST_MAXIMIZER_MAX_THRESHOLD], r[AUDIOPOST_MAXIMIZER_CEILING],
                 r[AUDIOPOST_MAXIMIZER_RELEASE]);
  }
}

// ---- Process ---------------------------------------------------------------------------------------
// Over the threshold the gain reaches its target within the block: by the first sample that would overload on
// a ramp over the whole block, or at once when that comes too soon for a ramp. Not clipped.
void attack(const MaximizerState& s, float gain, float target, const float* in, float* out, int n) {
  const float change = target - gain;
  const int length = dynamics::first_overload(gain, change / static_cast<float>(n), s.clip_level, in, n);
  if (length < 2)
    dynamics::scale_block(target, in, out, n);
  else
    dynamics::ramp_block(gain, change, length, in, out, n);
}

void process_channel(MaximizerState& s, size_t ch, float peak, const float* in, float* out, int n) {
  const float level_dB = (common::log10_portable(peak + 1.0f) - s.log_full_scale) * 20.0f;
  const float target = table_search(dynamics::kLastEntry, s.max_table[ch].data(), level_dB,
                                    s.max_table_start[ch], s.max_table_scale[ch]);
  const float gain = s.limiter_gain[ch];
  if (s.max_threshold[ch] < level_dB) {
    attack(s, gain, target, in, out, n);
    s.limiter_gain[ch] = target;
    return;
  }
  const float next = dynamics::smoothed(gain, target, s.release_coef[ch]);
  dynamics::ramp_block_clamped(gain, next - gain, s.clip_level, in, out, n);
  s.limiter_gain[ch] = next;
}

}  // namespace

int Maximizer_Process(MaximizerState* s, float** in, float** out, int n) {
  const common::FlushDenormals flush;
  float peak =
      0.0f;  // not reset between channels: the second sees the louder of the two. Hosts are tuned to it.
  for (size_t ch = 0; ch < s->limiter_gain.size(); ++ch) {
    peak = dynamics::peak_with(peak, in[ch], n);
    process_channel(*s, ch, peak, in[ch], out[ch], n);
  }
  return s->channels;
}

// ---- Control ---------------------------------------------------------------------------------------
int Maximizer_SetPara(MaximizerState* s, const float* section) {
  load(*s, section, s->channel_link ? 0 : AUDIOPOST_MAXIMIZER_STRIDE, "Maximizer_SetPara");
  return s->channels;
}

// One record per channel at the full stride, whatever channel_link says.
void Maximizer_GetPara(const MaximizerState* s, float* section) {
  for (int ch = 0; ch < s->channels; ++ch) {
    float* r = section + ch * AUDIOPOST_MAXIMIZER_STRIDE;
    r[AUDIOPOST_MAXIMIZER_MAX_THRESHOLD] = s->max_threshold[ch],
    r[AUDIOPOST_MAXIMIZER_CEILING] = s->ceiling[ch], r[AUDIOPOST_MAXIMIZER_RELEASE] = s->release[ch];
    r[AUDIOPOST_AGC_COMPRESS_START] = s->compress_start[ch], r[AUDIOPOST_AGC_EXPAND_END] = s->expand_end[ch];
    r[AUDIOPOST_AGC_NOISE_THRESHOLD] = s->noise_threshold[ch];
    r[AUDIOPOST_AGC_MAX_GAIN] = s->max_gain[ch], r[AUDIOPOST_AGC_MAX_PEAK] = s->max_peak[ch];
    r[AUDIOPOST_AGC_ATTACK_TIME] = s->attack_time[ch], r[AUDIOPOST_AGC_RELEASE_TIME] = s->release_time[ch],
    r[AUDIOPOST_AGC_HOLD_TIME] = s->hold_time[ch];
  }
}

int Maximizer_AdjustPara(MaximizerState* s, int channel, float max_threshold, float ceiling, float release) {
  for (int ch = 0; ch < s->channels; ++ch)
    if (s->channel_link || ch == channel)
      load_limiter(*s, static_cast<size_t>(ch), max_threshold, ceiling, release);
  return s->channels;
}

// ---- Print -----------------------------------------------------------------------------------------
void Maximizer_PrintPara(const MaximizerState* s) {
  LOG_LINE("AGC Param\n");
  LOG_LINE("===================== \n");
  for (int ch = 0; ch < s->channels; ++ch) {
    LOG_LINE("---- channel:%i ----\n", ch);
    LOG_LINE("compress_start:%.2f\n", s->compress_start[ch]);
    LOG_LINE("expand_end:%.2f\n", s->expand_end[ch]);
    LOG_LINE("noise_threshold:%.2f\n", s->noise_threshold[ch]);
    LOG_LINE("max_gain:%.2f\n", s->max_gain[ch]);
    LOG_LINE("max_peak:%.2f\n", s->max_peak[ch]);
    LOG_LINE("attack_time:%.2f\n", s->attack_time[ch]);
    LOG_LINE("release_time:%.2f\n", s->release_time[ch]);
    LOG_LINE("hold_time:%f\n", s->hold_time[ch]);
  }
  LOG_LINE("Maximizer Param\n");
  LOG_LINE("=====================\n");
  for (int ch = 0; ch < s->channels; ++ch) {
    LOG_LINE("==== channel:%i ====\n", ch);
    LOG_LINE("max_threshold:%.2f\n", s->max_threshold[ch]);
    LOG_LINE("ceiling:%.2f\n", s->ceiling[ch]);
    LOG_LINE("release:%.2f\n", s->release[ch]);
  }
}

// ---- Life cycle ------------------------------------------------------------------------------------
MaximizerState* Maximizer_Init(const float* section, int bit_rate, int sample_rate, int channels,
                               int swFrmLen, int channel_link) {
  const common::SampleFormat* format = common::stereo_format(channels, bit_rate, __func__);
  if (!format) return nullptr;
  return common::null_without_memory([&] {
    auto s = std::make_unique<MaximizerState>();
    s->bit_rate = bit_rate, s->sample_rate = sample_rate, s->channels = channels;
    s->swFrmLen = swFrmLen, s->channel_link = channel_link;
    s->log_full_scale = format->log_full_scale, s->clip_level = format->clip_level;
    const size_t size = common::array_size(channels);
    s->max_table.resize(size), s->agc_table.resize(size);
    s->agc_gain.resize(size);
    s->limiter_gain.resize(size);  // 0: a new stream rises from silence
    if (section)
      load(*s, section, channel_link ? 0 : AUDIOPOST_MAXIMIZER_STRIDE, "Maximizer_Init");
    else
      load(*s, kDefaults, 0, "Maximizer_Init");
    return s.release();
  });
}

int Maximizer_Destroy(MaximizerState* s) { return common::destroy(s); }
