#include "lanes/block.h"

#include <algorithm>

namespace lanes {

Scratch::Scratch(int wanted) : frames(std::clamp(wanted, 1, kMostFrames)) {
  const size_t row = static_cast<size_t>(frames), pair_row = 2 * (row + kHead + kTail);
  memory_.resize(kPairs * pair_row + std::size(rows) * row);
  float* at = memory_.data();
  for (float*& p : pairs) p = at + ptrdiff_t{2 * kHead}, at += pair_row;
  for (float*& r : rows) r = at, at += row;
}

void Block::join(const Kind& kind, void* job) {
  if (count == kMostWaiting) finish();
  waiting[count++] = {&kind, job};
}

// The copies lie where the meter puts nothing before it has read them.
void Block::keep_inputs(const float*& in0, const float*& in1) {
  const bool mono = &in0 == &in1;
  if (frames < 1 || frames > scratch.frames) return;
  for (int i = 0; i < count; ++i)
    if (waiting[i].kind->only_reads) {
      finish();
      break;
    }
  in0 = std::copy_n(in0, frames, scratch.rows[0]) - frames;
  if (!mono) in1 = std::copy_n(in1, frames, scratch.rows[1]) - frames;
}

}  // namespace lanes
