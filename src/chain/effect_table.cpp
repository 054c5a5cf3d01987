// The effects in processing order. The chain knows an effect only by its row here.
#include "chain/chain.h"
#include "dynamics/multiband_drc.h"
#include "loudness/r128_meter.h"
#include "tone/joins.h"

namespace chain {
namespace {

template <class State, auto Process>
constexpr Stage stage(AudioPostIndex flag) {
  return {flag,
          [](void* effect, float** in, float** out, int n) {
            return Process(static_cast<State*>(effect), in, out, n);
          },
          nullptr};
}

template <class State, auto Process, bool (*Join)(State&, float**, int, filters::Batch&)>
constexpr Stage joining_stage(AudioPostIndex flag) {
  Stage joining = stage<State, Process>(flag);
  joining.join = [](void* effect, float** x, int n, filters::Batch& batch) {
    return Join(*static_cast<State*>(effect), x, n, batch);
  };
  return joining;
}

template <class State, auto PrintPara, auto SetPara, auto GetPara, auto Destroy>
constexpr Effect effect(int section, void* (*init)(const AudioPostState&, const float*), Stage first,
                        Stage second = {}) {
  return {section,
          {first, second},
          second.process ? 2 : 1,
          init,
          [](void* handle) { PrintPara(static_cast<State*>(handle)); },
          [](void* handle, const float* from) { SetPara(static_cast<State*>(handle), from); },
          [](void* handle, float* to) { GetPara(static_cast<State*>(handle), to); },
          [](void* handle) { Destroy(static_cast<State*>(handle)); }};
}

void* init_auto_gain(const AudioPostState& c, const float* section) {
  return AutoGain_Init(section, c.bit_rate, c.sample_rate, c.channels, c.swFrmLen);
}
void* init_bass_enhancer(const AudioPostState& c, const float* section) {
  return BassEnhancer_Init(section, c.bit_rate, c.sample_rate, c.channels, c.channel_link);
}
void* init_exciter(const AudioPostState& c, const float* section) {
  return Exciter_Init(section, c.bit_rate, c.sample_rate, c.channels, c.channel_link);
}
void* init_de_esser(const AudioPostState& c, const float* section) {
  return DeEsser_Init(section, c.bit_rate, c.sample_rate, c.channels, c.swFrmLen, c.channel_link);
}
void* init_eq10(const AudioPostState& c, const float* section) {
  return EQ10_Init(section, c.bit_rate, c.sample_rate, c.channels, c.swFrmLen, c.channel_link);
}

void* init_multiband_drc(const AudioPostState& c, const float* section) {
  return MultiBandDRC_Init(section, c.bit_rate, c.sample_rate, c.channels, c.channel_link);
}

void* init_maximizer(const AudioPostState& c, const float* section) {
  return Maximizer_Init(section, c.bit_rate, c.sample_rate, c.channels, c.swFrmLen, c.channel_link);
}

}  // namespace

const Effect kEffectTable[kEffectCount] = {
    effect<AutoGainState, AutoGain_PrintPara, AutoGain_SetPara, AutoGain_GetPara, AutoGain_Destroy>(
        AUDIOPOST_AUTOGAIN_SECTION, init_auto_gain,
        joining_stage<AutoGainState, AutoGain_Process, loudness::join>(AUDIOPOST_AUTOGAIN_ENABLE)),
    effect<BassEnhancerState, BassEnhancer_PrintPara, BassEnhancer_SetPara, BassEnhancer_GetPara,
           BassEnhancer_Destroy>(
        AUDIOPOST_BASS_SECTION, init_bass_enhancer,
        joining_stage<BassEnhancerState, BassEnhancer_Process, tone::join>(AUDIOPOST_BASS_ENABLE)),
    effect<ExciterState, Exciter_PrintPara, Exciter_SetPara, Exciter_GetPara, Exciter_Destroy>(
        AUDIOPOST_EXCITER_SECTION, init_exciter,
        joining_stage<ExciterState, Exciter_Process, tone::join>(AUDIOPOST_EXCITER_ENABLE)),
    effect<DeEsserState, DeEsser_PrintPara, DeEsser_SetPara, DeEsser_GetPara, DeEsser_Destroy>(
        AUDIOPOST_DEESSER_SECTION, init_de_esser,
        joining_stage<DeEsserState, DeEsser_Process, tone::join>(AUDIOPOST_DEESSER_ENABLE)),
    effect<EQ10State, EQ10_PrintPara, EQ10_SetPara, EQ10_GetPara, EQ10_Destroy>(
        AUDIOPOST_EQ10_SECTION, init_eq10,
        joining_stage<EQ10State, EQ10_Process, tone::join>(AUDIOPOST_EQ10_ENABLE)),
    effect<MultiBandDRCState, MultiBandDRC_PrintPara, MultiBandDRC_SetPara, MultiBandDRC_GetPara,
           MultiBandDRC_Destroy>(
        AUDIOPOST_DRC_SECTION, init_multiband_drc,
        joining_stage<MultiBandDRCState, MultiBandDRC_Process, dynamics::join>(AUDIOPOST_DRC_ENABLE)),
    effect<MaximizerState, Maximizer_PrintPara, Maximizer_SetPara, Maximizer_GetPara, Maximizer_Destroy>(
        AUDIOPOST_MAXIMIZER_SECTION, init_maximizer, stage<MaximizerState, Agc_Process>(AUDIOPOST_AGC_ENABLE),
        stage<MaximizerState, Maximizer_Process>(AUDIOPOST_MAXIMIZER_ENABLE)),
};

}  // namespace chain
