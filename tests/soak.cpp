// soak HOURS: runs the whole chain over that many hours of audio and fails when the last minute of it differs
// from the second in level, loudness gain or memory use: a drift, a leak or a counter that ran out. It prints
// each hour.
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/signal.h"
#include "full_record.h"

namespace {

constexpr int kFrames = 480, kChannels = 2;

struct Minute {
  double level_dB;
  size_t bytes;  // in use on the heap
};

Minute run_minute(AudioPostState* chain, const std::vector<int16_t>& pcm) {
  int16_t block[kFrames * kChannels];
  double sum = 0;
  for (size_t at = 0; at < pcm.size(); at += kFrames * kChannels) {
    AudioPost_Process(chain, pcm.data() + at, block, kChannels, kFrames);
    for (int16_t v : block) sum += double(v) * v;
  }
  return {support::to_dB(std::sqrt(sum / double(pcm.size()))), mallinfo2().uordblks};
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IONBF, 0);  // a buffer would count as growth
  const double hours = argc > 1 ? std::atof(argv[1]) : 1.0;
  const int minutes = std::max(3, int(std::lround(hours * 60)));
  const auto pcm = bench::music(60 * bench::kSampleRate);
  AudioPostState* chain = AudioPost_Init(support::full_record().data(), kFrames);
  if (!chain) return 1;

  Minute settled{}, last{};
  for (int m = 0; m < minutes; ++m) {
    last = run_minute(chain, pcm);
    if (m == 1) settled = last;  // the first minute is the auto gain finding its way
    if (m % 60 == 1 || m == minutes - 1)
      std::printf("minute %5d: %.4f dB, %zu bytes on the heap\n", m + 1, last.level_dB, last.bytes);
  }
  AudioPost_Destroy(chain);

  const double drift_dB = last.level_dB - settled.level_dB;
  const bool steady = std::fabs(drift_dB) < 0.1 && last.bytes == settled.bytes;
  std::printf("%d minutes: drift %.4f dB, growth %td bytes: %s\n", minutes, drift_dB,
              static_cast<std::ptrdiff_t>(last.bytes - settled.bytes), steady ? "steady" : "NOT STEADY");
  return steady ? 0 : 1;
}
