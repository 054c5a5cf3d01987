// Every row of the kernel table returns the bits of the scalar row.
#include "lanes/target.h"

#include "tone/eq10.kernel.h"

#include "common/flush_denormals.h"
#include "full_record.h"
#include "support.h"

using support::noise;
using support::same_bits;
using support::Samples;

namespace {

// Around the vector widths and the lengths of the waves, real blocks, and one that is cut.
const int kLengths[] = {1, 2, 3, 7, 11, 13, 63, 64, 480, 1024, 1500};

// As a host's constructors see it that links statically.
const lanes::Target* const before_main = &lanes::target();

// Calls check(row) for each row but the scalar one that this machine runs.
template <class Check>
void for_each_row(Check check) {
  for (int row = 1; row < lanes::kTargetCount; ++row) {
    const lanes::Target& kernels = *lanes::kTargets[row];
    if (!kernels.runs_here()) continue;
    const std::string name = kernels.name;
    CAPTURE(name);
    const common::FlushDenormals flush;
    check(kernels);
  }
}

const lanes::Target& scalar() { return *lanes::kTargets[0]; }

std::vector<BiquadCoeffs> sections(int count, float fc) {
  std::vector<BiquadCoeffs> coeffs(static_cast<size_t>(count));
  for (int k = 0; k < count; ++k)
    filter_calculateCoeffs(&coeffs[static_cast<size_t>(k)].b0, k % 6, 48000.0f,
                           fc * static_cast<float>(1 + k), 1.5f, k % 2 ? 6.0f : -4.5f);
  return coeffs;
}

}  // namespace

TEST_CASE("the widest row is chosen before any constructor of the host runs") {
  const lanes::Target* widest = nullptr;
  for (int row = 0; row < lanes::kTargetCount; ++row)
    if (lanes::kTargets[row]->runs_here()) widest = lanes::kTargets[row];
  CHECK(before_main == widest);
}

TEST_CASE("every kernel row cascades sections to the bits of the scalar row, histories included") {
  struct {
    int sections[3];
  } const rows[] = {{{10, 10, 10}}, {{1, 1, 0}}, {{3, 7, 7}},    {{4, 5, 5}},
                    {{25, 25, 2}},  {{0, 0, 9}}, {{12, 12, 12}}, {{6, 6, 6}}};
  const lanes::Target& widest = lanes::target();
  lanes::Scratch scratch;
  for_each_row([&](const lanes::Target& kernels) {
    for (const auto& r : rows)
      for (int channels = 1; channels <= 3; ++channels)
        for (int n : kLengths) {
          CAPTURE(r.sections[0]);
          CAPTURE(channels);
          CAPTURE(n);
          std::vector<BiquadCoeffs> coeffs[3];
          std::vector<BiquadHistory> history[2][3];
          std::vector<Samples> x[2];
          for (int ch = 0; ch < 3; ++ch) {
            coeffs[ch] = sections(r.sections[ch], 70.0f + 30.0f * static_cast<float>(ch));
            for (auto& h : history) h[ch].resize(coeffs[ch].size());
            // The spare sample shows an overrun. The infinity in the last frame must stay in its channel's histories.
            Samples s = noise(n + 1, 32767.0f, static_cast<uint32_t>(ch + n));
            if (n == 63 && ch == 1) s[62] = INFINITY;
            for (auto& side : x) side.push_back(s);
          }
          for (int block = 0; block < 3; ++block)  // histories have to carry over
            for (int side = 0; side < 2; ++side) {
              lanes::use_target(side ? kernels : scalar());
              lanes::Block running(n, scratch);
              tone::CascadeJob jobs[2];
              for (size_t ch = 0; ch < 3; ++ch)
                jobs[ch / 2].channels[ch % 2] = {coeffs[ch].data(),
                                                 history[side][ch].data(),
                                                 r.sections[ch],
                                                 x[side][ch].data(),
                                                 x[side][ch].data(),
                                                 nullptr,
                                                 0};
              for (int first = 0; first < channels; first += 2) {
                jobs[first / 2].count = std::min(2, channels - first);
                running.join(tone::kCascadeKind, &jobs[first / 2]);
              }
              running.run();
            }
          for (size_t ch = 0; ch < 3; ++ch) {
            REQUIRE(same_bits(x[0][ch], x[1][ch]));
            REQUIRE(same_bits(history[0][ch], history[1][ch]));
          }
        }
  });
  lanes::use_target(widest);
}

namespace {

struct Effect {
  const char* name;
  std::function<void*(const support::Record&, int channels, int block)> init;
  std::function<void(void*, float**, int)> process;
  std::function<void(void*)> destroy;
};

template <class State, auto Process, auto Destroy, class Init>
Effect effect(const char* name, Init init) {
  return {name, init, [](void* s, float** x, int n) { Process(static_cast<State*>(s), x, x, n); },
          [](void* s) { Destroy(static_cast<State*>(s)); }};
}

// Both modes of the maximizer in turn, as in the chain.
int agc_and_maximizer(MaximizerState* s, float** in, float** out, int n) {
  Agc_Process(s, in, out, n);
  return Maximizer_Process(s, out, out, n);
}

const std::vector<Effect>& effects() {
  static const std::vector<Effect> all = {
      effect<AutoGainState, AutoGain_Process, AutoGain_Destroy>(
          "AutoGain", [](const auto& r, int channels,
                         int block) { return AutoGain_Init(&r[30], 16, 48000, channels, block); }),
      effect<BassEnhancerState, BassEnhancer_Process, BassEnhancer_Destroy>(
          "BassEnhancer",
          [](const auto& r, int channels, int) { return BassEnhancer_Init(&r[60], 16, 48000, channels, 0); }),
      effect<ExciterState, Exciter_Process, Exciter_Destroy>(
          "Exciter",
          [](const auto& r, int channels, int) { return Exciter_Init(&r[80], 16, 48000, channels, 0); }),
      effect<DeEsserState, DeEsser_Process, DeEsser_Destroy>(
          "DeEsser", [](const auto& r, int channels,
                        int block) { return DeEsser_Init(&r[90], 16, 48000, channels, block, 0); }),
      effect<EQ10State, EQ10_Process, EQ10_Destroy>(
          "EQ10", [](const auto& r, int channels,
                     int block) { return EQ10_Init(&r[100], 16, 48000, channels, block, 0); }),
      effect<MultiBandDRCState, MultiBandDRC_Process, MultiBandDRC_Destroy>(
          "MultiBandDRC", [](const auto& r, int channels,
                             int) { return MultiBandDRC_Init(&r[200], 16, 48000, channels, 0); }),
      effect<MaximizerState, agc_and_maximizer, Maximizer_Destroy>(
          "Maximizer", [](const auto& r, int channels,
                          int block) { return Maximizer_Init(&r[400], 16, 48000, channels, block, 0); }),
  };
  return all;
}

support::Record with(std::initializer_list<std::pair<int, float>> changes) {
  support::Record r = support::full_record();
  for (const auto& [index, value] : changes) r[static_cast<size_t>(index)] = value;
  return r;
}

// Settings on the way to every branch of the kernels: fewer bands and sections, channels unlike each other, steps too
// fine for gain steps, no time constants, times that make a follower grow, nothing in a section, loudness windows that
// wrap within a block and that are shorter than one.
const std::vector<support::Record>& records() {
  static const std::vector<support::Record> all = {
      support::full_record(),
      with({{200, 3}, {300, 3}, {64, 0}, {74, 0}, {80, 0}, {85, -0.5f}, {100, 0}, {150, 0}, {33, 100}}),
      with({{200, 2}, {300, 2}, {213, 0}, {273, 0}, {105, 0}, {66, 20}, {63, 2000}, {82, 300}, {33, 43}}),
      with({{200, 4}, {300, 2}, {100, 2}, {115, 0}, {64, 1}, {74, 0}, {91, -80}, {96, 0}, {33, 20}}),
      with({{216, -1}, {236, -3.9f}, {256, 4}, {276, 5}, {300, 7}, {400, -20}, {401, 5}, {420, 0}}),
      with({{219, 0},
            {220, 0},
            {239, 0},
            {240, 0},
            {259, 1},
            {279, 0},
            {319, -5},
            {320, -1},
            {402, 0},
            {408, 0}}),
      with({{61, 0},
            {62, 10.5f},
            {71, 12},
            {212, -200},
            {232, 60},
            {83, 2},
            {88, -1},
            {92, 0},
            {30, 60},
            {403, -90}}),
      with({{200, 1},
            {300, 0},
            {100, -3},
            {150, 40},
            {90, 0},
            {95, 24000},
            {82, 0},
            {63, 30000},
            {410, 1e9f}}),
  };
  return all;
}

// Music-like: quiet and loud passages, silence, and a block that is only noise.
Samples passage(int n, uint32_t seed) {
  Samples x = noise(n, 9000.0f, seed);
  for (size_t i = 0; i < x.size(); ++i) {
    const double t = static_cast<double>(i);
    x[i] = static_cast<float>(x[i] * std::exp(-t / 900) + 15000 * std::sin(0.01 * t) * std::sin(0.0007 * t));
    if (i / 700 % 5 == 3) x[i] *= 0.001f;
    if (i / 900 % 6 == 4) x[i] = 0.0f;
  }
  return x;
}

// NaNs differ in sign and payload between instruction sets; no sample that leaves the library shows it.
bool same_numbers(const Samples& a, const Samples& b) {
  for (size_t i = 0; i < a.size(); ++i)
    if (!same_bits(a[i], b[i]) && !(std::isnan(a[i]) && std::isnan(b[i]))) return false;
  return a.size() == b.size();
}

}  // namespace

// One handle is processed by the scalar row alone, the other by two rows in turn: what a kernel leaves behind is what
// the other goes on from, so the outputs are equal only if the histories are.
TEST_CASE("every effect gives the scalar row's bits in every kernel row, block after block") {
  const lanes::Target& widest = lanes::target();
  const int blocks[][6] = {{1024, 1024, 1024, 1024, 1024, 1024},
                           {480, 480, 480, 480, 480, 480},
                           {64, 64, 64, 64, 64, 64},
                           {1, 3, 63, 2, 5, 1},
                           {1500, 17, 1, 700, 64, 4}};
  for_each_row([&](const lanes::Target& kernels) {
    for (const Effect& e : effects())
      for (size_t record = 0; record < records().size(); ++record)
        for (int channels = 1; channels <= 2; ++channels)
          for (const auto& lengths : blocks) {
            CAPTURE(e.name);
            CAPTURE(record);
            CAPTURE(channels);
            CAPTURE(lengths[0]);
            void* const handles[2] = {e.init(records()[record], channels, lengths[0]),
                                      e.init(records()[record], channels, lengths[0])};
            uint32_t seed = 1;
            for (int round = 0; round < 3; ++round)
              for (int n : lengths) {
                support::Planar x({passage(n, seed), passage(n, seed + 7)}), y({x.data[0], x.data[1]});
                if (seed == 16)
                  x.data[1][0] = y.data[1][0] = INFINITY;  // late, for it stays in the histories
                lanes::use_target(scalar());
                e.process(handles[0], x(), n);
                lanes::use_target(seed % 2 ? kernels : scalar());
                e.process(handles[1], y(), n);
                ++seed;
                REQUIRE(same_numbers(x.data[0], y.data[0]));
                REQUIRE(same_numbers(x.data[1], y.data[1]));
              }
            for (void* handle : handles) e.destroy(handle);
          }
  });
  lanes::use_target(widest);
}

// Neighbours share a loop in the chain: with all effects on, and with each one off, so that every grouping occurs.
TEST_CASE("the chain gives the scalar row's bits in every kernel row, whichever effects are on") {
  const lanes::Target& widest = lanes::target();
  for_each_row([&](const lanes::Target& kernels) {
    for (size_t record = 0; record < records().size(); ++record)
      for (int off = -1; off < 8; ++off)
        for (int channels = 1; channels <= 2; ++channels)
          for (int block : {1024, 480, 64, 5, 1500}) {
            if (off >= 0 && (block == 480 || block == 1500)) continue;  // one grouping is enough for these
            CAPTURE(record);
            CAPTURE(off);
            CAPTURE(channels);
            CAPTURE(block);
            support::Record r = records()[record];
            r[3] = static_cast<float>(channels);
            if (off >= 0) r[static_cast<size_t>(10 + off)] = 0;
            AudioPostState* const chains[2] = {AudioPost_Init(r.data(), block),
                                               AudioPost_Init(r.data(), block)};
            REQUIRE(chains[0]);
            std::vector<int16_t> out[2];
            for (uint32_t seed = 1; seed <= 6; ++seed) {
              auto pcm = support::noise_pcm(block * channels, seed);
              if (seed == 3) std::fill(pcm.begin(), pcm.end(), int16_t{0});
              for (int16_t& x : pcm) x = static_cast<int16_t>(x / (seed % 2 ? 3 : 1));
              for (size_t side = 0; side < 2; ++side) {
                lanes::use_target(side && seed % 3 ? kernels : scalar());
                out[side].resize(pcm.size());
                AudioPost_Process(chains[side], pcm.data(), out[side].data(), channels, block);
              }
              REQUIRE(same_bits(out[0], out[1]));
            }
            for (AudioPostState* chain : chains) AudioPost_Destroy(chain);
          }
  });
  lanes::use_target(widest);
}
