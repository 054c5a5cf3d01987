#include "analysis/signals.h"

#include <cmath>

#include "host/design.h"

namespace analysis {

using host::kPi;

Signal sine(double amplitude, double hz, double sample_rate) {
  return [=](int frame) { return amplitude * std::sin(2 * kPi * hz * frame / sample_rate); };
}

Signal square(double amplitude) {
  return [=](int frame) { return frame & 16 ? -amplitude : amplitude; };
}

std::vector<double> sweep_period(int sample_rate) {
  std::vector<double> x(kSweepLength);
  const double w1 = 2 * kPi * 10.0 / sample_rate, span = std::log(kPi / w1) / kSweepLength;
  for (int i = 0; i < kSweepLength; ++i)
    x[static_cast<size_t>(i)] = std::sin(w1 / span * std::expm1(span * i));
  return x;
}

Player::Player(Processor process, Signal signal, int channels)
    : process_(std::move(process)),
      signal_(std::move(signal)),
      block_(static_cast<size_t>(channels), std::vector<float>(kMeasureBlock)) {}

const std::vector<std::vector<float>>& Player::next() {
  for (float& x : block_.front()) x = static_cast<float>(signal_(frame_++));
  std::vector<float*> pointers;
  for (auto& channel : block_) {
    if (&channel != &block_.front()) channel = block_.front();
    pointers.push_back(channel.data());
  }
  process_(pointers.data(), kMeasureBlock);
  return block_;
}

std::vector<float> Player::settled(double frames, size_t keep) {
  std::vector<float> out;
  while (static_cast<double>(out.size()) < frames + static_cast<double>(keep) ||
         out.size() < 2 * kMeasureBlock) {
    const std::vector<float>& block = next().front();
    out.insert(out.end(), block.begin(), block.end());
  }
  return {out.end() - static_cast<std::ptrdiff_t>(keep), out.end()};
}

}  // namespace analysis
