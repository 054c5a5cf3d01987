#include "host/block_adapter.h"

#include <algorithm>

namespace host {

BlockAdapter::BlockAdapter(AudioPostState* chain, int channels, int block)
    : chain_(chain),
      channels_(channels),
      block_(block),
      in_(static_cast<size_t>(channels) * static_cast<size_t>(block)),
      out_(in_.size()) {}

void BlockAdapter::run_block() {
  if (chain_)
    AudioPost_Process(chain_, in_.data(), out_.data(), channels_, block_);
  else
    out_ = in_;  // of equal size: does not allocate
  filled_ = 0;
}

void BlockAdapter::process(const int16_t* in, int16_t* out, int frames) {
  while (frames > 0) {
    const int n = std::min(frames, block_ - filled_);
    const size_t at = static_cast<size_t>(filled_) * static_cast<size_t>(channels_);
    const size_t samples = static_cast<size_t>(n) * static_cast<size_t>(channels_);
    std::copy_n(in, samples, in_.begin() + static_cast<ptrdiff_t>(at));  // before out: they may be the same
    std::copy_n(out_.begin() + static_cast<ptrdiff_t>(at), samples, out);
    in += samples, out += samples, frames -= n, filled_ += n;
    if (filled_ == block_) run_block();
  }
}

void BlockAdapter::push(const int16_t* in, int frames, std::vector<int16_t>& out) {
  while (frames > 0) {
    const int n = std::min(frames, block_ - filled_);
    const ptrdiff_t at = static_cast<ptrdiff_t>(filled_) * channels_;
    const size_t samples = static_cast<size_t>(n) * static_cast<size_t>(channels_);
    std::copy_n(in, samples, in_.begin() + at);
    in += samples, frames -= n, filled_ += n;
    if (filled_ < block_) return;
    run_block();
    out.insert(out.end(), out_.begin(), out_.end());
  }
}

void BlockAdapter::finish(std::vector<int16_t>& out) {
  if (filled_ == 0) return;
  const ptrdiff_t samples = static_cast<ptrdiff_t>(filled_) * channels_;
  std::fill(in_.begin() + samples, in_.end(), int16_t{0});
  run_block();
  out.insert(out.end(), out_.begin(), out_.begin() + samples);
}

}  // namespace host
