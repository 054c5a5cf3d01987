// Streams of any block size through a chain that takes one block size only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "zelkaudio_effect_eqdrc.h"

namespace host {

// Interleaved 16-bit PCM in, the same out. Use either process(), or push() and finish(), not both on one
// object.
class BlockAdapter {
 public:
  //  chain     not owned; must outlive the adapter. Null passes the samples through, as AudioPost_Process
  //  does. channels  of the chain's record, 1 or more block     swFrmLen of the chain's Init, 1 or more
  BlockAdapter(AudioPostState* chain, int channels, int block);

  // For live streams: as many frames out as in, `latency()` frames late, silence before the first. Any number
  // of frames per call; in == out is fine. Does not allocate.
  void process(const int16_t* in, int16_t* out, int frames);
  int latency() const { return block_; }

  // For files, without latency: push appends every block that became whole, processed, to `out`.
  void push(const int16_t* in, int frames, std::vector<int16_t>& out);
  // Frames pushed that wait for their block to become whole.
  int pending() const { return filled_; }
  // Pads the last, partial block with silence, processes it and appends the part that the input filled: the
  // output is as long as the input.
  void finish(std::vector<int16_t>& out);

 private:
  void run_block();

  AudioPostState* const chain_;
  const int channels_, block_;
  int filled_ = 0;                 // frames of input in `in_`
  std::vector<int16_t> in_, out_;  // one block each; in process(), out_ is the block before
};

}  // namespace host
