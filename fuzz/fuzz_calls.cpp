// The input is a program of calls on the exported functions: one chain, one of each single effect and part,
// created, processed, retuned and destroyed in any order, with any arguments that a host could come by.
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <tuple>

#include "fuzz/fuzz.h"
#include "tests/modules.h"

namespace {

using fuzz::Input;
using support::kDrc, support::kEq10, support::kMaximizer, support::kModule, support::kModules;

// What can be called on a handle, which they share; the last is the likeliest. Empty for a handle that was refused.
using Calls = std::vector<std::function<void()>>;

// Channel buffers of exactly n samples each, so that one sample too far is seen.
class Buffers {
 public:
  Buffers(Input& input, int channels, int n) {
    for (int ch = 0; ch < channels; ++ch) {
      owned_.push_back(std::make_unique<float[]>(size_t(std::max(n, 1))));
      for (int i = 0; i < std::min(n, 16); ++i) owned_.back()[size_t(i)] = input.number();
      pointers_.push_back(owned_.back().get());
    }
  }
  operator float**() { return pointers_.data(); }

 private:
  std::vector<std::unique_ptr<float[]>> owned_;
  std::vector<float*> pointers_;
};

int some(Input& in, int) { return in.integer(); }
float some(Input& in, float) { return in.number(); }
int some_bit_rate(Input& in) { return in.below(8) == 0 ? in.integer() : 8 * (2 + in.below(3)); }
int some_sample_rate(Input& in) { return in.below(8) == 0 ? in.integer() : in.below(2) ? 48000 : 8000; }
int some_frames(Input& in) { return in.below(8) == 0 ? -in.below(3) : in.below(96); }
int some_channels(Input& in, int most) { return in.below(8) == 0 ? -in.below(3) : 1 + in.below(most); }

// function(handle, channel, settings ...), with arguments of the types that the function takes.
template <class Result, class State, class... Settings>
void adjust(Result (*function)(State*, int, Settings...), void* handle, Input& in) {
  std::apply(function, std::tuple<State*, int, Settings...>{static_cast<State*>(handle), in.integer(),
                                                            some(in, Settings{})...});
}

Calls new_module(Input& in, int m) {
  const support::Module& f = kModule[m];
  const int most = m == kEq10 ? 8 : 2, floats = f.stride * most;
  const support::Setting setting{some_bit_rate(in), some_sample_rate(in), some_channels(in, most),
                                 some_frames(in), in.below(2)};
  const std::shared_ptr<void> s(f.init(in.numbers(floats).data(), setting), f.destroy);
  const auto processed = [=, &in](auto process) {
    const int n = in.below(4) ? setting.frames : in.below(128) - 4;
    Buffers x(in, setting.channels, n), y(in, setting.channels, n);
    process(s.get(), x, in.below(2) ? x : y, n);
  };
  Calls calls = {[=, &in] { f.set_para(s.get(), in.numbers(floats).data()); },
                 [=, &in] { f.get_para(s.get(), Buffers(in, 1, floats)[0]); }, [=] { f.print_para(s.get()); },
                 [=] { processed(f.second_process); }, [=] { processed(f.process); }};
  const auto add = [&](auto function) {
    calls.insert(calls.begin(), [=, &in] { adjust(function, s.get(), in); });
  };
  if (m == kDrc) add(MultiBandDRC_Crossover_AdjustPara), add(MultiBandDRC_DRC_AdjustPara);
  if (m == kMaximizer) add(Maximizer_AdjustPara), add(Agc_AdjustPara);
  if (m == kEq10)
    calls[2] = [=, &in] {
      Buffers x(in, setting.channels, setting.frames), y(in, setting.channels, setting.frames);
      EQ10_PrintPara(static_cast<EQ10State*>(s.get()));
      EQ10_GetData(static_cast<EQ10State*>(s.get()), x, y);
    };
  return s ? calls : Calls{};
}

std::vector<float> some_record(Input& in) {
  std::vector<float> record = in.numbers(AUDIOPOST_PARAM_LENGTH);
  record[0] = float(some_sample_rate(in)), record[1] = float(some_bit_rate(in));
  record[3] = in.below(8) == 0 ? in.number() : float(1 + in.below(2));
  record[4] = in.below(8) == 0 ? in.number() : 2.0f;
  for (size_t i = AUDIOPOST_AUTOGAIN_ENABLE; i <= AUDIOPOST_MAXIMIZER_ENABLE; ++i)
    record[i] = float(in.below(3));
  return record;
}

Calls new_chain(Input& in) {
  const auto record = some_record(in);
  const int frames = some_frames(in);
  const int channels = fuzz::channels_of(record);
  const std::shared_ptr<AudioPostState> s(AudioPost_Init(record.data(), frames), AudioPost_Destroy);
  if (!s) return {};
  AudioPostState* const chain = s.get();
  return {
      [=, &in] { AudioPost_SetPara(chain, some_record(in).data(), in.below(16) ? frames : in.integer()); },
      [=, &in] { AudioPost_GetPara(chain, Buffers(in, 1, AUDIOPOST_PARAM_LENGTH)[0]); },
      [=, &in] { AudioPost_EQ10_SetPara(chain, in.numbers(100).data()); },
      [=, &in] { AudioPost_EQ10_GetPara(chain, Buffers(in, 1, 100)[0]); },
      [=, &in] { adjust(AudioPost_MultiBandDRC_Crossover_AdjustPara, chain, in); },
      [=, &in] { adjust(AudioPost_MultiBandDRC_DRC_AdjustPara, chain, in); },
      [=, &in] { adjust(AudioPost_Maximizer_AdjustPara, chain, in); },
      [=, &in] { adjust(AudioPost_Agc_AdjustPara, chain, in); },
      [=, &in] {
        Buffers x(in, channels, frames), y(in, channels, frames);
        AudioPost_EQ10_GetData(chain, x, y);
      },
      [=, &in] {
        std::vector<int16_t> pcm(size_t(channels * std::max(frames, 0)));
        for (size_t i = 0; i < std::min<size_t>(pcm.size(), 64); ++i) pcm[i] = in.raw<int16_t>();
        AudioPost_Process(s.get(), pcm.data(), pcm.data(), in.integer(), frames);
      }};
}

Calls new_crossover(Input& in) {
  const int channels = in.below(4);
  CrossoverParam p{in.integer(), in.number(), in.number(), in.number(),
                   in.number(),  in.number(), in.number()};
  p.mid_bands = std::min(p.mid_bands, 1000);  // the caller's output has room for all of them
  const std::shared_ptr<CrossoverFilter> s(Filters_Crossover_filterInit(some_sample_rate(in), channels, &p),
                                           Filters_Crossover_filterDestroy);
  if (!s) return {};
  return {[=] {
            const std::unique_ptr<CrossoverParam, decltype(&std::free)> defaults(
                Filters_Crossover_paramInit(), std::free);
            Filters_Crossover_filterSetParam(s.get(), defaults.get());
          },
          [=, &in] {
            std::vector<float> out(size_t(channels * std::max(0, 2 + p.mid_bands)));
            Filters_Crossover_filterProcess(s.get(), in.numbers(channels).data(), out.data());
          }};
}

Calls new_meter(Input& in) {
  const int channels = in.below(8) - 1;
  const std::shared_ptr<Ebur128State> s(
      ebur128_init(some_bit_rate(in), some_sample_rate(in), channels, in.integer(), in.integer()),
      ebur128_destroy);
  if (!s) return {};
  return {[=, &in] {
    const int n = in.below(200) - 2;
    ebur128_addframes(s.get(), Buffers(in, channels, n), n);
    ebur128_gatedloudness(s.get());
  }};
}

Calls new_detector(Input& in) {
  const int channels = in.below(4);
  const std::shared_ptr<LevelDetectorState> s(
      LevelDetector_Init(some_bit_rate(in), some_sample_rate(in), channels, in.integer()),
      LevelDetector_Destroy);
  if (!s) return {};
  return {[=, &in] {
            const auto v = in.numbers(20);
            LevelDetector_SetPara(s.get(), in.below(2) ? v.data() : nullptr, v[0], v[1], v[2]);
          },
          [=, &in] {
            const int n = in.below(64);
            const std::vector<int16_t> pcm(size_t(n * channels + 1), in.raw<int16_t>());
            LevelDetector_Process(s.get(), pcm.data(), uint32_t(n));
            LevelDetectorResult result;
            LevelDetector_GetRes(s.get(), &result);
          }};
}

Calls new_parts(Input& in) {
  const std::shared_ptr<BiquadFilter> biquad(biquad_init(), biquad_destroy);
  return {[=, &in] {
    const auto v = in.numbers(7), table = std::vector<float>(201, 1.0f);
    table_search(200, table.data(), v[0], v[1], v[2]);
    table_caculate(in.integer(), v[0], v[1], v[2], v[3], v[4], v[5]);
    max_table_caculate(in.integer(), v[0], v[1]);
    float coeffs[5];
    filter_calculateCoeffs(coeffs, in.below(9) - (in.below(32) == 0), v[0], v[1], v[2], v[3]);
    biquad_setCoefficients(biquad.get(), coeffs);
    biquad_processAudioSample(biquad.get(), v[4]);
    biquad_1st_processAudioSample(biquad.get(), v[5]);
    if (in.below(4) == 0) biquad_reset(biquad.get());
  }};
}

constexpr int kOthers = 5;
Calls (*const kNew[kOthers])(Input&) = {new_chain, new_crossover, new_meter, new_detector, new_parts};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  Calls objects[kOthers + kModules];
  // A documented process end ends one call, not the program: what it left behind must still be usable.
  while (!in.empty())
    fuzz::completes([&] {
      const int kind = in.below(kOthers + kModules);
      Calls& calls = objects[kind];
      if (calls.empty())
        calls = kind < kOthers ? kNew[kind](in) : new_module(in, kind - kOthers);
      else if (in.below(32) == 0)
        calls.clear();
      else
        calls[std::min(size_t(in.below(16)), calls.size() - 1)]();
    });
  return 0;
}
