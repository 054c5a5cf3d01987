// Interleaved 16-bit PCM to planar floats, and back.
#pragma once

#include "common/numeric.h"
#include "lanes/lanes.h"

#if defined(TARGET)
namespace TARGET {
namespace {

[[maybe_unused]] void plain_from_pcm(const int16_t* in, const float* gains, float* const* out, int channels,
                                     int n) {
  for (int ch = 0; ch < channels; ++ch) {
    const int16_t* from = in + ch;
    for (int i = 0; i < n; ++i, from += channels) out[ch][i] = static_cast<float>(*from) * gains[ch];
  }
}

[[maybe_unused]] void plain_to_pcm(const float* const* in, float bottom, float top, int16_t* out,
                                   int channels, int n) {
  for (int ch = 0; ch < channels; ++ch) {
    int16_t* to = out + ch;
    for (int i = 0; i < n; ++i, to += channels) {
      float y = in[ch][i] < top ? in[ch][i] : top;
      y = y > bottom ? y : bottom;
      *to = static_cast<int16_t>(static_cast<uint16_t>(common::truncate_to_int(static_cast<double>(y))));
    }
  }
}

#if defined(LANES)

// A stereo frame is 32 bits, the left sample in the lower half.

void lanes_from_pcm(const int16_t* in, const float* gains, float* const* out, int channels, int n) {
  if (channels != 2) return plain_from_pcm(in, gains, out, channels, n);
  const Vec gain[2] = {Vec{} + gains[0], Vec{} + gains[1]};
  int i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    const Mask frames = load<Mask>(in + 2 * i);
    store(out[0] + i, __builtin_convertvector((frames << 16) >> 16, Vec) * gain[0]);
    store(out[1] + i, __builtin_convertvector(frames >> 16, Vec) * gain[1]);
  }
  float* const rest[2] = {out[0] + i, out[1] + i};
  plain_from_pcm(in + 2 * i, gains, rest, 2, n - i);
}

void lanes_to_pcm(const float* const* in, float bottom, float top, int16_t* out, int channels, int n) {
  if (channels != 2) return plain_to_pcm(in, bottom, top, out, channels, n);
  const Vec low = Vec{} + bottom, high = Vec{} + top;
  int i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    const Mask left = to_sample(load<Vec>(in[0] + i), low, high),
               right = to_sample(load<Vec>(in[1] + i), low, high);
    const Mask frames = frames_of(left, right);
    __builtin_memcpy(out + 2 * i, &frames, sizeof frames);
  }
  const float* const rest[2] = {in[0] + i, in[1] + i};
  plain_to_pcm(rest, bottom, top, out + 2 * i, 2, n - i);
}

#endif
}  // namespace
}  // namespace TARGET
#endif
