// The chain taken apart: its effects run one at a time through their own functions, so that a caller can see what
// each does.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "analysis/design.h"

namespace analysis {

// Keeps the library's banner and listings off standard error while it lives.
class QuietLibrary {
 public:
  QuietLibrary();
  ~QuietLibrary();
  QuietLibrary(const QuietLibrary&) = delete;
  QuietLibrary& operator=(const QuietLibrary&) = delete;

 private:
  int saved_;
};

// A chain that ends with its owner, created without a word; throws std::runtime_error when the library refuses.
using Chain = std::unique_ptr<AudioPostState, void (*)(AudioPostState*)>;
Chain make_chain(const host::Record& record, int block);

// The same effects on the same settings, giving the same samples as a chain, for one or two channels.
class Stages {
 public:
  Stages(const host::Record& record, int block);

  // Processes one whole block of interleaved PCM. `after` hears of the block as it enters, after the channel gain
  // (kInput), and as it leaves each stage.
  using Listener = std::function<void(Flag stage, float* const* channels)>;
  void process(const int16_t* pcm, const Listener& after);
  // The block as it left the last stage, not yet clamped to 16 bit.
  const std::vector<std::vector<float>>& output() const { return buffers_; }

 private:
  struct Stage {
    Flag flag;
    std::shared_ptr<void> effect;
    int (*process)(void* effect, float** in, float** out, int n);
  };
  template <auto Process, class State>
  void add(Flag flag, const std::shared_ptr<State>& effect);

  int block_;
  std::vector<float> gains_;
  std::vector<std::vector<float>> buffers_;
  std::vector<float*> channels_;
  std::vector<Stage> stages_;
};

// The gain of one stage over a programme, in dB: the level that left it against the level that entered.
struct StageGain {
  Flag flag;
  const char* name;
  std::vector<double>
      series;  // one value a block; NaN where what entered was below -60 dBFS, and in a limiter's opening
  // Over the blocks that have a value; NaN when none has.
  double lowest() const, mean() const, highest() const;
};

// Follows the stages that ride the level (auto gain, compressor, AGC, limiter) through a programme.
class GainTrace {
 public:
  GainTrace(const host::Record& record, int block);
  void add(const int16_t* pcm);  // one whole block
  const std::vector<StageGain>& gains() const { return gains_; }
  int64_t clipped() const { return clipped_; }  // output samples that the chain had to clamp

 private:
  bool opens(double limiter_dB);

  Stages stages_;
  int block_;
  double bound_;
  double opening_dB_;  // the limiter's gain so far; infinite when it is open
  std::vector<StageGain> gains_;
  int64_t clipped_ = 0;
};

}  // namespace analysis
