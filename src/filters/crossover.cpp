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
void design_path(const CrossoverFilter& f, std::vector<filters::BiquadPair>& path, FilterType type,
                 float fc) {
  for (filters::BiquadPair& channel : path)
    filters::design_pair(channel, type, static_cast<float>(f.sample_rate), fc);
}

void design(CrossoverFilter& f) {
  design_path(f, f.low, ButterworthLP, f.low_fc);
  design_path(f, f.high, ButterworthHP, f.high_fc);
  if (f.mid_bands > 0) {
    design_path(f, f.mid1_highpass, ButterworthHP, f.mid1_low_fc);
    design_path(f, f.mid1_lowpass, ButterworthLP, f.mid1_high_fc);
  }
  if (f.mid_bands == 2) {
    design_path(f, f.mid2_highpass, ButterworthHP, f.mid2_low_fc);
    design_path(f, f.mid2_lowpass, ButterworthLP, f.mid2_high_fc);
  }
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
void Filters_Crossover_filterSetParam(CrossoverFilter* f, const CrossoverParam* param) {
  load_frequencies(*f, *param);
  design(*f);
}

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
    load_frequencies(*f, given);
    f->mid_bands = given.mid_bands;
    f->sample_rate = sample_rate, f->channels = channels;
    f->coef_count = 10, f->history_count = 4;
    const size_t size = common::array_size(channels);
    f->low.resize(size), f->high.resize(size);
    if (f->mid_bands != 0) f->mid1_highpass.resize(size), f->mid1_lowpass.resize(size);
    if (f->mid_bands != 0 && f->mid_bands != 1) f->mid2_highpass.resize(size), f->mid2_lowpass.resize(size);
    design(*f);
    return f.release();
  });
}

int Filters_Crossover_filterDestroy(CrossoverFilter* f) {
  if (!f) return -3;
  delete f;
  return 0;
}
