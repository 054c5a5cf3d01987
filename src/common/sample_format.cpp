#include "common/sample_format.h"

#include "common/log.h"

const common::SampleFormat* common::sample_format(int bit_rate, const char* function) {
  static const SampleFormat k16{32768.0f, 4.51545f}, k24{8388608.0f, 6.9236898f},
      k32{2147483648.0f, 9.33193f};
  if (bit_rate == 16) return &k16;
  if (bit_rate == 24) return &k24;
  if (bit_rate == 32) return &k32;
  LOG_LINE_AS(function, "bit_rate is wrong!\n");
  return nullptr;
}

const common::SampleFormat* common::stereo_format(int channels, int bit_rate, const char* function) {
  if (channels > 2) {
    LOG_LINE_AS(function, "Too Many Channel!\n\n");
    end_process();
  }
  return sample_format(bit_rate, function);
}
