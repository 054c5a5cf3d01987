// Every row of the kernel table returns the bits of the scalar row.
#include "lanes/target.h"

#include <algorithm>
#include <bitset>

#include "filters/biquad.h"
#include "internal/by_hand.h"
#include "internal/run_job.h"
#include "tone/bass_enhancer.kernel.h"

using support::Module;
using support::noise;
using support::same_bits;
using support::Samples;

namespace {

// As a host's constructors see it that links statically.
const lanes::Target* const before_main = &lanes::target();

}  // namespace

TEST_CASE("the widest row is chosen before any constructor of the host runs") {
  const lanes::Target* widest = nullptr;
  for (int row = 0; row < lanes::kTargetCount; ++row)
    if (lanes::kTargets[row]->runs_here()) widest = lanes::kTargets[row];
  CHECK(before_main == widest);
}

namespace {

// Agc before the limiter, as in the chain.
void process(const Module& m, void* s, float** x, int n) {
  if (&m == &support::kModule[support::kMaximizer]) m.second_process(s, x, x, n);
  m.process(s, x, x, n);
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
      with({{219, 0}, {220, 0}, {239, 0}, {240, 0}, {259, 1}, {319, -5}, {320, -1}, {402, 0}, {408, 0}}),
      with({{61, 0}, {62, 10.5f}, {71, 12}, {212, -200}, {232, 60}, {83, 2}, {88, -1}, {92, 0}, {403, -90}}),
      with({{200, 1}, {300, 0}, {100, -3}, {150, 40}, {90, 0}, {95, 24000}, {63, 30000}, {410, 1e9f}}),
      with(
          {{25, NAN}, {216, -200}, {220, -1}}),  // a whole channel; a follower that its release takes below 0
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
  const int blocks[][6] = {{1024, 1024, 1024, 1024, 1024, 1024},
                           {480, 480, 480, 480, 480, 480},
                           {64, 64, 64, 64, 64, 64},
                           {1, 3, 63, 2, 5, 1},
                           {1500, 17, 1, 700, 64, 4}};
  for_each_row(
      [&](const lanes::Target& kernels) {
        for (const Module& m : support::kModule)
          for (size_t record = 0; record < records().size(); ++record)
            for (int channels = 1; channels <= 2; ++channels)
              for (const auto& lengths : blocks) {
                CAPTURES(m.name, record, channels, lengths[0]);
                const float* const section = &records()[record][size_t(m.section)];
                const support::Setting setting{16, 48000, channels, lengths[0], 0};
                void* const handles[2] = {m.init(section, setting), m.init(section, setting)};
                uint32_t seed = 1;
                for (int round = 0; round < 3; ++round)
                  for (int n : lengths) {
                    support::Planar x({passage(n, seed), passage(n, seed + 7)}), y({x.data[0], x.data[1]});
                    const size_t at = static_cast<size_t>(record % 4 < 2 ? n / 2 : n - 1);
                    if (seed == 16)  // late, for it stays in the histories
                      x.data[1][at] = y.data[1][at] = record % 2 ? NAN : INFINITY;
                    lanes::use_target(scalar());
                    process(m, handles[0], x(), n);
                    lanes::use_target(seed % 2 ? kernels : scalar());
                    process(m, handles[1], y(), n);
                    ++seed;
                    REQUIRE(same_numbers(x.data[0], y.data[0]));
                    REQUIRE(same_numbers(x.data[1], y.data[1]));
                  }
                for (void* handle : handles) m.destroy(handle);
              }
      },
      1);
}

namespace {

// The same in the library: a retune to mono creates what is to see one channel.
support::Chain chain_with_mono(support::Record record, int block, int mono) {
  const support::Record all = record;
  for (size_t m = 0; m < support::kModules; ++m)
    if (mono >> m & 1) record[10 + m] = 0;
  support::Chain chain = support::chain_of(record.data(), block);
  if (mono == 0) return chain;
  record = all, record[3] = 1;
  AudioPost_SetPara(chain.get(), record.data(), block);
  AudioPost_SetPara(chain.get(), all.data(), block);
  return chain;
}

}  // namespace

// Which effects share a loop depends on which are on, and on what fits: ten sections before four bands do, equal counts
// of sections and of channels. Every third block goes through the scalar row, which goes on from what the others left.
TEST_CASE(
    "the chain is its effects in their order and EQ10's data what entered and left it, whichever are on") {
  constexpr int kMono = 1 << support::kExciter | 1 << support::kDrc;
  const struct {
    size_t record;
    int channels, block, mono;
  } rows[] = {{0, 2, 480, 0},    {0, 1, 64, 0},   {1, 2, 64, 0}, {2, 2, 64, 0},
              {0, 2, 64, kMono}, {0, 2, 1025, 0}, {3, 2, 5, 0},  {4, 2, 480, 0},
              {5, 2, 1500, 0},   {6, 1, 64, 0},   {7, 2, 64, 0}};
  for (const auto& r : rows)
    for (int on = 0; on < 256; ++on) {
      // Both modes of the last effect matter after all the others, and after the compressor alone.
      const bool told =
          r.record < 3 ? on < 64 || on == 255 || on == 0xe0 : std::bitset<8>(size_t(on)).count() > 6;
      if (!told) continue;
      support::Record record = records()[r.record];
      record[3] = static_cast<float>(r.channels), record[20] = record[25] = 0;
      // A gain that moves from the third block of 10 ms on, or of a block that is longer than what shares a loop.
      if (r.record < 3) support::put(record, 30, {-10, 20, 20, 20, r.block > 480 ? 22.0f : 10.0f});
      for (size_t flag = 0; flag < 8; ++flag) record[10 + flag] = static_cast<float>(on >> flag & 1);
      support::ByHand by_hand(record, r.channels, r.block, r.mono);
      std::vector<support::Chain> chains(lanes::kTargetCount);
      for (support::Chain& chain : chains) chain = chain_with_mono(record, r.block, r.mono);
      for (int block = 0; block < std::max(4, (on == 255 ? 9600 : 2400) / r.block); ++block) {
        auto pcm = support::noise_pcm(r.block * r.channels, static_cast<uint32_t>(block));
        if (r.record > 2 && block % 4 == 2) std::fill(pcm.begin(), pcm.end(), int16_t{0});
        std::vector<int16_t> expected;
        size_t row = 0;
        for_each_row([&](const lanes::Target&) {
          CAPTURES(r.record, r.channels, r.block, r.mono, on, block);
          AudioPostState* const chain = chains[row].get();
          if (row == 0 || block % 3 == 2) lanes::use_target(scalar());
          if (row++ == 0) expected = by_hand.process(pcm);
          REQUIRE(support::through_chain(chain, pcm, r.channels, r.block) == expected);
          if (!by_hand.on(4)) return;
          support::Planar in(std::vector<Samples>(size_t(r.channels), Samples(size_t(r.block)))),
              out(in.data);
          REQUIRE(AudioPost_EQ10_GetData(chain, in(), out()) == r.channels);
          for (size_t ch = 0; ch < in.data.size(); ++ch) {
            REQUIRE(same_numbers(in.data[ch], by_hand.eq_in[ch]));
            REQUIRE(same_numbers(out.data[ch], by_hand.eq_out[ch]));
          }
        });
      }
    }
}

// ---- What is not a number --------------------------------------------------------------------------
// The answers that are documented: the other rows could differ from the first here, and the first from them.
namespace {

template <class State, auto Process, auto Destroy>
using Effect = support::Effect<State, Process, Destroy>;

}  // namespace

TEST_CASE("samples that are not numbers come out as full scale, wherever in a block") {
  const struct {
    float bottom, top;
    int16_t lowest, highest;  // not a number is highest, too
  } rows[] = {{-32768.0f, 32767.0f, -32768, 32767},
              {-8388608.0f, 8388607.0f, 0, -1},  // the low 16 bits
              {-2147483648.0f, 2147483648.0f, 0, -1}};
  for_each_row([&](const lanes::Target& kernels) {
    for (const auto& r : rows)
      for (int channels = 1; channels <= 3; ++channels) {
        const float values[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 100.9f, -100.9f, -NAN};
        const int16_t answers[] = {r.highest, r.highest, r.lowest, r.highest, r.lowest, 100, -100, r.highest};
        constexpr int kFrames = 45;
        support::Planar x(std::vector<Samples>(3, Samples(kFrames)));
        std::vector<int16_t> expected, got(size_t(kFrames * channels));
        for (int i = 0; i < kFrames * channels; ++i) {
          x.data[size_t(i % channels)][size_t(i / channels)] = values[i * 3 % 8];
          expected.push_back(answers[i * 3 % 8]);
        }
        kernels.to_pcm(x(), r.bottom, r.top, got.data(), channels, kFrames);
        CHECK(got == expected);
      }
  });
}

TEST_CASE("what is not a number is no peak, and makes a mean square that is none") {
  for_each_row([&](const lanes::Target& kernels) {
    for (int n : {1, 7, 32, 45})
      for (size_t at = 0; at < size_t(n); ++at) {
        Samples x = noise(n, 1000), without = x;
        x[at] = NAN, without[at] = 0;
        CHECK(kernels.peak(5, x.data(), n) == kernels.peak(5, without.data(), n));
        CHECK(kernels.peak(5, without.data(), n) == std::max(5.0f, float(support::peak(without))));
        const float* const channels[] = {x.data(), without.data()};
        float means[2];
        kernels.mean_squares(channels, 2, n, means);
        CHECK(std::isnan(means[0]));
        CHECK(std::isfinite(means[1]));
      }
  });
}

TEST_CASE("an exciter's clipper answers 1 to what is not a number, and the dry signal goes on") {
  using Exciter = Effect<ExciterState, Exciter_Process, Exciter_Destroy>;
  const float section[] = {0, 0.5f, 2000, 0.25f, 0, 0, 0.5f, 2000, 0.25f, 0};  // drive 10
  BiquadCoeffs c;
  filter_calculateCoeffs(&c.b0, ButterworthHP, 48000, 2000, 0, 0);
  for_each_row([&](const lanes::Target&) {
    for (size_t bad : {0u, 1u})
      for (size_t at : {0u, 3u, 12u, 40u}) {
        const Exciter exciter(Exciter_Init(section, 16, 48000, 2, 0));
        std::vector<Samples> x(2, Samples(64));
        x[bad][at] = NAN;
        const auto y = exciter.run(x);
        CHECK(support::peak(y[1 - bad]) == 0);
        BiquadHistory h{};  // the second high-pass hears a step
        update_biquad_filter(&c.b0, &h.s1, 1);
        for (size_t i = at + 1; i < 64; ++i)
          CHECK(y[bad][i] ==
                doctest::Approx(819.2 * double(update_biquad_filter(&c.b0, &h.s1, 1))).epsilon(1e-5));
      }
  });
}

TEST_CASE("a bass shaper takes the root of what is not a number as 0, which its DC blocker survives") {
  for_each_row([&](const lanes::Target& kernels) {
    for (bool floor : {false, true})
      for (size_t at : {0u, 5u, 30u}) {
        const filters::BiquadPair pass = {{{1, 0, 0, 0, 0}, {1, 0, 0, 0, 0}}, {}};
        std::vector<filters::BiquadPair> pairs(10, pass);
        float dc[2][2] = {};  // of each channel, what goes into its blocker and what comes out
        Samples x[2] = {Samples(32, 0.5f), Samples(32, 0.5f)};
        x[1][at] = NAN;
        tone::BassJob job{{}, 2};
        for (size_t ch = 0; ch < 2; ++ch) {
          auto* const p = &pairs[5 * ch];
          float* const y = x[ch].data();
          job.channels[ch] = {p,     p + 1, p + 2, p + 3,      floor ? p + 4 : nullptr,
                              1.5f,  0.25f, 0.5f,  -0.5f,      0.5f,
                              0.25f, 2,     0.5f,  &dc[ch][0], &dc[ch][1],
                              1,     1,     y,     y};
        }
        run_job(kernels, tone::kBassKind, &job, 32);
        CHECK(dc[0][0] == 2 * (1 + 0.25f));  // gain (root((P - l) l + T) + Q)
        CHECK(dc[1][0] == -2 * (0 - 0.5f));  // -gain (0 + S)
        CHECK(std::fabs(dc[1][1]) <= 2.5f);
      }
  });
}

TEST_CASE("a de-esser that hears no number lets go, in the second channel too") {
  using DeEsser = Effect<DeEsserState, DeEsser_Process, DeEsser_Destroy>;
  const float section[] = {6000, -40, 0, 0, 0, 6000, -40, 0, 0, 0};
  const Samples tone = support::sine(480, 6000, 48000, 8000);
  for_each_row([&](const lanes::Target&) {
    const DeEsser de_esser(DeEsser_Init(section, 16, 48000, 2, 480, 0));
    std::vector<Samples> x(2, tone);
    x[0][100] = NAN;
    std::vector<Samples> y;
    for (int block = 0; block < 10; ++block) y = de_esser.run(x);
    for (size_t i = 0; i < 480; ++i) REQUIRE(std::fabs(y[1][i] - tone[i]) < 0.01f);
  });
}

TEST_CASE("a level that is not a number reads the first entry of its table") {
  using Agc = Effect<MaximizerState, Agc_Process, Maximizer_Destroy>;
  using Drc = Effect<MultiBandDRCState, MultiBandDRC_Process, MultiBandDRC_Destroy>;
  const support::Record compressed = support::full_record(),
                        idle = with({{213, 0}, {233, 0}, {253, 0}, {273, 0}});
  for_each_row([&](const lanes::Target&) {
    const Agc agc(Maximizer_Init(nullptr, 16, 48000, 1, 480, 0));
    Samples x(480, 1000.0f);
    x[100] = NAN;
    for (int block = 0; block < 400; ++block) agc.mono(x);
    CHECK(agc.mono(x).back() / 1000 == doctest::Approx(0.22909).epsilon(1e-4));  // of the default curve

    // A retune with as many bands clears the crossover and keeps the followers.
    const Drc drc(MultiBandDRC_Init(&compressed[200], 16, 48000, 2, 1)),
        passing(MultiBandDRC_Init(&idle[200], 16, 48000, 2, 1));
    drc.run({Samples(64), Samples(64, NAN)});
    MultiBandDRC_SetPara(drc, &compressed[200]);
    const Samples s = noise(480, 20000);
    const auto y = drc.run({s, s}), thru = passing.run({s, s});
    // 4 dB below noise_threshold the curve falls by 19 dB every 15; and there are four bands.
    const double gain = std::pow(10, -4 * 4 / 15.0 / 20) / 4;
    for (size_t i = 0; i < 480; ++i) REQUIRE(std::fabs(y[1][i] - gain * thru[1][i]) < 0.01);
    CHECK_FALSE(same_bits(y[0], y[1]));
  });
}
