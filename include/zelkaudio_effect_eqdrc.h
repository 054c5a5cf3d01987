/** libzelkaudio_effect_eqdrc: an effect chain for Linux devices that play sound. Plain C, also usable from C++.
 *
 * A host creates a chain from a tuning record with AudioPost_Init, passes every block of interleaved 16-bit
 * PCM through AudioPost_Process, and ends it with AudioPost_Destroy. The effects and their parts can also be
 * used alone.
 *
 * Conventions that hold for every function below unless it says otherwise:
 *   - Samples between effects are float32 at the integer scale of the PCM: a 16-bit sample 1000 is 1000.0f.
 *     `float**` is an array of one pointer per channel. Input and output may be the same buffers.
 *   - A `section` is the address of the effect's first float in the tuning record (docs/tuning-record.md).
 *     Integers in it are floats, truncated toward zero. Nothing keeps a pointer to it.
 *   - bit_rate is the word width of the PCM, 16, 24 or 32; sample_rate is in Hz; times are in ms; levels in
 *     dB are relative to full scale.
 *   - A handle belongs to one thread at a time; different handles are independent. Retuning must not overlap
 *     processing on the same handle.
 *   - Process functions neither allocate, lock, log nor wait. They may treat denormal numbers as zero.
 *   - Init returns null for a wrong bit_rate (after a message), when memory runs out, and for more than 1024
 *     channels or 2^26 samples in a block of all channels. Destroy returns 0, or -3 for a null handle.
 *   - Messages go to standard error. Where a function is said to end the process, it does so with exit(-1)
 *     after one.
 *   - A channel or band number outside the handle's range changes nothing.
 */
#ifndef ZELKAUDIO_EFFECT_EQDRC_H
#define ZELKAUDIO_EFFECT_EQDRC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ==== Tuning record =================================================================================== */

/** Floats in a tuning record, which is 2000 bytes of little-endian float32 in memory and on disk. */
#define AUDIOPOST_PARAM_LENGTH 500

/** The whole configuration of a chain; docs/tuning-record.md gives its layout. */
typedef float AudioPostParam[AUDIOPOST_PARAM_LENGTH];

/* ==== Effect chain ==================================================================================== */

/** A chain: one instance of every enabled effect, and the buffers it works in. */
typedef struct AudioPostState AudioPostState;

/** Creates a chain.
 *  param     the tuning record: AUDIOPOST_PARAM_LENGTH floats, copied
 *  swFrmLen  frames in each later block, fixed for the chain's life
 *  Prints a banner and then the settings of every effect it creates.
 *  Returns null, after a message, when param is null, the record's version is not within 0.0001 of 2.0 or
 *  its bit_rate is not 16, 24 or 32; and silently when memory runs out (see above for what counts as too
 *  much). An effect that does not allow the record's channel count (most allow two) or an EQ filter type
 *  that is unknown ends the process. */
AudioPostState* AudioPost_Init(const float* param, int32_t swFrmLen);

/** Processes one block.
 *  input, output  interleaved signed 16-bit PCM: frames x channels samples (channels of the record); may
 *                 be the same
 *  channels_hint  ignored; the record's channel count holds
 *  frames         must be the swFrmLen of Init, or the process ends
 *  Each sample is scaled by its channel's gain, passed through the effects whose enable flag is exactly
 *  1, clamped to the range of the bit_rate and truncated toward zero; its low 16 bits are the output.
 *  With a bit_rate of 24 or 32 the PCM is 16 bits wide all the same. Does nothing for a null handle. */
void AudioPost_Process(AudioPostState* state, const int16_t* input, int16_t* output, int32_t channels_hint,
                       int32_t frames);

/** Ends a chain and releases everything it owns; null is allowed. */
void AudioPost_Destroy(AudioPostState* state);

/* ==== Biquad section ================================================================================== */

/** H(z) = (b0 + b1 z^-1 + b2 z^-2) / (1 + a1 z^-1 + a2 z^-2); a0 is divided out. */
typedef struct BiquadCoeffs {
  float b0, b1, b2, a1, a2;
} BiquadCoeffs;

/** Memory of a section in transposed direct form II; zero when fresh. */
typedef struct BiquadHistory {
  float s1, s2;
} BiquadHistory;

/** A section with storage of its own. */
typedef struct BiquadFilter {
  BiquadCoeffs* coeffs; /**< five floats, owned */
  float* history;       /**< four floats, owned; the first two are a BiquadHistory, the others stay 0 */
} BiquadFilter;

/** A new section with all coefficients and history 0 (it answers 0 to everything), or null without
 *  memory. */
BiquadFilter* biquad_init(void);
/** Releases a section; returns 0, for null too. */
int biquad_destroy(BiquadFilter* filter);
/** Clears the history; the coefficients stay. */
void biquad_reset(BiquadFilter* filter);
/** Copies five floats b0, b1, b2, a1, a2 into the section; the history stays, so a running signal goes
 *  on. */
void biquad_setCoefficients(BiquadFilter* filter, const float* coeffs);
/** One second-order step. Evaluated, like every biquad of the library, as
 *  y = fma(b0, x, s1);  s1 = s2 + fma(-a1, y, b1 * x);  s2 = fma(-a2, y, b2 * x). */
float biquad_processAudioSample(BiquadFilter* filter, float x);
/** One first-order step, y = fma(b0, x, s1);  s1 = fma(-a1, y, b1 * x). b2, a2 and s2 take no part. */
float biquad_1st_processAudioSample(BiquadFilter* filter, float x);
/** The second-order step on storage of the caller's: coeffs is five floats (BiquadCoeffs), history two
 *  (BiquadHistory). Returns y. */
float update_biquad_filter(const float* coeffs, float* history, float x);

/* ==== Filter design =================================================================================== */

/** What filter_calculateCoeffs designs, and what its q argument means. Sources: codes 0 to 5, R.
 *  Bristow-Johnson, "Cookbook formulae for audio EQ biquad filter coefficients"; codes 6 and 7, the
 *  second-order Butterworth prototype under the bilinear transform. */
typedef enum FilterType {
  Parametric = 0,    /**< peaking bell; q is Q, 0.01 ... 16 */
  LowShelf = 1,      /**< q is the shelf slope S, 0.01 ... 2 */
  HighShelf = 2,     /**< q is the shelf slope S, 0.01 ... 2 */
  GeneralLP = 3,     /**< resonant low-pass; q is Q, 0.01 ... 16 */
  GeneralHP = 4,     /**< resonant high-pass; q is Q, 0.01 ... 16 */
  BandPass = 5,      /**< 0 dB at the centre; q is the bandwidth in octaves, 0.01 ... 11 */
  ButterworthLP = 6, /**< q is not used */
  ButterworthHP = 7  /**< q is not used */
} FilterType;

/** Designs one section.
 *  coeffs       receives b0, b1, b2, a1, a2
 *  type         a FilterType; any other code ends the process
 *  sample_rate  Hz
 *  fc           corner, centre or shelf mid-point, Hz; not checked: at 0 Hz or above sample_rate / 2 the
 *               formulas run as they stand
 *  q            clamped to the range of the type; NaN becomes the upper end
 *  gain_db      clamped to -20 ... 20 dB, NaN becomes 20; for codes 0 to 2 the gain of the bell or shelf,
 *               for codes 3 to 5 of the whole filter. For codes 6 and 7 pass 0: any other gain scales the
 *               feedback as well. */
void filter_calculateCoeffs(float* coeffs, int type, float sample_rate, float fc, float q, float gain_db);

/* ==== Crossover ======================================================================================= */

/** What a crossover is made from. Frequencies in Hz, used as they are. */
typedef struct CrossoverParam {
  int32_t mid_bands;  /**< 0, 1 or 2 middle bands beside low and high; default 0 */
  float low_fc;       /**< upper edge of the low band; 250 */
  float high_fc;      /**< lower edge of the high band; 3000 */
  float mid1_low_fc;  /**< 250 */
  float mid1_high_fc; /**< 1000 */
  float mid2_low_fc;  /**< 1000 */
  float mid2_high_fc; /**< 3000 */
} CrossoverParam;

/** A Linkwitz-Riley filter bank, 24 dB/octave: every edge is two identical second-order Butterworth
 *  sections in series, -6 dB at the corner (S. Linkwitz, "Active Crossover Networks for Noncoincident
 *  Drivers", JAES 24:1, 1976). Every band is filtered from the input on its own; a gap between two bands'
 *  edges stays a gap. */
typedef struct CrossoverFilter CrossoverFilter;

/** The defaults, to be freed with free(); null, after a message, without memory. */
CrossoverParam* Filters_Crossover_paramInit(void);
/** Creates a filter bank for any number of channels; a null param means the defaults. mid_bands is fixed
 *  from here on. Null without memory. */
CrossoverFilter* Filters_Crossover_filterInit(int sample_rate, int channels, const CrossoverParam* param);
/** Sets the six frequencies (not mid_bands) and clears every history: all bands restart from silence. */
void Filters_Crossover_filterSetParam(CrossoverFilter* filter, const CrossoverParam* param);
/** Splits one sample of each channel.
 *  in   one float per channel
 *  out  2 + mid_bands floats per channel, in the order low, high, middle 1, middle 2. A mid_bands below 0
 *       leaves less room and only what fits is written; above 2, middle 1 is the last band written. */
void Filters_Crossover_filterProcess(CrossoverFilter* filter, const float* in, float* out);
/** Returns 0, or -3 for null. */
int Filters_Crossover_filterDestroy(CrossoverFilter* filter);

/* ==== EQ10: ten-band equalizer ======================================================================== */

/** Up to ten filters in series per channel, in ascending band order, for any number of channels. */
typedef struct EQ10State EQ10State;

/** Creates an equalizer.
 *  section       a record of 50 floats per channel (one for all channels when channel_link is not 0):
 *                ten bands of
 *                  enable  0 is off, 1 is on
 *                  type    a FilterType; an unknown one in a band that is on ends the process
 *                  fc      Hz
 *                  Q       Q, shelf slope or bandwidth in octaves, by type
 *                  boost   gain in dB
 *                used as filter_calculateCoeffs uses them. Null: all bands off, audio passes unchanged.
 *  bit_depth     kept, not used: any value will do
 *  frame_length  the most samples per channel in a call; also how much EQ10_GetData returns
 *  channel_link  not 0: every channel has channel 0's settings, and a history of its own
 *  Any other enable value turns the band on too, but a channel runs as many filters as its ten values add
 *  up to, counting from where the channel before it ended: beyond its own it takes those of the channels
 *  that follow. */
EQ10State* EQ10_Init(const float* section, int bit_depth, int sample_rate, int channels, int frame_length,
                     int channel_link);
/** Filters n samples of each channel, n at most frame_length; of a longer block, EQ10_GetData keeps the
 *  beginning. Returns the channel count. */
int EQ10_Process(EQ10State* state, float** in, float** out, int n);
/** Sets all bands from a section. Running filters go on without a click: the k-th filter that is on keeps
 *  the history of the one that was k-th before, whichever band that was. Returns the channel count. */
int EQ10_SetPara(EQ10State* state, const float* section);
/** Writes 50 floats per channel in the layout of the section, also when the channels are linked. */
void EQ10_GetPara(const EQ10State* state, float* section);
/** Copies the latest block before (in_dst) and after (out_dst) the equalizer, frame_length samples per
 *  channel; after a shorter block the rest is from earlier ones. Returns the channel count, 0 for a null
 *  state. */
int EQ10_GetData(const EQ10State* state, float** in_dst, float** out_dst);
/** Prints the settings of every band whose enable is exactly 1. */
void EQ10_PrintPara(const EQ10State* state);
/** Returns 0, or -3 for null. */
int EQ10_Destroy(EQ10State* state);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
