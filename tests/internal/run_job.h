// One job alone through an instruction set's kernels.
#pragma once

#include "lanes/block.h"

inline void run_job(const lanes::Target& target, const lanes::Kind& kind, void* job, int n) {
  static lanes::Scratch scratch;
  const lanes::Target& before = lanes::target();
  lanes::use_target(target);
  lanes::Block block(n, scratch);
  block.join(kind, job);
  block.finish();
  lanes::use_target(before);
}
