// Every exported function runs on a small thread's stack.
#include <sys/mman.h>
#include <ucontext.h>

#include <algorithm>
#include <cstdlib>

#include "full_record.h"
#include "internal/run_job.h"
#include "modules.h"

using namespace support;

namespace {

constexpr size_t kStack = size_t{16} << 10;  // as the header promises
constexpr int kFrames = 1500;                // more than a pass

// Runs `work` on a stack of that size, with a page below it that ends the process when touched; how much of it was used.
size_t on_small_stack(void (*work)()) {
  const size_t guard = size_t{64} << 10;
  char* const memory = static_cast<char*>(
      mmap(nullptr, guard + kStack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  mprotect(memory, guard, PROT_NONE);
  char* const stack = memory + guard;
  std::fill_n(stack, kStack, '\x5a');
  static ucontext_t back, there;
  getcontext(&there);
  there.uc_stack.ss_sp = stack, there.uc_stack.ss_size = kStack, there.uc_link = &back;
  makecontext(&there, work, 0);
  swapcontext(&back, &there);
  const auto used = static_cast<size_t>(
      stack + kStack - std::find_if(stack, stack + kStack, [](char c) { return c != '\x5a'; }));
  munmap(memory, guard + kStack);
  return used;
}

struct Buffers {
  Record record = full_record();
  Planar in{{noise(kFrames, 9000), noise(kFrames, 9000, 2)}}, out{in.data};
  std::vector<int16_t> pcm = noise_pcm(2 * kFrames);
};
Buffers* b;

void use_chain() {
  AudioPostState* const chain = AudioPost_Init(b->record.data(), kFrames);
  for (int i = 0; i < 3; ++i) AudioPost_Process(chain, b->pcm.data(), b->pcm.data(), 2, kFrames);
  AudioPost_SetPara(chain, b->record.data(), kFrames);
  AudioPost_EQ10_SetPara(chain, &b->record[AUDIOPOST_EQ10_SECTION]);
  AudioPost_EQ10_GetPara(chain, &b->record[AUDIOPOST_EQ10_SECTION]);
  AudioPost_EQ10_GetData(chain, b->in(), b->out());
  AudioPost_MultiBandDRC_Crossover_AdjustPara(chain, 0, 200, 4000, 200, 900, 900, 4000);
  AudioPost_MultiBandDRC_DRC_AdjustPara(chain, 0, 1, 1, 3, -24, -50, -60, 6, -3, 5, 50, 0);
  AudioPost_Maximizer_AdjustPara(chain, 0, -3, -1, 50);
  AudioPost_Agc_AdjustPara(chain, 0, -20, -40, -45, 16, -1, 200, 400, 200);
  AudioPost_GetPara(chain, b->record.data());
  AudioPost_Destroy(chain);
}

void use_effects() {
  for (const Module& m : kModule) {
    float* const section = &b->record[static_cast<size_t>(m.section)];
    void* const s = m.init(section, {16, 48000, 2, kFrames, 0});
    for (int n : {kFrames, 480})
      m.process(s, b->in(), b->out(), n), m.second_process(s, b->in(), b->out(), n);
    m.set_para(s, section), m.get_para(s, section), m.print_para(s), m.destroy(s);
  }
}

void use_parts() {
  Ebur128State* const meter = ebur128_init(16, 48000, 2, 400, 100);
  for (int n : {kFrames, 480}) ebur128_addframes(meter, b->in(), n);
  ebur128_gatedloudness(meter), ebur128_destroy(meter);
  LevelDetectorState* const detector = LevelDetector_Init(16, 48000, 2, kFrames);
  LevelDetectorResult result;
  LevelDetector_SetPara(detector, nullptr, 100, 0, 100);
  LevelDetector_Process(detector, b->pcm.data(), kFrames);
  LevelDetector_GetRes(detector, &result), LevelDetector_Destroy(detector);
  CrossoverParam* const param = Filters_Crossover_paramInit();
  CrossoverFilter* const filter = Filters_Crossover_filterInit(48000, 2, param);
  float out[8];
  Filters_Crossover_filterProcess(filter, b->in.data[0].data(), out);
  Filters_Crossover_filterSetParam(filter, param), Filters_Crossover_filterDestroy(filter), std::free(param);
  BiquadFilter* const section = biquad_init();
  filter_calculateCoeffs(&section->coeffs->b0, BandPass, 48000, 1000, 1, 0);
  biquad_processAudioSample(section, 1), biquad_1st_processAudioSample(section, 1), biquad_destroy(section);
  out[0] = table_caculate(4, -30, -60, -50, -24, 6, -3) + max_table_caculate(6, -1, -3);
  table_search(7, out, -3, -60, 1);
}

}  // namespace

TEST_CASE("every exported function but main runs on a stack of 16 KiB, in every kernel row") {
  for_each_row([](const lanes::Target&) {
    for (auto* use : {use_chain, use_effects, use_parts}) {
      CAPTURES(use == use_chain, use == use_effects);
      Buffers buffers;
      b = &buffers;
      const Outcome outcome = in_child([&] { std::printf("%zu\n", on_small_stack(use)); });
      INFO("bytes used: ", outcome.out);
      CHECK(outcome.signal == 0);
      CHECK(outcome.status == 0);
      if (std::getenv("STACK_USED")) std::printf("%s", outcome.out.c_str());
    }
  });
}
