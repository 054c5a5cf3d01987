// Runtime control: retunes a running chain as a whole or one effect at a time, and reads its settings back.
#include <algorithm>

#include "chain/chain.h"
#include "common/log.h"
#include "common/memory.h"

// ---- The whole chain -------------------------------------------------------------------------------
namespace {

// Calls `use` with the host's floats, as if zeros followed them.
template <class Use>
void with_zeros_behind(const AudioPostState& s, const float* floats, int count, Use use) {
  if (!chain::outgrows_record(s)) return use(floats);
  common::null_without_memory([&] { use(chain::padded(floats, count).data()); });
}

// An effect that is already there keeps its memory as far as its own SetPara lets it; one that the record turns off is
// neither destroyed nor reset, it only stops running.
void retune_effects(AudioPostState& s, const float* padded_record) {
  for (int e = 0; e < chain::kEffectCount; ++e) {
    if (!chain::wanted(s, e)) continue;
    const float* section = padded_record + chain::kEffectTable[e].section;
    if (s.effects[e])
      chain::kEffectTable[e].set_para(s.effects[e], section);
    else
      chain::create_effect(s, e, section);  // prints no settings, unlike Init
  }
}

}  // namespace

void AudioPost_SetPara(AudioPostState* s, const float* param, int32_t swFrmLen) {
  if (!s || !param) return;
  if (swFrmLen != s->swFrmLen) {
    LOG_LINE("error, swFrmLen is wrong!\n\n");
    common::end_process();
  }
  // The header is stored before the version is looked at, and stays stored if the version is wrong.
  chain::load_header(*s, param);
  if (!chain::version_fits(*s, "AudioPost_SetPara")) return;
  with_zeros_behind(*s, param, AUDIOPOST_PARAM_LENGTH, [&](const float* record) {
    chain::load_flags(*s, record);
    chain::load_gains(*s, record);
    retune_effects(*s, record);
  });
}

namespace {

void store_header(const AudioPostState& s, float* record) {
  record[AUDIOPOST_SAMPLE_RATE] = static_cast<float>(s.sample_rate);
  record[AUDIOPOST_BIT_RATE] = static_cast<float>(s.bit_rate);
  record[AUDIOPOST_CHANNEL_LINK] = static_cast<float>(s.channel_link);
  record[AUDIOPOST_CHANNELS] = static_cast<float>(s.channels);
  record[AUDIOPOST_TOOL_VERSION] = s.version;
  for (int i = 0; i < chain::kFlags; ++i) record[chain::kFirstFlag + i] = static_cast<float>(s.enable[i]);
}

// Lets `fill` write into the host's floats; what it writes beyond `count` of them is lost.
template <class Fill>
void fill_within(const AudioPostState& s, float* floats, int count, Fill fill) {
  if (!chain::outgrows_record(s)) return fill(floats);
  common::null_without_memory([&] {
    std::vector<float> room = chain::padded(floats, count);
    fill(room.data());
    std::copy_n(room.begin(), count, floats);
  });
}

}  // namespace

void AudioPost_GetPara(AudioPostState* s, float* param) {
  if (!s) {
    LOG_LINE("error, EQ_DRC doesn't init!\n\n");
    return;
  }
  fill_within(*s, param, AUDIOPOST_PARAM_LENGTH, [&](float* record) {
    store_header(*s, record);
    // The stride is that of an unlinked record, also for a linked chain.
    for (int ch = 0; ch < chain::usable_channels(*s); ++ch)
      record[chain::gain_index(ch)] = s->channel_gain_dB[static_cast<size_t>(ch)];
    for (int e = 0; e < chain::kEffectCount; ++e)
      if (s->effects[e] && chain::wanted(*s, e))
        chain::kEffectTable[e].get_para(s->effects[e], record + chain::kEffectTable[e].section);
  });
}

// ---- Single effects --------------------------------------------------------------------------------
namespace {

template <class State>
State* effect_of(AudioPostState* s, int section) {
  return s ? static_cast<State*>(s->effects[chain::row_of(section)]) : nullptr;
}

// An effect of the chain; without it the process ends, after `message` in the name of `function`.
template <class State>
State* required(AudioPostState* s, int section, const char* function, const char* message) {
  auto* effect = effect_of<State>(s, section);
  if (effect) return effect;
  LOG_LINE_AS(function, "%s", message);
  common::end_process();
}

}  // namespace

int AudioPost_EQ10_SetPara(AudioPostState* s, const float* section) {
  if (!s || chain::flag(*s, AUDIOPOST_EQ10_ENABLE) == 0) return 0;
  auto* eq = effect_of<EQ10State>(s, AUDIOPOST_EQ10_SECTION);
  int result = 0;
  with_zeros_behind(*s, section, chain::kEq10SectionLength, [&](const float* records) {
    if (eq)
      result = EQ10_SetPara(eq, records);
    else
      chain::create_effect(*s, chain::row_of(AUDIOPOST_EQ10_SECTION), records);
  });
  return result;
}

void AudioPost_EQ10_GetPara(AudioPostState* s, float* section) {
  const auto* eq = required<EQ10State>(s, AUDIOPOST_EQ10_SECTION, __func__, "error, EQ10 doesn't init!\n\n");
  fill_within(*s, section, chain::kEq10SectionLength, [&](float* room) { EQ10_GetPara(eq, room); });
}

int AudioPost_EQ10_GetData(AudioPostState* s, float** in_dst, float** out_dst) {
  const auto* eq = effect_of<EQ10State>(s, AUDIOPOST_EQ10_SECTION);
  return eq && chain::has_buffers(*s, chain::row_of(AUDIOPOST_EQ10_SECTION))
             ? EQ10_GetData(eq, in_dst, out_dst)
             : 0;
}

int AudioPost_MultiBandDRC_Crossover_AdjustPara(AudioPostState* s, int32_t channel, float low_freq_end,
                                                float high_freq_start, float mid1_freq_start,
                                                float mid1_freq_end, float mid2_freq_start,
                                                float mid2_freq_end) {
  auto* drc =
      required<MultiBandDRCState>(s, AUDIOPOST_DRC_SECTION, __func__, "error, MBDRC doesn't init!\n\n");
  return MultiBandDRC_Crossover_AdjustPara(drc, channel, low_freq_end, high_freq_start, mid1_freq_start,
                                           mid1_freq_end, mid2_freq_start, mid2_freq_end);
}

int AudioPost_MultiBandDRC_DRC_AdjustPara(AudioPostState* s, int32_t channel, int32_t band,
                                          int32_t drc_enable, float gain_dB, float compress_start,
                                          float expand_end, float noise_threshold, float max_gain,
                                          float max_peak, float attack_time, float release_time,
                                          float hold_time) {
  auto* drc =
      required<MultiBandDRCState>(s, AUDIOPOST_DRC_SECTION, __func__, "error, MBDRC doesn't init!\n\n");
  return MultiBandDRC_DRC_AdjustPara(drc, channel, band, drc_enable, gain_dB, compress_start, expand_end,
                                     noise_threshold, max_gain, max_peak, attack_time, release_time,
                                     hold_time);
}

int AudioPost_Maximizer_AdjustPara(AudioPostState* s, int32_t channel, float max_threshold, float ceiling,
                                   float release) {
  auto* maximizer = required<MaximizerState>(s, AUDIOPOST_MAXIMIZER_SECTION, __func__,
                                             "error, Maximizer doesn't init!\n\n");
  return Maximizer_AdjustPara(maximizer, channel, max_threshold, ceiling, release);
}

int AudioPost_Agc_AdjustPara(AudioPostState* s, int32_t channel, float compress_start, float expand_end,
                             float noise_threshold, float max_gain, float max_peak, float attack_time,
                             float release_time, float hold_time) {
  auto* maximizer = required<MaximizerState>(s, AUDIOPOST_MAXIMIZER_SECTION, __func__,
                                             "error, Agc doesn't init!\n\n");  // AGC lives in the maximizer
  return Agc_AdjustPara(maximizer, channel, compress_start, expand_end, noise_threshold, max_gain, max_peak,
                        attack_time, release_time, hold_time);
}
