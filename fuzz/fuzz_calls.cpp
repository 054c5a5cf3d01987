// The input is a program of calls on the exported functions: one chain, one of each single effect and part,
// created, processed, retuned and destroyed in any order, with any arguments that a host could come by.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>

#include "fuzz/fuzz.h"
#include "tests/modules.h"

namespace {

using support::kDrc, support::kEq10, support::kMaximizer, support::kModule, support::kModules;
using support::Module, support::Setting;

// Channel buffers of exactly n samples each, so that one sample too far is seen.
class Buffers {
 public:
  Buffers(fuzz::Input& input, int channels, int n) {
    for (int ch = 0; ch < channels; ++ch) {
      owned_.push_back(std::make_unique<float[]>(static_cast<size_t>(std::max(n, 1))));
      for (int i = 0; i < std::min(n, 16); ++i) owned_.back()[static_cast<size_t>(i)] = input.number();
      pointers_.push_back(owned_.back().get());
    }
  }
  float** get() { return pointers_.data(); }

 private:
  std::vector<std::unique_ptr<float[]>> owned_;
  std::vector<float*> pointers_;
};

class Program {
 public:
  explicit Program(fuzz::Input& input) : in_(input) {}
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() {
    for (int m = 0; m < kModules; ++m)
      if (modules_[m]) kModule[m].destroy(modules_[m]);
    AudioPost_Destroy(chain_);
    Filters_Crossover_filterDestroy(crossover_);
    ebur128_destroy(meter_);
    LevelDetector_Destroy(detector_);
    biquad_destroy(biquad_);
  }

  void step() {
    const std::function<void()> calls[] = {[&] { use_chain(); }, [&] { use_crossover(); },
                                           [&] { use_meter(); }, [&] { use_detector(); },
                                           [&] { use_parts(); }, [&] { use_module(in_.below(kModules)); }};
    calls[std::min(in_.below(8), 5)]();
  }

 private:
  int some_bit_rate() { return in_.below(8) == 0 ? in_.integer() : 8 * (2 + in_.below(3)); }
  int some_sample_rate() { return in_.below(8) == 0 ? in_.integer() : in_.below(2) ? 48000 : 8000; }
  int some_frames() { return in_.below(8) == 0 ? -in_.below(3) : in_.below(96); }
  int block_length(int frames) { return in_.below(4) ? frames : in_.below(128) - 4; }

  void use_module(int m) {
    void*& handle = modules_[m];
    Setting& setting = settings_[m];
    const Module& f = kModule[m];
    if (!handle) {
      setting = {some_bit_rate(), some_sample_rate(),
                 in_.below(8) == 0 ? -in_.below(3) : 1 + in_.below(m == kEq10 ? 8 : 2), some_frames(),
                 in_.below(2)};
      const auto section = in_.numbers(f.section_length);
      handle = f.init(section.data(), setting);
      return;
    }
    const int n = block_length(setting.frames);
    Buffers buffers(in_, setting.channels, n), second(in_, setting.channels, n);
    const std::function<void()> calls[] = {
        [&] { f.set_para(handle, in_.numbers(f.section_length).data()); },
        [&] { f.get_para(handle, std::vector<float>(static_cast<size_t>(f.section_length)).data()); },
        [&] { f.print_para(handle); },
        [&] { f.second_process(handle, buffers.get(), second.get(), n); },
        [&] { adjust(m, handle); },
        [&] {
          if (in_.below(4) == 0) f.destroy(handle), handle = nullptr;
        },
        [&] { f.process(handle, buffers.get(), buffers.get(), n); }};
    calls[std::min(in_.below(8), 6)]();
  }

  void adjust(int m, void* handle) {
    const int channel = in_.integer(), band = in_.integer(), flag = in_.integer();
    const auto v = in_.numbers(9);
    if (m == kDrc && (flag & 1)) {
      MultiBandDRC_Crossover_AdjustPara(static_cast<MultiBandDRCState*>(handle), channel, v[0], v[1], v[2],
                                        v[3], v[4], v[5]);
    } else if (m == kDrc) {
      MultiBandDRC_DRC_AdjustPara(static_cast<MultiBandDRCState*>(handle), channel, band, flag, v[0], v[1],
                                  v[2], v[3], v[4], v[5], v[6], v[7], v[8]);
    } else if (m == kMaximizer && (flag & 1)) {
      Maximizer_AdjustPara(static_cast<MaximizerState*>(handle), channel, v[0], v[1], v[2]);
    } else if (m == kMaximizer) {
      Agc_AdjustPara(static_cast<MaximizerState*>(handle), channel, v[0], v[1], v[2], v[3], v[4], v[5], v[6],
                     v[7]);
    } else if (m == kEq10) {
      const int n = std::max(settings_[m].frames, 0);
      Buffers in(in_, settings_[m].channels, n), out(in_, settings_[m].channels, n);
      EQ10_GetData(static_cast<EQ10State*>(handle), in.get(), out.get());
    }
  }

  std::vector<float> some_record() {
    std::vector<float> record = in_.numbers(AUDIOPOST_PARAM_LENGTH);
    record[0] = static_cast<float>(some_sample_rate());
    record[1] = static_cast<float>(some_bit_rate());
    record[3] = in_.below(8) == 0 ? in_.number() : static_cast<float>(1 + in_.below(2));
    record[4] = in_.below(8) == 0 ? in_.number() : 2.0f;
    for (size_t i = 10; i < 18; ++i) record[i] = static_cast<float>(in_.below(3));
    return record;
  }

  void use_chain() {
    if (!chain_) {
      const auto record = some_record();
      chain_frames_ = some_frames();
      chain_channels_ =
          static_cast<int>(std::clamp(record[3] == record[3] ? record[3] : 0.0f, 0.0f, 1024.0f));
      chain_ = AudioPost_Init(record.data(), chain_frames_);
      return;
    }
    std::vector<float> room(AUDIOPOST_PARAM_LENGTH), section(100);
    const int channel = in_.integer();
    const auto v = in_.numbers(9);
    const std::function<void()> calls[] = {
        [&] {
          AudioPost_SetPara(chain_, some_record().data(), in_.below(16) ? chain_frames_ : in_.integer());
        },
        [&] { AudioPost_GetPara(chain_, room.data()); },
        [&] { AudioPost_EQ10_SetPara(chain_, in_.numbers(100).data()); },
        [&] { AudioPost_EQ10_GetPara(chain_, section.data()); },
        [&] {
          Buffers in(in_, chain_channels_, chain_frames_), out(in_, chain_channels_, chain_frames_);
          AudioPost_EQ10_GetData(chain_, in.get(), out.get());
        },
        [&] {
          AudioPost_MultiBandDRC_Crossover_AdjustPara(chain_, channel, v[0], v[1], v[2], v[3], v[4], v[5]);
        },
        [&] {
          AudioPost_MultiBandDRC_DRC_AdjustPara(chain_, channel, in_.integer(), in_.integer(), v[0], v[1],
                                                v[2], v[3], v[4], v[5], v[6], v[7], v[8]);
        },
        [&] { AudioPost_Maximizer_AdjustPara(chain_, channel, v[0], v[1], v[2]); },
        [&] { AudioPost_Agc_AdjustPara(chain_, channel, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]); },
        [&] {
          if (in_.below(4) == 0) AudioPost_Destroy(chain_), chain_ = nullptr;
        },
        [&] {
          std::vector<int16_t> pcm(static_cast<size_t>(chain_channels_ * std::max(chain_frames_, 0)));
          for (size_t i = 0; i < std::min<size_t>(pcm.size(), 64); ++i) pcm[i] = in_.raw<int16_t>();
          AudioPost_Process(chain_, pcm.data(), pcm.data(), in_.integer(), chain_frames_);
        }};
    calls[std::min(in_.below(12), 10)]();
  }

  void use_crossover() {
    if (!crossover_) {
      crossover_channels_ = in_.below(4);
      CrossoverParam p{in_.integer(), in_.number(), in_.number(), in_.number(),
                       in_.number(),  in_.number(), in_.number()};
      if (p.mid_bands > 1000) p.mid_bands = 1000;  // the caller's output has room for all of them
      const bool defaults = in_.below(4) == 0;
      mid_bands_ = defaults ? 0 : p.mid_bands;
      crossover_ =
          Filters_Crossover_filterInit(some_sample_rate(), crossover_channels_, defaults ? nullptr : &p);
      return;
    }
    const auto in = in_.numbers(crossover_channels_);
    std::vector<float> out(static_cast<size_t>(crossover_channels_ * std::max(0, 2 + mid_bands_)));
    CrossoverParam* defaults = Filters_Crossover_paramInit();
    const int call = in_.below(8);
    if (call == 0) Filters_Crossover_filterSetParam(crossover_, defaults);
    if (call == 1) Filters_Crossover_filterDestroy(crossover_), crossover_ = nullptr;
    if (call > 1) Filters_Crossover_filterProcess(crossover_, in.data(), out.data());
    std::free(defaults);
  }

  void use_meter() {
    if (!meter_) {
      meter_channels_ = in_.below(8) - 1;
      meter_ =
          ebur128_init(some_bit_rate(), some_sample_rate(), meter_channels_, in_.integer(), in_.integer());
      return;
    }
    const int n = in_.below(200) - 2;
    Buffers buffers(in_, meter_channels_, n);
    ebur128_addframes(meter_, buffers.get(), n);
    ebur128_gatedloudness(meter_);
    if (in_.below(16) == 0) ebur128_destroy(meter_), meter_ = nullptr;
  }

  void use_detector() {
    if (!detector_) {
      detector_channels_ = in_.below(4);
      detector_ = LevelDetector_Init(some_bit_rate(), some_sample_rate(), detector_channels_, in_.integer());
      return;
    }
    const int n = in_.below(64);
    const auto bands = in_.numbers(20);
    const std::vector<int16_t> pcm(static_cast<size_t>(n * detector_channels_ + 1), in_.raw<int16_t>());
    LevelDetectorResult result;
    const int call = in_.below(8);
    if (call == 0)
      LevelDetector_SetPara(detector_, in_.below(2) ? bands.data() : nullptr, bands[0], bands[1], bands[2]);
    if (call == 1) LevelDetector_Destroy(detector_), detector_ = nullptr;
    if (call == 2) LevelDetector_GetRes(detector_, &result);
    if (call > 2) LevelDetector_Process(detector_, pcm.data(), static_cast<uint32_t>(n));
  }

  void use_parts() {
    const auto v = in_.numbers(7);
    const auto table = std::vector<float>(201, 1.0f);
    table_search(200, table.data(), v[0], v[1], v[2]);
    table_caculate(in_.integer(), v[0], v[1], v[2], v[3], v[4], v[5]);
    max_table_caculate(in_.integer(), v[0], v[1]);
    if (!biquad_) biquad_ = biquad_init();
    float coeffs[5];
    filter_calculateCoeffs(coeffs, in_.below(9) - (in_.below(32) == 0), v[0], v[1], v[2], v[3]);
    biquad_setCoefficients(biquad_, coeffs);
    biquad_processAudioSample(biquad_, v[4]);
    biquad_1st_processAudioSample(biquad_, v[5]);
    if (in_.below(4) == 0) biquad_reset(biquad_);
  }

  fuzz::Input& in_;
  void* modules_[kModules] = {};
  Setting settings_[kModules] = {};
  AudioPostState* chain_ = nullptr;
  int chain_frames_ = 0, chain_channels_ = 0;
  CrossoverFilter* crossover_ = nullptr;
  int crossover_channels_ = 0, mid_bands_ = 0;
  Ebur128State* meter_ = nullptr;
  int meter_channels_ = 0;
  LevelDetectorState* detector_ = nullptr;
  int detector_channels_ = 0;
  BiquadFilter* biquad_ = nullptr;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  Program program(input);
  // A documented process end ends one call, not the program: what it left behind must still be usable.
  while (!input.empty()) fuzz::completes([&] { program.step(); });
  return 0;
}
