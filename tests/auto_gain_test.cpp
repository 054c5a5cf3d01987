#include <algorithm>

#include "support.h"

using namespace support;

namespace {

constexpr int kBlock = 480;
constexpr double kFs = 48000;

// A programme, block by block, through one handle.
struct Run {
  explicit Run(Samples record, int channels = 2)
      : section(std::move(record)),
        state(AutoGain_Init(section.data(), 16, int(kFs), channels, kBlock)),
        in(std::vector<Samples>(size_t(channels), Samples(kBlock))),
        out(in.data) {}

  // The next block of a sine at this peak level; returns the gain that its last samples got.
  double sine_block(double level_dBFS) {
    const Samples tone = sine(kBlock, 997, kFs, full_scale(level_dBFS), time += kBlock);
    for (Samples& channel : in.data) std::copy(tone.begin(), tone.end(), channel.begin());
    return process();
  }
  double process() {
    AutoGain_Process(state.get(), in(), out(), kBlock);
    return out.data[0][kBlock - 1] / double(in.data[0][kBlock - 1]);
  }
  double after(int blocks, double level_dBFS) {
    double gain = 1;
    while (blocks--) gain = sine_block(level_dBFS);
    return gain;
  }
  void retune(size_t index, float value) {
    section[index] = value;
    AutoGain_SetPara(state.get(), section.data());
  }

  Samples section;
  Handle<AutoGainState, AutoGain_Destroy> state;
  Planar in, out;
  int time = 0;
};

}  // namespace

TEST_CASE("a steady programme is brought to the target, by at most +20 dB, within full scale") {
  const struct {
    double level_dBFS;
    float target;
    double expected_gain_dB;  // a stereo 1 kHz sine reads its peak level
  } rows[] = {{-12, -20, -8},
              {-60, -20, 20},
              {-41, -21.1f, 19.9},
              {-60, NAN, 20},
              {-15, 5, 15}};  // 20 dB short of its target, 15 below full scale
  for (const auto& r : rows) {
    CAPTURE(r.level_dBFS);
    Run run({r.target, 300, 300, 400, 100});
    CHECK(to_dB(run.after(4000, r.level_dBFS)) ==
          doctest::Approx(r.expected_gain_dB).epsilon(0.003).scale(10));
  }
}

TEST_CASE("a quiet programme with peaks is raised no further than its peaks allow") {
  for (size_t ch : {0u, 1u}) {
    CAPTURE(ch);
    Run run({-10, 50, 50, 400, 100});
    double gain = 0;
    for (int block = 0; block < 1500; ++block) {
      for (auto& channel : run.in.data) channel.assign(kBlock, 10.0f);
      run.in.data[ch][100] = block % 2 ? 16384.0f : -16384.0f;
      gain = run.process();
      REQUIRE(peak(run.out.data[ch]) <= 32768.0);
    }
    CHECK(gain > 1.999);  // 32768 / 16384
    CHECK(gain <= 2.0);
  }
}

TEST_CASE("a peak's limit holds until the next update, also for the blocks that could be louder") {
  Run run({-10, 20, 20, 400, 1000}, 1);  // an update every 100 blocks, and none between
  const auto after_block = [&](float peak) {
    const Samples quiet = sine(kBlock, 997, kFs, full_scale(-60));
    std::copy(quiet.begin(), quiet.end(), run.in.data[0].begin());
    run.in.data[0][100] += peak;
    return run.process();
  };
  for (int block = 0; block <= 200; ++block) after_block(0);
  CHECK(after_block(0) == doctest::Approx(10).epsilon(0.01));  // +20 dB, since block 100
  for (float peak : {16384.0f, -8192.0f}) after_block(peak);   // 2 and 4: the lower one stays
  for (int block = 204; block < 299; ++block) after_block(0);
  CHECK(after_block(0) == doctest::Approx(2).epsilon(0.01));
  for (int block = 300; block < 350; ++block) after_block(0);
  CHECK(after_block(0) == doctest::Approx(10).epsilon(0.01));
}

TEST_CASE("the gain rises by its attack and falls by its release, in a straight line over each block") {
  for (float attack_ms : {100.0f, 400.0f})
    for (float step_dB : {6.0f, -6.0f}) {
      CAPTURES(attack_ms, step_dB);
      const float release_ms = 500 - attack_ms;
      Run run({-30, attack_ms, release_ms, 400, 10});
      REQUIRE(run.after(3000, -30) == doctest::Approx(1).epsilon(0.002));
      run.retune(0, -30 + step_dB);
      const double goal = std::pow(10, step_dB / 20), tau_ms = (step_dB > 0 ? attack_ms : release_ms) / 2.2;
      for (int block = 0; block < 40; ++block) {
        const double before = goal + (1 - goal) * std::exp(-10.0 * block / tau_ms);
        const double after = goal + (1 - goal) * std::exp(-10.0 * (block + 1) / tau_ms);
        run.sine_block(-30);
        for (size_t i = 1; i < kBlock; i += 48)
          REQUIRE(run.out.data[1][i] / run.in.data[1][i] ==
                  doctest::Approx(before + (after - before) * double(i) / kBlock).epsilon(0.003));
      }
    }
}

TEST_CASE("before anything is measured, and in silence, the output is the input") {
  Run silent({-10, 100, 100, 400, 100});
  // Read before the block at which a step is over, when the blocks before it fill a window.
  const struct {
    float window_ms, step_ms;
    int block;
  } rows[] = {{400, 100, 40}, {410, 100, 50}, {400, 105, 42}};
  for (const auto& r : rows) {
    CAPTURES(r.window_ms, r.step_ms);
    Run measured({-10, 100, 100, r.window_ms, r.step_ms});
    for (int block = 0; block <= r.block; ++block) {
      measured.sine_block(-30);
      REQUIRE(same_bits(measured.in.data[1], measured.out.data[1]) == (block < r.block));
    }
  }
  for (auto& channel : silent.in.data) channel.assign(kBlock, 1.0f);  // an offset alone is no loudness
  for (int block = 0; block < 400; ++block) REQUIRE(silent.process() == 1.0);
  Run over({-10, 20, 20, 400, 100});  // 6 dB over full scale, whose limit the next update forgets
  CHECK(over.after(9, 6.0206) == doctest::Approx(0.5).epsilon(0.01));
  CHECK(over.after(30, -30) == doctest::Approx(1).epsilon(0.01));
}

TEST_CASE("a retune keeps the meter unless its window or step changes") {
  for (size_t index = 0; index < 5; ++index) {
    CAPTURE(index);
    Run run({-20, 100, 100, 400, 100});
    REQUIRE(run.after(1000, -30) > 3);
    run.retune(index, run.section[index] + 10);
    const double after = run.sine_block(-30);
    CHECK((index < 3 ? after > 3 : after == 1.0));
    CHECK(run.after(3000, -30) == doctest::Approx(std::pow(10, index == 0 ? 1.0 : 0.5)).epsilon(0.01));
  }
}

TEST_CASE(
    "while nothing is measured the smoothed loudness is none, so a new window begins like a new handle") {
  Run run({-20, 2000, 2000, 400, 100}), fresh(run.section);
  run.after(1003, -50);
  run.time = 0;
  run.retune(3, 300), run.retune(3, 400);
  for (int block = 0; block < 200; ++block) REQUIRE(run.sine_block(-30) == fresh.sine_block(-30));
}

TEST_CASE(
    "a window that the library cannot serve leaves unity, and a step shorter than a block ends the process") {
  Run run({-20, 100, 100, 400, 100}, 40);
  run.retune(3, 44739);  // 40 channels of 2147472 samples
  CHECK(run.after(100, -30) == 1.0);
  run.retune(3, 400);
  CHECK(run.after(200, -30) != 1.0);
  const auto outcome = in_child([&] {
    run.retune(4, 9);  // 432 samples, shorter than a block
    run.process();
  });
  CHECK(outcome.status == kExitMinusOne);
  CHECK(logged(outcome.err, "AutoGain_Process", "frameLen is greater than steps! 0\n\n"));
}
