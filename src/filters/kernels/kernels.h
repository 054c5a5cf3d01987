// The loops in which the time goes, once per instruction set. Effects call them through the one table; the readable
// form of each, which every other row equals bit for bit, is in plain.inl.
#pragma once

#include "zelkaudio_effect_eqdrc.h"

namespace filters {

struct BiquadPair;

// One channel of a cascade: sections in series, in place.
struct CascadeChannel {
  const BiquadCoeffs* coeffs;
  BiquadHistory* history;
  int sections;
  float* x;
};

// Where each entry of a 201-entry gain table begins, in terms of what the level's logarithm is taken of: entry k holds
// for begin[k] <= follower + 1 < begin[k + 1]. The index is a step function of that value, so a gain can be found, and
// kept, without a logarithm.
constexpr int kGainSteps = 201;
struct GainSteps {
  float begin[kGainSteps + 1];  // ascending, from 0 to infinity
  float gain[kGainSteps];       // table entry times the band scale, as rounded at run time
  // slope * log2(follower + 1) + offset is less than half an entry off the fractional index.
  float slope, offset;
  bool usable;  // false: only the logarithm itself answers exactly
};

// One band of a channel of the multi-band compressor.
struct MultibandBand {
  BiquadPair* path[2];  // the crossover's edges in series; null where it has fewer, or does not make the band
  float gain;           // make-up
  bool compressed;
  float attack, release;  // the share of the follower that one sample leaves
  const float* table;     // kGainSteps linear gains over a level in dB, as table_search takes them
  float table_start, table_inv_step;
  const GainSteps* steps;  // of table; those of all bands of all channels lie in one array
  float* envelope;         // the follower
  float* value;            // of the latest sample
};

struct MultibandChannel {
  MultibandBand band[4];  // low, high, middle 1, middle 2
  int bands;              // to run, 0 to 4
  int summed;             // a sum of 1, 2, 3 or more, or exactly 4 bands
  float band_scale;
  float full_scale_log10;
  const float* in;
  float* out;
};

// One row per instruction set. Callers hold a common::FlushDenormals.
struct Kernels {
  const char* name;
  bool (*runs_here)();

  void (*cascade)(const CascadeChannel* channels, int count, int n);
  void (*multiband)(const MultibandChannel* channels, int count, int n);  // one or two
};

extern const Kernels kKernelTable[];  // scalar first, widest last
extern const int kKernelCount;

// The widest row that runs here, chosen when the library is loaded.
const Kernels& kernels();
// Another row from now on, for tests and measurements. Not while anything is being processed.
void use_kernels(const Kernels& row);

}  // namespace filters
