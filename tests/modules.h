// The single effects behind one set of calls.
#pragma once

#include <string>

#include "zelkaudio_effect_eqdrc.h"

namespace support {

struct Setting {  // what a handle was created with
  int bit_rate, sample_rate, channels, frames, link;
};

struct Module {
  std::string name;
  int section, stride;  // of the record: where it begins, floats per channel
  void* (*init)(const float* section, const Setting&);
  int (*process)(void*, float**, float**, int);
  int (*second_process)(void*, float**, float**, int);
  void (*set_para)(void*, const float*);
  void (*get_para)(void*, float*);
  void (*print_para)(void*);
  int (*destroy)(void*);
};

template <class State, auto Process, auto SetPara, auto GetPara, auto PrintPara, auto Destroy, auto Second>
Module module(const char* name, int start, int stride, void* (*init)(const float*, const Setting&)) {
  return {name,
          start,
          stride,
          init,
          [](void* s, float** in, float** out, int n) { return Process(static_cast<State*>(s), in, out, n); },
          [](void* s, float** in, float** out, int n) { return Second(static_cast<State*>(s), in, out, n); },
          [](void* s, const float* section) { SetPara(static_cast<State*>(s), section); },
          [](void* s, float* section) { GetPara(static_cast<State*>(s), section); },
          [](void* s) { PrintPara(static_cast<State*>(s)); },
          [](void* s) { return Destroy(static_cast<State*>(s)); }};
}

#define MODULE(X, section, stride, second, ...)                                                \
  module<X##State, X##_Process, X##_SetPara, X##_GetPara, X##_PrintPara, X##_Destroy, second>( \
      #X, section, stride,                                                                     \
      [](const float* p, const Setting& s) -> void* { return X##_Init(p, __VA_ARGS__); })

// In processing order; Agc comes before Maximizer, whose second process it is.
enum { kAutoGain, kBassEnhancer, kExciter, kDeEsser, kEq10, kDrc, kMaximizer, kModules };
inline const Module kModule[kModules] = {
    MODULE(AutoGain, 30, 15, AutoGain_Process, s.bit_rate, s.sample_rate, s.channels, s.frames),
    MODULE(BassEnhancer, 60, 10, BassEnhancer_Process, s.bit_rate, s.sample_rate, s.channels, s.link),
    MODULE(Exciter, 80, 5, Exciter_Process, s.bit_rate, s.sample_rate, s.channels, s.link),
    MODULE(DeEsser, 90, 5, DeEsser_Process, s.bit_rate, s.sample_rate, s.channels, s.frames, s.link),
    MODULE(EQ10, 100, 50, EQ10_Process, s.bit_rate, s.sample_rate, s.channels, s.frames, s.link),
    MODULE(MultiBandDRC, 200, 100, MultiBandDRC_Process, s.bit_rate, s.sample_rate, s.channels, s.link),
    MODULE(Maximizer, 400, 20, Agc_Process, s.bit_rate, s.sample_rate, s.channels, s.frames, s.link),
};

}  // namespace support
