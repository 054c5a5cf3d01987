// Static gain curves, sampled once when settings change and looked up at run time.
#pragma once

#include <array>

#include "zelkaudio_effect_eqdrc.h"

namespace dynamics {

constexpr int kLastEntry = 200;
using GainTable = std::array<float, kLastEntry + 1>;  // linear gains, equally spaced in dB of input level

// The corners of the expander/compressor curve, dB; max_gain is a gain, the others are levels.
struct CurvePoints {
  float noise_threshold, expand_end, compress_start, max_gain, max_peak;
};

// Whether the curve rises through its corners in turn. Settings that do not are warned about and used all the
// same. NaN passes.
bool in_order(const CurvePoints& points);

// The compressor curve from 4 dB below noise_threshold up to `end` dB. start and scale receive what
// table_search needs beside the table.
void build_compressor_table(const CurvePoints& points, float end, GainTable& table, float& start,
                            float& scale);

// The entry that table_search answers with.
int table_entry(int last, float x, float start, float scale);

// The limiter curve for `threshold` dB, every entry times `factor`.
void build_limiter_table(float threshold, float factor, GainTable& table, float& start, float& scale);

}  // namespace dynamics
