// A record with every effect on at ordinary settings, for tests of the chain as a whole.
#pragma once

#include "support.h"

namespace support {

inline void put(Record& r, int index, std::initializer_list<float> values) {
  for (float v : values) r[static_cast<size_t>(index++)] = v;
}

inline Record full_record(int channels = 2, int bit_rate = 16, int sample_rate = 48000) {
  Record r = plain_record(channels, bit_rate, sample_rate);
  put(r, 10, {1, 1, 1, 1, 1, 1, 1, 1});
  put(r, 20, {-3});
  put(r, 25, {-2.5f});
  put(r, 30, {-18, 800, 400, 400, 100});  // auto gain: target, attack, release, window, step
  for (int ch = 0; ch < 2; ++ch) {
    put(r, 60 + 10 * ch,
        {-6, 1.5f, 4, 90, 1, 30});  // bass enhancer: amount, drive, blend, freq, floor on, floor
    put(r, 80 + 5 * ch, {0.1f, 0.4f, 5000, 0.2f});  // exciter: even harmonics, distortion, cutoff, mix
    put(r, 90 + 5 * ch, {6500, -38});               // de-esser: f0, threshold
    for (int band = 0; band < 10; ++band) {         // EQ: every type the equalizer names, then bells
      const float fc = 31.25f * std::exp2(static_cast<float>(band));
      const float gain = band % 2 ? 2.5f : -2.0f;
      const float type = band == 0 ? 4 : band == 1 ? 1 : band == 8 ? 2 : band == 9 ? 3 : 0;
      put(r, 100 + 50 * ch + 5 * band, {1, type, fc, 0.9f, type > 2 ? 0 : gain});
    }
    const float edges[5] = {20, 150, 900, 5000, 20000};
    put(r, 200 + 100 * ch, {4});
    for (int band = 0; band < 4;
         ++band)  // compressor, low to high: start, end, gain, on, five points, three times
      put(r, 210 + 100 * ch + 20 * band,
          {edges[band], edges[band + 1], 12, 1, -24, -55, -70, 4, -3, 10, 100, 0});
    put(r, 400 + 20 * ch, {-3, -1, 50, -20, -45, -60, 6, -2, 200, 400, 0});  // limiter, then AGC
  }
  return r;
}

}  // namespace support
