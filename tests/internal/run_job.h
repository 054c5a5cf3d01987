// The instruction sets' rows of kernels: each that runs here in turn, and one job alone through one of them.
#pragma once

#include <string>

#include "common/flush_denormals.h"
#include "lanes/block.h"
#include "support.h"

inline const lanes::Target& scalar() { return *lanes::kTargets[0]; }

// Calls check(row) for each row, from `first` on, that this machine runs, with the row in use.
template <class Check>
void for_each_row(Check check, int first = 0) {
  const lanes::Target& before = lanes::target();
  const common::FlushDenormals flush;
  for (int row = first; row < lanes::kTargetCount; ++row) {
    const lanes::Target& kernels = *lanes::kTargets[row];
    if (!kernels.runs_here()) continue;
    CAPTURES(std::string(kernels.name));
    lanes::use_target(kernels);
    check(kernels);
  }
  lanes::use_target(before);
}

inline void run_job(const lanes::Target& target, const lanes::Kind& kind, void* job, int n) {
  static lanes::Scratch scratch;
  const lanes::Target& before = lanes::target();
  lanes::use_target(target);
  lanes::Block block(n, scratch);
  block.join(kind, job);
  block.finish();
  lanes::use_target(before);
}
