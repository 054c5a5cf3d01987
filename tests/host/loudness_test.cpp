// The loudness meter, held to the EBU's test signals.
#include "host/loudness.h"

#include <algorithm>

#include "support.h"

using host::LoudnessMeter;
using host::Programme;

namespace {

struct Tone {
  double seconds, level_dB;  // of the peak
};

// A stereo meter that has heard 1 kHz tones, one after another.
LoudnessMeter after_tones(const std::vector<Tone>& tones, int sample_rate) {
  LoudnessMeter meter(sample_rate, 2);
  for (const Tone& tone : tones) {
    std::vector<int16_t> pcm;
    const auto length = int(tone.seconds * sample_rate);
    for (const float x :
         support::sine(length, 1000.0, double(sample_rate), support::full_scale(tone.level_dB)))
      pcm.insert(pcm.end(), 2, int16_t(std::lround(x)));
    for (size_t at = 0; at < pcm.size(); at += 2000)
      meter.add(&pcm[at], int(std::min<size_t>(2000, pcm.size() - at) / 2));
  }
  return meter;
}

}  // namespace

TEST_CASE("integrated loudness and range of the EBU's test signals") {
  constexpr double kAny = -1;
  const struct {
    std::vector<Tone> tones;
    double lufs, lu;
  } rows[] = {
      {{{20, -23}}, -23, 0},  // EBU Tech 3341, cases 1 to 5
      {{{20, -33}}, -33, 0},
      {{{10, -36}, {60, -23}, {10, -36}}, -23, kAny},
      {{{10, -72}, {10, -36}, {60, -23}, {10, -36}, {10, -72}}, -23, kAny},
      {{{20, -26}, {20.1, -20}, {20, -26}}, -23, kAny},
      {{{20, -20}, {20, -30}}, kAny, 10},  // EBU Tech 3342, cases 1 to 4
      {{{20, -20}, {20, -15}}, kAny, 5},
      {{{20, -40}, {20, -20}}, kAny, 20},
      {{{20, -50}, {20, -35}, {20, -20}, {20, -35}, {20, -50}}, kAny, 15},
  };
  for (const int sample_rate : {48000, 44100})
    for (const auto& row : rows) {
      CAPTURES(sample_rate, row.tones.size(), row.tones[0].level_dB);
      const LoudnessMeter meter = after_tones(row.tones, sample_rate);
      if (row.lufs != kAny) CHECK(std::abs(meter.integrated() - row.lufs) <= 0.1);
      if (row.lu != kAny) CHECK(std::abs(meter.range() - row.lu) <= 1.0);
    }
}

TEST_CASE("true peak finds what lies between the samples") {
  // EBU Tech 3341, cases 15 to 19: the period in samples, the phase, the amplitude and the reading.
  const struct {
    double period, degrees, amplitude, dBTP;
  } rows[] = {{4, 0, 0.5, -6.02},
              {4, 45, 0.5, -6.02},
              {6, 60, 0.5, -6.02},
              {8, 67.5, 0.5, -6.02},
              {4, 45, 1.41, 3.0}};
  for (const auto& row : rows) {
    CAPTURES(row.period, row.degrees);
    LoudnessMeter meter(48000, 1);
    std::vector<int16_t> pcm;
    for (int i = 0; i < 4800; ++i) {  // faded in and out: a step would ring higher than the tone
      const double fade = std::min({1.0, i / 480.0, (4800 - i) / 480.0});
      pcm.push_back(int16_t(std::lround(32767 * fade * row.amplitude *
                                        std::sin(2 * M_PI * (i / row.period + row.degrees / 360)))));
    }
    meter.add(pcm.data(), 4800);
    const Programme p = meter.programme();
    CHECK(p.true_peak_dB <= row.dBTP + 0.2);
    CHECK(p.true_peak_dB >= row.dBTP - 0.4);
    CHECK(p.true_peak_dB >= p.sample_peak_dB);
  }
}

TEST_CASE("a programme's crest, rails and silence") {
  LoudnessMeter square(48000, 1), silence(48000, 2), nothing(48000, 2);
  const std::vector<int16_t> rails = {32767, -32768, 32767, -32768};
  for (int i = 0; i < 12000; ++i) square.add(rails.data(), 4);
  CHECK(square.programme().full_scale_samples == 48000);
  CHECK(std::abs(square.programme().crest_dB()) < 0.001);
  const std::vector<int16_t> zeros(96000);
  silence.add(zeros.data(), 48000);
  for (const LoudnessMeter* meter : {&silence, &nothing}) {
    CHECK(meter->integrated() == -INFINITY);
    CHECK(meter->programme().true_peak_dB == -INFINITY);
    CHECK(std::isnan(meter->range()));
  }
  LoudnessMeter short_tone = after_tones({{2.9, -20}}, 48000), constant(48000, 2);
  CHECK(std::isnan(short_tone.range()));
  const std::vector<int16_t> offset(2 * 48000 * 5, 8000);
  constant.add(offset.data(), 48000 * 5);
  CHECK(constant.momentary() == -INFINITY);  // what is left of the step is far below the gate
}
