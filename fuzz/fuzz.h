// What the fuzz targets share: input read as numbers, and documented process ends as exceptions.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zelkaudio_effect_eqdrc.h"

namespace fuzz {

// Thrown in place of the library's exit(-1).
struct DocumentedEnd {};

// Runs `work` up to its end or a documented process end; true if it came to its own end.
template <class Work>
bool completes(Work work) {
  try {
    work();
    return true;
  } catch (const DocumentedEnd&) {
    return false;
  }
}

// The fuzzer's bytes as a stream of numbers; zeros follow its end.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : at_(data), left_(size) {}
  bool empty() const { return left_ == 0; }

  template <class T>
  T raw() {
    T value{};
    const size_t n = left_ < sizeof value ? left_ : sizeof value;
    if (n != 0) std::memcpy(&value, at_, n);
    at_ += n, left_ -= n;
    return value;
  }
  int below(int count) { return raw<uint8_t>() % count; }
  // Mostly small and plausible, sometimes any 32 bits.
  int32_t integer() {
    const int kind = below(8);
    return kind == 0 ? raw<int32_t>() : kind == 1 ? -below(4) : below(8);
  }
  // Mostly within what settings are made of, sometimes any 32 bits.
  float number() {
    const uint8_t kind = raw<uint8_t>();
    if (kind < 64) return raw<float>();
    if (kind < 128) return static_cast<float>(raw<int8_t>());  // dB, flags, counts
    return static_cast<float>(raw<uint16_t>()) * 0.5f;         // Hz, ms
  }
  std::vector<float> numbers(int count) {
    std::vector<float> values(static_cast<size_t>(count));
    for (float& v : values) v = number();
    return values;
  }

 private:
  const uint8_t* at_;
  size_t left_;
};

// A tuning record of arbitrary floats. Most choices make it one that Init accepts, so that mutations reach the effects.
inline std::vector<float> record(Input& input, uint8_t choices) {
  std::vector<float> record(AUDIOPOST_PARAM_LENGTH);
  for (float& v : record) v = input.raw<float>();
  if (choices & 1) record[AUDIOPOST_TOOL_VERSION] = 2.0f;
  if (choices & 2) record[AUDIOPOST_BIT_RATE] = choices & 4 ? 16.0f : 24.0f;
  if (choices & 8) record[AUDIOPOST_CHANNELS] = choices & 16 ? 1.0f : 2.0f;
  if (choices & 32) record[AUDIOPOST_SAMPLE_RATE] = 48000.0f;
  if (choices & 64) std::fill_n(&record[AUDIOPOST_AUTOGAIN_ENABLE], 8, 1.0f);
  if (choices & 128)
    std::fill_n(&record[AUDIOPOST_AUTOGAIN_SECTION + AUDIOPOST_AUTOGAIN_R128_WINS], 2, 400.0f);
  return record;
}

// What a host's buffers hold: the channels of the record it began with, whatever a later one says.
inline int channels_of(const std::vector<float>& record) {
  return record[AUDIOPOST_CHANNELS] > 0 ? static_cast<int>(std::min(record[AUDIOPOST_CHANNELS], 1024.0f)) : 0;
}

}  // namespace fuzz
