// Nanoseconds a stereo frame of each effect alone and of the whole chain, for every kernel row that this machine runs,
// all from one run. The fastest of many rounds counts: what else the machine does only ever adds.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "bench/signal.h"
#include "lanes/target.h"
#include "zelkaudio_effect_eqdrc.h"

namespace {

using Record = bench::Record;
using lanes::Target;

constexpr int kFrames = 48000;  // of programme, one second
constexpr int kBlock = 1024;
const char* const kEffects[] = {"AutoGain", "BassEnhancer", "Exciter", "DeEsser",
                                "EQ10",     "MultiBandDRC", "Agc",     "Maximizer"};
constexpr int kFirstFlag = AUDIOPOST_AUTOGAIN_ENABLE, kFlags = AUDIOPOST_MAXIMIZER_ENABLE - kFirstFlag + 1;

double seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The fastest of so many calls of `work`, seconds.
template <class Work>
double fastest_of(int calls, Work work) {
  double least = 1e9;
  for (int i = 0; i < calls; ++i) {
    const double start = seconds();
    work();
    least = std::min(least, seconds() - start);
  }
  return least;
}

// What reading the clock takes by itself.
double clock_cost() {
  return fastest_of(1000, [] {});
}

// A chain of multiplications: so many cycles on any one processor, whatever its clock is at the moment.
double multiplications() {
  return fastest_of(2, [] {
    uint64_t x = 3;
    for (int i = 0; i < 1000; ++i) {
      x *= x;
      asm volatile("" : "+r"(x));
    }
  });
}

// What all times are scaled to.
double unit() {
  static const double median = [] {
    std::vector<double> times(1000);
    for (double& time : times) time = multiplications();
    std::nth_element(times.begin(), times.begin() + 500, times.end());
    return times[500];
  }();
  return median;
}

// The fastest of `work`'s rounds, seconds: at least 5 rounds and a third of a second.
double fastest(const std::function<void()>& work) {
  double best = 1e9;
  const double begin = seconds();
  for (int round = 0; round < 5 || seconds() - begin < 0.33; ++round) {
    const double start = seconds();
    work();
    best = std::min(best, seconds() - start);
  }
  return best;
}

class Chain {
 public:
  Chain(const Record& record, int block) : block_(block), chain_(AudioPost_Init(record.data(), block)) {
    if (!chain_) std::exit(EXIT_FAILURE);
  }
  ~Chain() { AudioPost_Destroy(chain_); }
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;

  void play(const std::vector<int16_t>& pcm) {
    for (size_t at = 0; at + 2 * block_ <= pcm.size(); at += 2 * block_) process(pcm, at);
  }
  // Every block's fastest time over the rounds, added up: few moments are undisturbed for as long as a whole round. The
  // processor's clock rises and falls meanwhile, so times are scaled by the multiplications before or after, whichever
  // were faster: a change of clock in between then makes a block look slower, and it doesn't count.
  double ns_per_frame(const std::vector<int16_t>& pcm) {
    static const double read = clock_cost();
    std::vector<double> best(pcm.size() / 2 / block_, 1e9);
    const size_t group = std::max(size_t{1}, size_t{2048} / block_);
    const double begin = seconds();
    for (int round = 0; round < 5 || seconds() - begin < 0.5; ++round)
      for (size_t first = 0; first < best.size(); first += group) {
        const size_t end = std::min(best.size(), first + group);
        std::vector<double> taken;
        const double before = multiplications();
        for (size_t i = first; i < end; ++i) {
          const double start = seconds();
          process(pcm, 2 * block_ * i);
          taken.push_back(seconds() - start - read);
        }
        const double scale = unit() / std::min(before, multiplications());
        for (size_t i = first; i < end; ++i) best[i] = std::min(best[i], taken[i - first] * scale);
      }
    return std::accumulate(best.begin(), best.end(), 0.0) / static_cast<double>(best.size() * block_) * 1e9;
  }
  AudioPostState* get() { return chain_; }

 private:
  void process(const std::vector<int16_t>& pcm, size_t at) {
    out_.resize(pcm.size());
    AudioPost_Process(chain_, &pcm[at], &out_[at], 2, static_cast<int>(block_));
  }

  size_t block_;
  AudioPostState* chain_;
  std::vector<int16_t> out_;
};

const std::vector<int16_t>& music() {
  static const std::vector<int16_t> pcm = bench::music(kFrames);
  return pcm;
}

// All effects off but those whose flag is named.
Record only(Record record, std::initializer_list<int> effects) {
  for (int flag = 0; flag < kFlags; ++flag)
    record[static_cast<size_t>(kFirstFlag + flag)] =
        std::count(effects.begin(), effects.end(), flag) > 0 ? 1 : 0;
  return record;
}

Record without_times(Record record) {
  for (size_t ch = 0; ch < 2; ++ch)
    for (size_t band : {AUDIOPOST_DRC_LOW, AUDIOPOST_DRC_MID1, AUDIOPOST_DRC_MID2, AUDIOPOST_DRC_HIGH}) {
      const size_t start = AUDIOPOST_DRC_SECTION + AUDIOPOST_DRC_STRIDE * ch + band;
      record[start + AUDIOPOST_DRC_ATTACK_TIME] = record[start + AUDIOPOST_DRC_RELEASE_TIME] = 0;
    }
  return record;
}

// The rows to measure, the one that the others are compared with first: the plain form with fused multiply-add in the
// instruction set where this processor has it.
std::vector<const Target*> rows() {
  std::vector<const Target*> found;
  for (int i = 0; i < lanes::kTargetCount; ++i)
    if (lanes::kTargets[i]->runs_here()) found.push_back(lanes::kTargets[i]);
  if (found.size() > 1 && std::string(found[1]->name) == "scalar+fma") std::swap(found[0], found[1]);
  return found;
}

void line(const char* what, const char* row, double ns, double base) {
  std::printf("%-28s %-11s %8.2f ns/frame %7.0f x real time %6.1f x\n", what, row, ns,
              1e9 / bench::kSampleRate / ns, base / ns);
}

void effects(const Record& record) {
  for (int effect = -1; effect < kFlags; ++effect) {
    double base = 0;
    for (const Target* row : rows()) {
      lanes::use_target(*row);
      const double pcm = effect < 0 ? 0 : Chain(only(record, {}), kBlock).ns_per_frame(music());
      const double ns = Chain(only(record, {effect}), kBlock).ns_per_frame(music()) - pcm;
      if (base == 0) base = ns;
      line(effect < 0 ? "int16 in and out" : kEffects[effect], row->name, ns, base);
    }
  }
}

void whole_chain(const Record& record) {
  for (int block : {1024, 480, 64}) {
    double base = 0;
    for (const Target* row : rows()) {
      lanes::use_target(*row);
      const double ns = Chain(record, block).ns_per_frame(music());
      if (base == 0) base = ns;
      line(("whole chain, blocks of " + std::to_string(block)).c_str(), row->name, ns, base);
    }
  }
}

// The same setting of every band of the compressor, of both channels.
Record with_bands(Record record, int field, float value) {
  for (int ch = 0; ch < 2; ++ch)
    for (int band : {AUDIOPOST_DRC_LOW, AUDIOPOST_DRC_MID1, AUDIOPOST_DRC_MID2, AUDIOPOST_DRC_HIGH})
      record[static_cast<size_t>(AUDIOPOST_DRC_SECTION + AUDIOPOST_DRC_STRIDE * ch + band + field)] = value;
  return record;
}

void special_cases(const Record& record) {
  const Target& widest = *rows().back();
  lanes::use_target(widest);
  const auto show = [&](const char* what, double ns, double typical) {
    std::printf("%-40s %8.2f ns/frame, %.2f of music\n", what, ns, ns / typical);
  };
  Chain chain(record, kBlock);
  const double typical = chain.ns_per_frame(music());
  show("music", typical, typical);
  const std::vector<int16_t> silence(music().size());
  chain.play(silence);
  show("digital silence after music", chain.ns_per_frame(silence), typical);
  Record no_number = record;
  no_number[AUDIOPOST_GAIN_SECTION] = NAN;
  show("a channel of NaN", Chain(no_number, kBlock).ns_per_frame(music()), typical);
  show("noise_threshold above its neighbours",
       Chain(with_bands(record, AUDIOPOST_DRC_NOISE_THRESHOLD, -3), kBlock).ns_per_frame(music()), typical);
  const std::vector<int16_t> block(music().begin(), music().begin() + 2 * kBlock);
  show("the first block after Init",
       fastest([&] { Chain(record, kBlock).play(block); }) * 1e9 / kBlock -
           fastest([&] { AudioPost_Destroy(AudioPost_Init(record.data(), kBlock)); }) * 1e9 / kBlock,
       typical);
  show("attack and release 0", Chain(without_times(record), kBlock).ns_per_frame(music()), typical);
  show("AutoGain, EQ10, MultiBandDRC, Maximizer",
       Chain(only(record, {0, 4, 5, 7}), kBlock).ns_per_frame(music()), typical);
  const double drc = Chain(only(record, {5}), kBlock).ns_per_frame(music());
  show("MultiBandDRC with attack and release 0",
       Chain(only(without_times(record), {5}), kBlock).ns_per_frame(music()), drc);
}

void control(const Record& record) {
  const double life = fastest([&] { AudioPost_Destroy(AudioPost_Init(record.data(), kBlock)); });
  Chain chain(record, kBlock);
  const double same = fastest([&] { AudioPost_SetPara(chain.get(), record.data(), kBlock); });
  Record other = record;  // a curve of its own for every band of the compressor, a new one each time
  float lowest = -70.0f;
  const double moved = fastest([&] {
    lowest = lowest < -70.0f ? -70.0f : -71.0f;
    for (int band = 0; band < 4; ++band)
      other[static_cast<size_t>(AUDIOPOST_DRC_SECTION + AUDIOPOST_DRC_LOW + AUDIOPOST_DRC_NOISE_THRESHOLD +
                                band * (AUDIOPOST_DRC_MID1 - AUDIOPOST_DRC_LOW))] =
          lowest - 2.0f * static_cast<float>(band);
    AudioPost_SetPara(chain.get(), other.data(), kBlock);
  });
  std::printf("Init + Destroy %.3f ms, SetPara %.3f ms, with four new compressor curves %.3f ms\n",
              life * 1e3, same * 1e3, moved * 1e3);
}

}  // namespace

// Or, with any argument, just the name of the row that runs here.
int main(int argc, char** /*argv*/) {
  if (argc > 1) return std::puts(lanes::target().name) < 0;
  std::printf("stereo, %d Hz, one thread, all at one clock; %s\n", bench::kSampleRate, lanes::target().name);
  const Record record = bench::full_record();
  std::printf("-- effects alone, blocks of %d; the int16 conversion taken off\n", kBlock);
  effects(record);
  std::printf("-- all effects\n");
  whole_chain(record);
  special_cases(record);
  control(record);
  return EXIT_SUCCESS;
}
