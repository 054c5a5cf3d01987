// The chain taken apart: its effects run one at a time through their own functions, so that a caller can see what
// each does.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "host/fields.h"

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

// Processes a block in place: an array of one pointer per channel to so many frames.
using Processor = std::function<void(float** channels, int frames)>;

// An effect's handle that ends with its last owner. Throws std::runtime_error for the null of an Init that refuses.
template <class State, class Destroy>
std::shared_ptr<State> own(State* state, Destroy destroy) {
  if (!state) throw std::runtime_error("an effect cannot be created from this tuning");
  return {state, destroy};
}
template <auto Process, class State>
Processor processor(const std::shared_ptr<State>& state) {
  return [state](float** channels, int frames) { Process(state.get(), channels, channels, frames); };
}
template <auto Process, class State, class Destroy>
Processor processor(State* state, Destroy destroy) {
  return processor<Process>(own(state, destroy));
}

// The settings of an effect for a channel, as its Init takes them.
inline const float* settings(const host::Record& record, audiopost_effect effect, int channel) {
  return record.data() + host::settings_start(record, effect, channel);
}

// The same effects on the same settings, giving the same samples as a chain, for one or two channels.
class Stages {
 public:
  Stages(const host::Record& record, int block);

  // Processes one whole block of interleaved PCM. `after` hears of the block as it enters, after the channel gain
  // (AUDIOPOST_EFFECT_CHAIN), and as it leaves each stage.
  using Listener = std::function<void(audiopost_effect stage, float* const* channels)>;
  void process(const int16_t* pcm, const Listener& after);
  // The block as it left the last stage, not yet clamped to 16 bit.
  const std::vector<std::vector<float>>& output() const { return buffers_; }

 private:
  int block_;
  std::vector<float> gains_;
  std::vector<std::vector<float>> buffers_;
  std::vector<float*> channels_;
  std::vector<std::pair<audiopost_effect, Processor>> stages_;
};

// The gain of one stage over a programme, in dB: the level that left it against the level that entered.
struct StageGain {
  audiopost_effect stage;
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
