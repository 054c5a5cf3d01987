// The test signals, and how they are played through what is measured.
#pragma once

#include <functional>
#include <vector>

#include "analysis/stages.h"

namespace analysis {

// Frames in each block of everything that is measured here.
constexpr int kMeasureBlock = 1024;

using Signal = std::function<double(int frame)>;
Signal sine(double amplitude, double hz, double sample_rate);
Signal square(double amplitude);  // 32 frames long: a block holds whole periods

// One period of an exponential sweep from 10 Hz to half the sample rate, amplitude 1.
constexpr int kSweepLength = 1 << 17;  // 2.7 s at 48 kHz, bins 0.37 Hz apart
std::vector<double> sweep_period(int sample_rate);

// Plays a signal on every channel of a processor, block by block.
class Player {
 public:
  Player(Processor process, Signal signal, int channels = 1);
  const std::vector<std::vector<float>>& next();  // the next block of each channel as it came out
  // The last `keep` frames of the first channel, when at least so many others have gone before.
  std::vector<float> settled(double frames, size_t keep);

 private:
  const Processor process_;
  const Signal signal_;
  std::vector<std::vector<float>> block_;
  int frame_ = 0;
};

}  // namespace analysis
