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

// Where each entry of a 201-entry gain table begins, in terms of the follower: entry k holds for begin[k] <= follower <
// begin[k + 1]. The index is a step function of that value, so a gain can be found, and
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

// One channel of the bass enhancer.
struct BassChannel {
  BiquadPair *bass_lowpass, *main_highpass, *harmonic_lowpass, *harmonic_highpass;
  BiquadPair* floor_highpass;  // null when off
  float pos_offset, pos_bias, neg_offset, neg_bias, pos_const, neg_const, shaper_gain;
  float dc_coef;
  float *dc_prev_in, *dc_prev_out;
  float amount;
  float scale;  // full scale, a power of two
  const float* in;
  float* out;
};

// One channel of the exciter.
struct ExciterChannel {
  const BiquadCoeffs *pre, *post;
  BiquadHistory *pre_history, *post_history;
  float bias, drive, wet, dry;
  float scale;  // full scale, a power of two
  const float* in;
  float* out;
};

// One channel of the de-esser.
struct DeEsserChannel {
  const BiquadCoeffs *detector, *notch;
  BiquadHistory *detector_history, *notch_history;
  float gain;              // of the dry signal at the start of the block
  float inv_frame_length;  // share of the way to its target that a sample goes
  const float* in;
  float* out;
};

// One channel of the loudness meter.
struct MeterChannel {
  const BiquadCoeffs *shelf, *high_pass;
  BiquadHistory *shelf_history, *high_pass_history;
  float scale;  // full scale, a power of two of either sign
  float* sum;   // of the squares in the window
  const float* in;
};
struct MeterRing {
  float* squares;
  int size, position;
};

// One row per instruction set. Callers hold a common::FlushDenormals.
struct Kernels {
  const char* name;
  bool (*runs_here)();

  void (*cascade)(const CascadeChannel* channels, int count, int n);
  // One or two channels each.
  void (*multiband)(const MultibandChannel* channels, int count, int n);
  void (*bass)(const BassChannel* channels, int count, int n);
  void (*exciter)(const ExciterChannel* channels, int count, int n);
  // Adds each channel's mean square in the detector's band to one sum, in the order of channels and frames; asks
  // target(owner, channel, sum so far) for the gain to end the block with, and cross-fades into the notch.
  void (*de_esser)(const DeEsserChannel* channels, int count, int n,
                   float (*target)(void* owner, int channel, float energy), void* owner);
  // Two or three of bass enhancer, exciter and de-esser, null for one that is off, one after another; each takes what the
  // one before it gives out, of which only the last is written. Beside them, if there is one, the meter of as many
  // channels.
  void (*tone)(const BassChannel* bass, const ExciterChannel* exciter, const DeEsserChannel* de_esser,
               int count, int n, float (*target)(void* owner, int channel, float energy), void* owner,
               const MeterChannel* meter, MeterRing* ring);
  // A cascade and the compressor after it; between[ch], n long, takes what passes from one to the other. Beside them, if
  // there is one, the meter of as many channels.
  void (*cascade_multiband)(const CascadeChannel* cascade, float* const* between,
                            const MultibandChannel* multiband, int count, int n, const MeterChannel* meter,
                            MeterRing* ring);
  // Any number of channels. They take their places in the ring one after another.
  void (*meter)(const MeterChannel* channels, int count, int n, MeterRing& ring);

  float (*peak)(float peak, const float* x,
                int n);  // the largest of `peak` and all magnitudes; NaN doesn't count
  // Of one or two channels: 0 + x[0]^2 / n + x[1]^2 / n + ..., in this order.
  void (*mean_squares)(const float* const* x, int channels, int n, float* means);
  // gains[i] = gain after i + 1 additions of `step`, each rounded; the last of them is returned.
  float (*ramp)(float gain, float step, float* gains, int n);

  // 16-bit interleaved to planar floats times a gain per channel, and back: clamped to bottom ... top (NaN to top),
  // truncated toward zero, the low 16 bits of that.
  void (*from_pcm)(const int16_t* in, const float* gains, float* const* out, int channels, int n);
  void (*to_pcm)(const float* const* in, float bottom, float top, int16_t* out, int channels, int n);
};

extern const Kernels* const kKernelTable[];  // scalar first, widest last
extern const int kKernelCount;

// The widest row that runs here, chosen when the library is loaded.
const Kernels& kernels();
// Another row from now on, for tests and measurements. Not while anything is being processed.
void use_kernels(const Kernels& row);

}  // namespace filters
