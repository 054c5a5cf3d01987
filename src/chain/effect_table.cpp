// The effects in processing order, a line each: the chain knows an effect only by its row here, and nothing else knows an
// order.
#include "chain/chain.h"
#include "dynamics/multiband_drc.h"
#include "loudness/r128_meter.h"
#include "tone/effects.h"

namespace chain {
namespace {

template <class State>
State& state(void* effect) {
  return *static_cast<State*>(effect);
}

template <class State, auto PrintPara, auto SetPara, auto GetPara, auto Destroy>
constexpr Effect effect(int section, void* (*init)(const AudioPostState&, const float*), Stage first,
                        Stage second = {}) {
  return {section,
          {first, second},
          init,
          [](void* handle) { PrintPara(&state<State>(handle)); },
          [](void* handle, const float* from) { SetPara(&state<State>(handle), from); },
          [](void* handle, float* to) { GetPara(&state<State>(handle), to); },
          [](void* handle) { Destroy(&state<State>(handle)); }};
}

// It works in the chain's memory.
template <class State>
void* sharing(State* made, void (*share_scratch)(State&)) {
  if (made) share_scratch(*made);
  return made;
}

// A stage that does not join runs at once.
template <class State, auto Process>
constexpr Stage stage(int flag) {
  return {flag, [](void* effect, float** x, lanes::Block& block) {
            block.run();
            Process(&state<State>(effect), x, x, block.frames);
          }};
}

// An effect that joins: its functions' first name, its indices', where its join() is, and what its Init takes last.
#define JOINS(NAME, INDEX, room, ...)                                                            \
  effect<NAME##State, NAME##_PrintPara, NAME##_SetPara, NAME##_GetPara, NAME##_Destroy>(         \
      AUDIOPOST_##INDEX##_SECTION,                                                               \
      [](const AudioPostState& c, const float* section) {                                        \
        return sharing(NAME##_Init(section, c.bit_rate, c.sample_rate, c.channels, __VA_ARGS__), \
                       room::share_scratch);                                                     \
      },                                                                                         \
      {AUDIOPOST_##INDEX##_ENABLE, [](void* effect, float** x, lanes::Block& block) {            \
         room::join(state<NAME##State>(effect), x, x, block);                                    \
       }})

constexpr Effect kPeakStage =
    effect<MaximizerState, Maximizer_PrintPara, Maximizer_SetPara, Maximizer_GetPara, Maximizer_Destroy>(
        AUDIOPOST_MAXIMIZER_SECTION,
        [](const AudioPostState& c, const float* section) -> void* {
          return Maximizer_Init(section, c.bit_rate, c.sample_rate, c.channels, c.swFrmLen, c.channel_link);
        },
        stage<MaximizerState, Agc_Process>(AUDIOPOST_AGC_ENABLE),
        stage<MaximizerState, Maximizer_Process>(AUDIOPOST_MAXIMIZER_ENABLE));

}  // namespace

const Effect kEffectTable[kEffectCount] = {
    JOINS(AutoGain, AUTOGAIN, loudness, c.swFrmLen),
    JOINS(BassEnhancer, BASS, tone, c.channel_link),
    JOINS(Exciter, EXCITER, tone, c.channel_link),
    JOINS(DeEsser, DEESSER, tone, c.swFrmLen, c.channel_link),
    JOINS(EQ10, EQ10, tone, c.swFrmLen, c.channel_link),
    JOINS(MultiBandDRC, DRC, dynamics, c.channel_link),
    kPeakStage,
};

int row_of(int section) {
  int row = 0;
  while (kEffectTable[row].section != section) ++row;
  return row;
}

}  // namespace chain
