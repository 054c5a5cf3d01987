// What a `bit_rate` of 16, 24 or 32 means to the effects: samples are floats at the integer scale of the PCM.
#pragma once

namespace common {

struct SampleFormat {
  float clip_level;      // the magnitude of the most negative sample: 2^15, 2^23 or 2^31
  float log_full_scale;  // log10 of it
};

// The format of a bit rate; null for any other, after a message in the name of `function`.
const SampleFormat* sample_format(int bit_rate, const char* function);

// The same for an effect with room for two channels: more end the process, in the name of `function`.
const SampleFormat* stereo_format(int channels, int bit_rate, const char* function);

}  // namespace common
