// What a `bit_rate` of 16, 24 or 32 means to the effects: samples are floats at the integer scale of the PCM.
#pragma once

namespace common {

struct SampleFormat {
  float clip_level;      // the magnitude of the most negative sample: 2^15, 2^23 or 2^31
  float log_full_scale;  // log10 of it
};

// Null for any other bit rate.
inline const SampleFormat* sample_format(int bit_rate) {
  static const SampleFormat k16{32768.0f, 4.51545f}, k24{8388608.0f, 6.9236898f},
      k32{2147483648.0f, 9.33193f};
  return bit_rate == 16 ? &k16 : bit_rate == 24 ? &k24 : bit_rate == 32 ? &k32 : nullptr;
}

}  // namespace common
