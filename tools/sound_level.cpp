// sound_level PCM: peak, RMS, crest factor and loudness of a raw file of 48 kHz stereo 16-bit samples, in one line.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "zelkaudio_effect_eqdrc.h"

namespace {

constexpr int kSampleRate = 48000, kBlock = 480;
constexpr int kWindowMs = 400, kMeterMemory = 200;  // the meter remembers so many steps

std::vector<int16_t> read_samples(std::FILE* file) {
  std::vector<int16_t> samples, block(size_t{1} << 16);
  while (const size_t n = std::fread(block.data(), sizeof(int16_t), block.size(), file))
    samples.insert(samples.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(n));
  return samples;
}

// Integrated loudness in LUFS, by the library's meter with its steps just long enough to remember the whole file.
double loudness(const std::vector<int16_t>& samples) {
  const size_t frames = samples.size() / 2;
  const int step_ms = std::max(100, static_cast<int>(frames / (kSampleRate / 1000) / kMeterMemory) + 1);
  Ebur128State* const meter = ebur128_init(16, kSampleRate, 2, kWindowMs, step_ms);
  if (!meter) return std::nan("");
  float left[kBlock], right[kBlock];
  float* channels[] = {left, right};
  for (size_t start = 0; start + kBlock <= frames; start += kBlock) {
    for (size_t i = 0; i < kBlock; ++i) {
      left[i] = samples[2 * (start + i)];
      right[i] = samples[2 * (start + i) + 1];
    }
    ebur128_addframes(meter, channels, kBlock);
  }
  const double lufs = static_cast<double>(ebur128_gatedloudness(meter));
  ebur128_destroy(meter);
  return lufs;
}

}  // namespace

int main(int argc, char** argv) {
  std::FILE* const file = argc == 2 ? std::fopen(argv[1], "rb") : nullptr;
  if (!file) {
    std::fputs("usage: sound_level PCM\n", stderr);
    return EXIT_FAILURE;
  }
  const std::vector<int16_t> samples = read_samples(file);
  std::fclose(file);
  double peak = 0, squares = 0;
  for (const int16_t sample : samples) {
    const double x = sample / 32768.0;
    peak = std::max(peak, std::fabs(x));
    squares += x * x;
  }
  const double peak_dB = 20 * std::log10(peak);
  const double rms_dB = 10 * std::log10(squares / static_cast<double>(samples.size()));
  std::printf("peak %6.2f dBFS  RMS %6.2f dBFS  crest factor %5.2f dB  loudness %6.2f LUFS\n", peak_dB,
              rms_dB, peak_dB - rms_dB, loudness(samples));
  return EXIT_SUCCESS;
}
