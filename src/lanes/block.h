// One block on its way through the effects: what waits for a loop, and the memory that loops work in.
#pragma once

#include <memory>
#include <vector>

#include "common/flush_denormals.h"
#include "lanes/target.h"

namespace lanes {

// Working memory of a handle, made at Init: loops keep whole blocks beside each other, which is more than a small
// thread's stack holds.
class Scratch {
 public:
  static constexpr int kMostFrames = 1024;
  // Frames of zeros behind a block, for the steps in which the last lanes finish, and before it, for lanes that are
  // started late.
  static constexpr int kTail = 32, kHead = 32;

  explicit Scratch(int wanted = kMostFrames);

  const int frames;  // in one pass; longer blocks are cut
  // Interleaved stereo: `frames` pairs, kHead pairs before them and kTail behind. The first is the block itself, the
  // second what passes from one effect to another or waits for a decision, the others are the meter's.
  enum { kBlock, kBetween, kMeter, kLeaving, kPairs };
  float* pairs[kPairs]{};
  float* rows[3]{};  // `frames` floats each
  // In the place of all pairs but the first: what passes between short passes, piece by piece of a block, so that it stays
  // in the first-level cache. An even number of frames of twelve values.
  float* pieces() const { return pairs[kBetween] - ptrdiff_t{2 * kHead}; }
  int piece_frames() const { return frames < 192 ? (frames + kHead + kTail) / 4 * 2 : 128; }

 private:
  std::vector<float> memory_;
};

// What an effect joins with. Each owns one of these; its address is what it is known by.
struct Kind {
  bool only_reads = false;  // changes no sample, so it may wait for a later loop with lanes to spare
};

// One or two channels of a kind.
template <class Channel>
struct Job {
  Channel channels[2];
  int count;
};

// Effects join in processing order, each with a kind and a job (a record of its own that it keeps alive until the block
// has run). Those that wait together may share a loop over the block: a loop with a recursion costs its latency, whatever
// it carries. The results are those of one effect after another. Whoever reads or writes samples itself calls run()
// first. While a block lives, denormals are flushed.
class Block {
 public:
  Block(int block_frames, Scratch& memory) : frames(block_frames), scratch(memory) {}
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  void join(const Kind& kind, void* job);
  // The same for a kind that only reads, of up to two channels, whose samples may change before its turn comes: makes
  // in[ch] point to a copy. A block that is too long to keep is run at once.
  template <class ReadingJob>
  void join_reading(const Kind& kind, ReadingJob& job) {
    keep_inputs(job.channels[0].in, job.channels[job.count - 1].in);
    join(kind, &job);
    if (frames > scratch.frames) finish();
  }
  void run() { target().run(*this, false); }
  void finish() { target().run(*this, true); }  // what only reads, too

  const int frames;
  Scratch& scratch;
  // For the target.
  struct Waiting {
    const Kind* kind;
    void* job;
  };
  static constexpr int kMostWaiting = 8;
  Waiting waiting[kMostWaiting]{};
  int count = 0;

 private:
  void keep_inputs(const float*& in0, const float*& in1);
  const common::FlushDenormals flush_;
};

// What the Process function of an effect does that joins: a block of its own.
template <class State>
int process_alone(State& s, void (*join)(State&, float** in, float** out, Block&), float** in, float** out,
                  int n) {
  Block block(n, *s.scratch);
  join(s, in, out, block);
  block.finish();
  return s.channels;
}

}  // namespace lanes
