// sound_level PCM: peak, RMS and crest factor of a raw file of stereo 16-bit samples, in one line.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  std::FILE* file = argc == 2 ? std::fopen(argv[1], "rb") : nullptr;
  if (!file) {
    std::fputs("usage: sound_level PCM\n", stderr);
    return EXIT_FAILURE;
  }
  std::array<int16_t, 4096> samples;
  double peak = 0, squares = 0, count = 0;
  for (size_t n; (n = std::fread(samples.data(), sizeof(int16_t), samples.size(), file)) > 0;) {
    for (size_t i = 0; i < n; ++i) {
      const double x = samples[i] / 32768.0;
      peak = std::max(peak, std::fabs(x));
      squares += x * x;
    }
    count += static_cast<double>(n);
  }
  std::fclose(file);
  const double peak_dB = 20 * std::log10(peak), rms_dB = 10 * std::log10(squares / std::max(count, 1.0));
  std::printf("peak %6.2f dBFS   RMS %6.2f dBFS   crest factor %5.2f dB\n", peak_dB, rms_dB,
              peak_dB - rms_dB);
  return EXIT_SUCCESS;
}
