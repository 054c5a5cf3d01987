// Linkwitz-Riley crossover: low-pass, high-pass and up to two band-pass paths side by side from one input.
#include "filters/crossover.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "common/log.h"
#include "common/memory.h"

// ---- Design ----------------------------------------------------------------------------------------
namespace {

constexpr CrossoverParam kDefaults{0, 250.0f, 3000.0f, 250.0f, 1000.0f, 1000.0f, 3000.0f};

void load_frequencies(CrossoverFilter& f, const CrossoverParam& param) {
  f.low_fc = param.low_fc, f.high_fc = param.high_fc;
  f.mid1_low_fc = param.mid1_low_fc, f.mid1_high_fc = param.mid1_high_fc;
  f.mid2_low_fc = param.mid2_low_fc, f.mid2_high_fc = param.mid2_high_fc;
}

// Clears the path's history with it: all bands restart from silence.
void load_path(std::vector<filters::BiquadPair>& path, const BiquadCoeffs& section) {
  for (filters::BiquadPair& channel : path) channel = filters::fresh_pair(section);
}

// The new param's mid_bands is not read: there are as many paths as at creation.
void load(CrossoverFilter& f, const CrossoverParam& param) {
  load_frequencies(f, param);
  const filters::CrossoverDesign d = filters::design_crossover(param, f.sample_rate);
  load_path(f.low, d.low);
  load_path(f.high, d.high);
  if (f.mid_bands > 0) load_path(f.mid1_highpass, d.mid1_highpass), load_path(f.mid1_lowpass, d.mid1_lowpass);
  if (f.mid_bands == 2)
    load_path(f.mid2_highpass, d.mid2_highpass), load_path(f.mid2_lowpass, d.mid2_lowpass);
}

}  // namespace

// ---- Process ---------------------------------------------------------------------------------------
void Filters_Crossover_filterProcess(CrossoverFilter* f, const float* in, float* out) {
  const int64_t bands = int64_t{2} + f->mid_bands;
  for (size_t ch = 0; ch < f->low.size(); ++ch) {
    const float x = in[ch];
    const float low = filters::pair_step(f->low[ch], x);
    const float high = filters::pair_step(f->high[ch], x);
    const int64_t at = bands * static_cast<int64_t>(ch);
    if (bands > 0) out[at] = low;
    if (bands > 1) out[at + 1] = high;
    if (f->mid_bands > 0)
      out[at + 2] = filters::pair_step(f->mid1_lowpass[ch], filters::pair_step(f->mid1_highpass[ch], x));
    if (f->mid_bands == 2)
      out[at + 3] = filters::pair_step(f->mid2_lowpass[ch], filters::pair_step(f->mid2_highpass[ch], x));
  }
}

// ---- Control ---------------------------------------------------------------------------------------
void Filters_Crossover_filterSetParam(CrossoverFilter* f, const CrossoverParam* param) { load(*f, *param); }

// ---- Life cycle ------------------------------------------------------------------------------------
CrossoverParam* Filters_Crossover_paramInit() {
  auto* param =
      static_cast<CrossoverParam*>(std::malloc(sizeof(CrossoverParam)));  // the caller's free() ends it
  if (!param) {
    LOG_LINE("CrossoverParam malloc error \n\n");
    return nullptr;
  }
  *param = kDefaults;
  return param;
}

CrossoverFilter* Filters_Crossover_filterInit(int sample_rate, int channels, const CrossoverParam* param) {
  if (!common::servable(channels, 1)) return nullptr;
  return common::null_without_memory([&] {
    auto f = std::make_unique<CrossoverFilter>();
    const CrossoverParam& given = param ? *param : kDefaults;
    f->mid_bands = given.mid_bands;
    f->sample_rate = sample_rate, f->channels = channels;
    f->coef_count = 10, f->history_count = 4;
    const size_t size = common::array_size(channels);
    f->low.resize(size), f->high.resize(size);
    if (f->mid_bands != 0) f->mid1_highpass.resize(size), f->mid1_lowpass.resize(size);
    if (f->mid_bands != 0 && f->mid_bands != 1) f->mid2_highpass.resize(size), f->mid2_lowpass.resize(size);
    load(*f, given);
    return f.release();
  });
}

int Filters_Crossover_filterDestroy(CrossoverFilter* f) { return common::destroy(f); }
