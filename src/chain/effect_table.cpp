// The effects in processing order. The chain knows an effect only by its row here.
#include "chain/chain.h"

namespace chain {
namespace {

template <class State, auto Process>
constexpr Stage stage(EnableFlag flag) {
  return {flag, [](void* effect, float** in, float** out, int n) {
            return Process(static_cast<State*>(effect), in, out, n);
          }};
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

}  // namespace

const Effect kEffectTable[kEffectCount] = {};

}  // namespace chain
