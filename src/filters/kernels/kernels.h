// The loops in which the time goes, once per instruction set. Effects call them through the one table; the readable
// form of each, which every other row equals bit for bit, is in plain.inl.
#pragma once

#include "zelkaudio_effect_eqdrc.h"

namespace filters {

// One channel of a cascade: sections in series, in place.
struct CascadeChannel {
  const BiquadCoeffs* coeffs;
  BiquadHistory* history;
  int sections;
  float* x;
};

// One row per instruction set. Callers hold a common::FlushDenormals.
struct Kernels {
  const char* name;
  bool (*runs_here)();

  void (*cascade)(const CascadeChannel* channels, int count, int n);
};

extern const Kernels kKernelTable[];  // scalar first, widest last
extern const int kKernelCount;

// The widest row that runs here, chosen when the library is loaded.
const Kernels& kernels();
// Another row from now on, for tests and measurements. Not while anything is being processed.
void use_kernels(const Kernels& row);

}  // namespace filters
