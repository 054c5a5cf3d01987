// What the benchmarks play and the settings they use: the same programme on every machine, with notes, a beat and a noise floor, so that
// followers move and gains change as they do with music.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "zelkaudio_effect_eqdrc.h"

namespace bench {

constexpr int kSampleRate = 48000;

// Interleaved 16-bit stereo. Eight notes a second of four harmonics each, panned and decaying, over a kick drum and
// noise; peaks near -3 dBFS.
inline std::vector<int16_t> music(int frames) {
  std::vector<int16_t> pcm(static_cast<size_t>(frames) * 2);
  uint32_t random = 1;
  for (int i = 0; i < frames; ++i) {
    const int note = i / 6000, since = i % 6000;
    const double f = 110 * std::exp2(note * 7 % 24 / 12.0), t = since / double{kSampleRate};
    const double decay = std::exp(-6 * t), pan = 0.3 + 0.4 * (note % 3) / 2;
    double tone = 0;
    for (int h = 1; h <= 4; ++h) tone += std::sin(2 * M_PI * f * h * t) / h;
    const double beat = (i % 24000) / double{kSampleRate};
    const double kick = std::sin(2 * M_PI * 55 * beat) * std::exp(-12 * beat);
    random = random * 1664525u + 1013904223u;
    const double noise =
        (static_cast<double>(random >> 8) / 8388608.0 - 1) * (0.02 + 0.2 * std::exp(-40 * t));
    const double side[2] = {1 - pan, pan};
    for (size_t ch = 0; ch < 2; ++ch)
      pcm[2 * static_cast<size_t>(i) + ch] =
          static_cast<int16_t>(32767 * 0.7 * std::tanh(0.5 * kick + decay * tone * side[ch] + noise));
  }
  return pcm;
}

using Record = std::array<float, AUDIOPOST_PARAM_LENGTH>;

inline void put(Record& r, int index, std::initializer_list<float> values) {
  for (float v : values) r[static_cast<size_t>(index++)] = v;
}

// Stereo, 16 bit, every effect on: ten EQ bands, four bands compressed at 10 and 100 ms, the bass enhancer with its
// floor filter.
inline Record full_record() {
  Record r{};
  put(r, AUDIOPOST_SAMPLE_RATE, {kSampleRate, 16, 0, 2, 2});
  put(r, AUDIOPOST_AUTOGAIN_ENABLE, {1, 1, 1, 1, 1, 1, 1, 1});
  put(r, AUDIOPOST_GAIN_SECTION, {-3});
  put(r, AUDIOPOST_GAIN_SECTION + AUDIOPOST_GAIN_STRIDE, {-3});
  put(r, AUDIOPOST_AUTOGAIN_SECTION, {-18, 800, 400, 400, 100});  // loudness, attack, release, window, step
  for (int ch = 0; ch < 2; ++ch) {
    put(r, AUDIOPOST_BASS_SECTION + AUDIOPOST_BASS_STRIDE * ch,
        {-6, 1.5f, 4, 90, 1, 30});  // amount, drive, blend, split, floor
    put(r, AUDIOPOST_EXCITER_SECTION + AUDIOPOST_EXCITER_STRIDE * ch,
        {0.1f, 0.4f, 5000, 0.2f});  // bias, drive, corner, mix
    put(r, AUDIOPOST_DEESSER_SECTION + AUDIOPOST_DEESSER_STRIDE * ch,
        {6500, -38});  // sibilance around, above
    for (int band = 0; band < AUDIOPOST_EQ10_BANDS; ++band)
      put(r, AUDIOPOST_EQ10_SECTION + AUDIOPOST_EQ10_STRIDE * ch + AUDIOPOST_EQ10_BAND_STRIDE * band,
          {1, Parametric, 31.25f * std::exp2(static_cast<float>(band)), 0.9f, band % 2 ? 2.5f : -2.0f});
    const float edges[] = {20, 150, 900, 5000, 20000};
    const int bands[] = {AUDIOPOST_DRC_LOW, AUDIOPOST_DRC_MID1, AUDIOPOST_DRC_MID2, AUDIOPOST_DRC_HIGH};
    const int drc = AUDIOPOST_DRC_SECTION + AUDIOPOST_DRC_STRIDE * ch;
    put(r, drc + AUDIOPOST_DRC_CROSSOVER_BAND, {4});
    for (int band = 0; band < 4; ++band)  // edges, gain, on, five points, three times
      put(r, drc + bands[band], {edges[band], edges[band + 1], 12, 1, -24, -55, -70, 4, -3, 10, 100, 0});
    put(r, AUDIOPOST_MAXIMIZER_SECTION + AUDIOPOST_MAXIMIZER_STRIDE * ch,
        {-3, -1, 50, -20, -45, -60, 6, -2, 200, 400, 0});  // limiter, then AGC
  }
  return r;
}

}  // namespace bench
