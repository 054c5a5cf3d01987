/** libzelkaudio_effect_eqdrc: an effect chain for Linux devices that play sound. Plain C, fit for C++ too.
 *
 * A host creates a chain from a tuning record with AudioPost_Init, passes every block of interleaved 16-bit
 * PCM through AudioPost_Process, and ends it with AudioPost_Destroy. The effects and their parts can also be
 * used alone.
 *
 * Conventions that hold for every function below unless it says otherwise:
 *   - Samples between effects are float32 at the integer scale of the PCM: a 16-bit sample 1000 is 1000.0f.
 *     `float**` is an array of one pointer per channel. Input and output may be the same buffers; two
 *     channels may not share one, nor may one channel's output be another's input.
 *   - A `section` is the address of the effect's first float in the tuning record (docs/tuning-record.md).
 *     Integers in it are floats, truncated toward zero. Nothing keeps a pointer to it.
 *   - bit_rate is the word width of the PCM, 16, 24 or 32; sample_rate is in Hz; times are in ms; levels in
 *     dB are relative to full scale.
 *   - A handle belongs to one thread at a time; different handles are independent. Retuning must not overlap
 *     processing on the same handle.
 *   - Process functions neither allocate, lock, log nor wait. They may treat denormal numbers as zero.
 *   - Every function but the driver's main runs on a stack of 16 KiB.
 *   - Init returns null for a wrong bit_rate (after a message), when memory runs out, and for more than 1024
 *     channels or 2^26 samples in a block, or a meter's window, of all channels. Destroy returns 0, or -3 for
 *     a null handle.
 *   - Pointers must be valid, and aligned for their type, unless null is said to be allowed. With a count
 *     of frames below 1 no sample is read or written.
 *   - Messages go to standard error. Where a function is said to end the process, it does so with exit(-1)
 *     after one.
 *   - A channel or band number outside the handle's range changes nothing; on a linked handle every channel is
 *     adjusted whatever number is named.
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

/** Where things stand in a tuning record. A setting's index is its section's, plus the channel times the section's
 *  stride, plus the field's; the effects' own functions are given the section and read from its field 0 on:
 *
 *    tuning[AUDIOPOST_EQ10_ENABLE] = 1;
 *    tuning[AUDIOPOST_EQ10_SECTION + 1 * AUDIOPOST_EQ10_STRIDE + 3 * AUDIOPOST_EQ10_BAND_STRIDE + AUDIOPOST_EQ10_FC] = 80;
 *
 *  What each field means stands with its effect, units and ranges in docs/tuning-record.md. */
typedef enum AudioPostIndex {
  /* The chain's own. */
  AUDIOPOST_SAMPLE_RATE = 0,
  AUDIOPOST_BIT_RATE = 1,
  AUDIOPOST_CHANNEL_LINK = 2,
  AUDIOPOST_CHANNELS = 3,
  AUDIOPOST_TOOL_VERSION = 4,
  AUDIOPOST_AUTOGAIN_ENABLE = 10,
  AUDIOPOST_BASS_ENABLE = 11,
  AUDIOPOST_EXCITER_ENABLE = 12,
  AUDIOPOST_DEESSER_ENABLE = 13,
  AUDIOPOST_EQ10_ENABLE = 14,
  AUDIOPOST_DRC_ENABLE = 15,
  AUDIOPOST_AGC_ENABLE = 16,
  AUDIOPOST_MAXIMIZER_ENABLE = 17,
  AUDIOPOST_GAIN_SECTION = 20, /* one float a channel: its input gain in dB */
  AUDIOPOST_GAIN_STRIDE = 5,

  AUDIOPOST_AUTOGAIN_SECTION = 30,
  AUDIOPOST_AUTOGAIN_TARGET_I_DB = 0,
  AUDIOPOST_AUTOGAIN_ATTACK_TIME = 1,
  AUDIOPOST_AUTOGAIN_RELEASE_TIME = 2,
  AUDIOPOST_AUTOGAIN_R128_WINS = 3,
  AUDIOPOST_AUTOGAIN_R128_STEPS = 4,

  AUDIOPOST_BASS_SECTION = 60,
  AUDIOPOST_BASS_STRIDE = 10,
  AUDIOPOST_BASS_AMOUNT_DB = 0,
  AUDIOPOST_BASS_DRIVE = 1,
  AUDIOPOST_BASS_BLEND = 2,
  AUDIOPOST_BASS_FREQ = 3,
  AUDIOPOST_BASS_FLOOR_ACTIVE = 4,
  AUDIOPOST_BASS_FLOOR = 5,

  AUDIOPOST_EXCITER_SECTION = 80,
  AUDIOPOST_EXCITER_STRIDE = 5,
  AUDIOPOST_EXCITER_EVEN_HARMONICS = 0,
  AUDIOPOST_EXCITER_DISTORTION_AMOUNT = 1,
  AUDIOPOST_EXCITER_CUTOFF = 2,
  AUDIOPOST_EXCITER_MIX = 3,

  AUDIOPOST_DEESSER_SECTION = 90,
  AUDIOPOST_DEESSER_STRIDE = 5,
  AUDIOPOST_DEESSER_F0 = 0,
  AUDIOPOST_DEESSER_THRESHOLD = 1,

  AUDIOPOST_EQ10_SECTION = 100,
  AUDIOPOST_EQ10_STRIDE = 50,
  AUDIOPOST_EQ10_BANDS = 10,
  AUDIOPOST_EQ10_BAND_STRIDE = 5,
  AUDIOPOST_EQ10_BAND_ENABLE = 0,
  AUDIOPOST_EQ10_TYPE = 1,
  AUDIOPOST_EQ10_FC = 2,
  AUDIOPOST_EQ10_Q = 3,
  AUDIOPOST_EQ10_BOOST = 4,

  AUDIOPOST_DRC_SECTION = 200,
  AUDIOPOST_DRC_STRIDE = 100,
  AUDIOPOST_DRC_CROSSOVER_BAND = 0,
  AUDIOPOST_DRC_LOW = 10, /* where each band's fields begin, from the lowest to the highest */
  AUDIOPOST_DRC_MID1 = 30,
  AUDIOPOST_DRC_MID2 = 50,
  AUDIOPOST_DRC_HIGH = 70,
  AUDIOPOST_DRC_FREQ_START = 0,
  AUDIOPOST_DRC_FREQ_END = 1,
  AUDIOPOST_DRC_GAIN_DB = 2,
  AUDIOPOST_DRC_BAND_ENABLE = 3,
  AUDIOPOST_DRC_COMPRESS_START = 4,
  AUDIOPOST_DRC_EXPAND_END = 5,
  AUDIOPOST_DRC_NOISE_THRESHOLD = 6,
  AUDIOPOST_DRC_MAX_GAIN = 7,
  AUDIOPOST_DRC_MAX_PEAK = 8,
  AUDIOPOST_DRC_ATTACK_TIME = 9,
  AUDIOPOST_DRC_RELEASE_TIME = 10,
  AUDIOPOST_DRC_HOLD_TIME = 11,

  AUDIOPOST_MAXIMIZER_SECTION = 400, /* the limiter's and the AGC's */
  AUDIOPOST_MAXIMIZER_STRIDE = 20,
  AUDIOPOST_MAXIMIZER_MAX_THRESHOLD = 0,
  AUDIOPOST_MAXIMIZER_CEILING = 1,
  AUDIOPOST_MAXIMIZER_RELEASE = 2,
  AUDIOPOST_AGC_COMPRESS_START = 3,
  AUDIOPOST_AGC_EXPAND_END = 4,
  AUDIOPOST_AGC_NOISE_THRESHOLD = 5,
  AUDIOPOST_AGC_MAX_GAIN = 6,
  AUDIOPOST_AGC_MAX_PEAK = 7,
  AUDIOPOST_AGC_ATTACK_TIME = 8,
  AUDIOPOST_AGC_RELEASE_TIME = 9,
  AUDIOPOST_AGC_HOLD_TIME = 10
} AudioPostIndex;

/* ==== Effect chain ==================================================================================== */

/** A chain: one instance of every enabled effect, and the buffers it works in. */
typedef struct AudioPostState AudioPostState;

/** Creates a chain.
 *  param     the tuning record: AUDIOPOST_PARAM_LENGTH floats, copied
 *  swFrmLen  frames in each later block, fixed for the chain's life
 *  Prints a banner and then the settings of every effect it creates.
 *  Returns null, after a message, when param is null, the record's version is not within 0.0001 of 2.0 (one
 *  that is not a number passes) or its bit_rate is not 16, 24 or 32; and silently when memory runs out (see
 *  above for what counts as too much). An effect that does not allow the record's channel count (most allow
 *  two) or an EQ filter type that is unknown ends the process, the first also where there are more than 1024
 *  channels. */
AudioPostState* AudioPost_Init(const float* param, int32_t swFrmLen);

/** Processes one block.
 *  input, output  interleaved signed 16-bit PCM: frames x channels samples, channels being index 3 of the record
 *                 that Init was given, so a host whose blocks have a fixed count compares first; may be the same
 *  channels_hint  ignored; the record's channel count holds
 *  frames         must be the swFrmLen of Init, or the process ends; so it does where AutoGain's r128_steps is
 *                 shorter than that
 *  Each sample is scaled by its channel's gain, passed through the effects whose enable flag is exactly
 *  1, clamped to the range of the bit_rate and truncated toward zero; its low 16 bits are the output.
 *  With a bit_rate of 24 or 32 the PCM is 16 bits wide all the same. Does nothing for a null handle. */
void AudioPost_Process(AudioPostState* state, const int16_t* input, int16_t* output, int32_t channels_hint,
                       int32_t frames);

/** Ends a chain and releases everything it owns; null is allowed. */
void AudioPost_Destroy(AudioPostState* state);

/* ==== Retuning a running chain ========================================================================== */

/** Applies a whole tuning record to a running chain: effects that the record turns on and that do not exist
 *  yet are created (without printing their settings), those that exist get their settings, those that it
 *  turns off stop running but keep their state. sample_rate, bit_rate, channel_link and the channel count must be
 *  those of Init: buffers are not made again, channels beyond them do not sound, and effects that exist stay
 *  linked, or not, as they were created.
 *  param     the tuning record: AUDIOPOST_PARAM_LENGTH floats, copied
 *  swFrmLen  must be the swFrmLen of Init, or the process ends
 *  Does nothing when state or param is null. When the record's version is wrong, its header (indices 0 to 4)
 *  is stored and nothing else, after a message. An effect for which memory runs out does not run. Ends the process
 *  where Init would. */
void AudioPost_SetPara(AudioPostState* state, const float* param, int32_t swFrmLen);

/** Writes the chain's settings into a tuning record: header, flags, gains and the section of every effect
 *  whose flag is set, each as that effect's GetPara writes it. All other floats stay as they are. A null
 *  state is answered with a message. */
void AudioPost_GetPara(AudioPostState* state, float* param);

/* Those that return an int pass on what the effect's function returns. */

/** Gives the equalizer new settings, creating it if it does not exist; does nothing, and returns 0, while the EQ10
 *  flag is 0.
 *  section  100 floats; a third channel and further ones of an unlinked chain read zeros */
int AudioPost_EQ10_SetPara(AudioPostState* state, const float* section);
/** Writes the equalizer's settings; without an equalizer the process ends.
 *  section  100 floats: the records of the first two channels */
void AudioPost_EQ10_GetPara(AudioPostState* state, float* section);
/** EQ10_GetData of the chain's equalizer; returns 0 without one, or with one that a retune made for more channels than
 *  the chain has. */
int AudioPost_EQ10_GetData(AudioPostState* state, float** in_dst, float** out_dst);

/** MultiBandDRC_Crossover_AdjustPara on the chain's compressor; without one the process ends. */
int AudioPost_MultiBandDRC_Crossover_AdjustPara(AudioPostState* state, int32_t channel, float low_freq_end,
                                                float high_freq_start, float mid1_freq_start,
                                                float mid1_freq_end, float mid2_freq_start,
                                                float mid2_freq_end);
/** MultiBandDRC_DRC_AdjustPara on the chain's compressor; without one the process ends. */
int AudioPost_MultiBandDRC_DRC_AdjustPara(AudioPostState* state, int32_t channel, int32_t band,
                                          int32_t drc_enable, float gain_dB, float compress_start,
                                          float expand_end, float noise_threshold, float max_gain,
                                          float max_peak, float attack_time, float release_time,
                                          float hold_time);
/** Maximizer_AdjustPara on the chain's peak stage; without one the process ends. */
int AudioPost_Maximizer_AdjustPara(AudioPostState* state, int32_t channel, float max_threshold, float ceiling,
                                   float release);
/** Agc_AdjustPara on the chain's peak stage; without one the process ends. */
int AudioPost_Agc_AdjustPara(AudioPostState* state, int32_t channel, float compress_start, float expand_end,
                             float noise_threshold, float max_gain, float max_peak, float attack_time,
                             float release_time, float hold_time);

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
/** Creates a filter bank, for any number of channels up to 1024; a null param means the defaults. mid_bands is fixed
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
 *  that follow, and behind the last of them filters of coefficients 0 (after a retune, what they were before),
 *  whose answer is silence. */
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

/* ==== Bass enhancer =================================================================================== */

/** Replaces the spectrum below a split frequency by harmonics of it, for loudspeakers that cannot play it.
 *  At most two channels. Section: 10 floats per channel (channel 1's at index 10; with channel_link both
 *  read channel 0's):
 *    0 amount_dB     level of the harmonics, dB
 *    1 drive         of the waveshaper; 0 makes its curve infinite, above 12 it jumps at zero (a low band that
 *                    has faded below 1e-38 then counts as positive)
 *    2 blend         shape of the curve's negative half; 10.5 makes it infinite
 *    3 freq          split, Hz; harmonics are kept from here to three times it
 *    4 floor_active  integer; 1 or more also takes out what lies below floor
 *    5 floor         Hz
 *  Settings are used as given: a curve that is not finite makes the output not finite, until the next
 *  SetPara. */
typedef struct BassEnhancerState BassEnhancerState;

/** Creates one; more than two channels end the process. Null as above. */
BassEnhancerState* BassEnhancer_Init(const float* section, int bit_rate, int sample_rate, int channels,
                                     int channel_link);
/** Processes n samples of each channel (any n; nothing below 1). Per channel, with x the input over full
 *  scale: a fourth-order split (two Butterworth sections each way), an asymmetric square-root shaper on the
 *  low part, a one-pole DC blocker at about 1.6 Hz, a fourth-order band-pass from freq to 3 freq; output =
 *  high part + amount x harmonics. The dry bass is not in the output. Returns the channel count. */
int BassEnhancer_Process(BassEnhancerState* state, float** in, float** out, int n);
/** Retunes; every filter restarts from silence. Returns the channel count. */
int BassEnhancer_SetPara(BassEnhancerState* state, const float* section);
/** Writes indices 0 to 5 and, with two channels, 10 to 15, linked or not. Returns the state. */
const BassEnhancerState* BassEnhancer_GetPara(const BassEnhancerState* state, float* section);
/** Prints the settings. */
void BassEnhancer_PrintPara(const BassEnhancerState* state);
/** Returns 0, or -3 for null. */
int BassEnhancer_Destroy(BassEnhancerState* state);

/* ==== Exciter ========================================================================================= */

/** Adds harmonics to the upper part of the spectrum. At most two channels. Section: 5 floats per channel
 *  (channel 1's at index 5; with channel_link both read channel 0's):
 *    0 even_harmonics     bias of the clipper, where 1 is full scale; 0 makes odd harmonics only
 *    1 distortion_amount  the clipper is driven by 10^(2 x this): 0.5 is 10 times, 1 is 100 times
 *    2 Cutoff             corner of the high-passes before and after the clipper, Hz
 *    3 mix                share of the processed signal in the output, 0 ... 1 */
typedef struct ExciterState ExciterState;

/** Creates one; more than two channels end the process. Null as above. */
ExciterState* Exciter_Init(const float* section, int bit_rate, int sample_rate, int channels,
                           int channel_link);
/** Processes n samples of each channel (any n; nothing below 1): high-pass (Butterworth, second order), add
 *  the bias, drive, clip by 1.5 u - 0.5 u^3 (its ends beyond +-1; NaN clips to 1), the same high-pass
 *  again, scale back by the drive, mix with the input. Returns the channel count. */
int Exciter_Process(ExciterState* state, float** in, float** out, int n);
/** Retunes; both filters restart from silence. Returns the channel count. */
int Exciter_SetPara(ExciterState* state, const float* section);
/** Writes indices 0 to 3 and, with two channels, 5 to 8, linked or not. */
void Exciter_GetPara(const ExciterState* state, float* section);
/** Prints the settings. */
void Exciter_PrintPara(const ExciterState* state);
/** Returns 0, or -3 for null. */
int Exciter_Destroy(ExciterState* state);

/* ==== De-esser ======================================================================================== */

/** Tames sibilance: while an octave around f0 is louder than the threshold, a channel is cross-faded into a
 *  copy of itself with a notch (Q 1) at f0. At most two channels. Section: 5 floats per channel (channel
 *  1's at index 5; with channel_link both read channel 0's):
 *    0 f0         Hz
 *    1 threshold  dB relative to full scale, of the mean square in the octave */
typedef struct DeEsserState DeEsserState;

/** Creates one; more than two channels end the process. Null as above.
 *  bit_depth     what bit_rate is elsewhere
 *  frame_length  frames of a usual block: what the attack (100 ms) and release (200 ms) are reckoned by. A
 *                time t gives a decay of exp(-2200 frame_length / (sample_rate t)) per block. */
DeEsserState* DeEsser_Init(const float* section, int bit_depth, int sample_rate, int channels,
                           int frame_length, int channel_link);
/** Processes n samples of each channel. One decision a block: a gain g, 1 at first, decays by the attack
 *  while the level is strictly above the threshold and returns to 1 by the release otherwise; output = g x
 *  + (1 - g) notch(x), g moving in a straight line over frame_length samples. The level of channel 1
 *  includes channel 0's energy. With n below 1 only the gains move. Returns the channel count. Sources: R.
 *  Bristow-Johnson, "Cookbook formulae for audio EQ biquad filter coefficients" (band-pass of one octave,
 *  notch). */
int DeEsser_Process(DeEsserState* state, float** in, float** out, int n);
/** Retunes; filters restart from silence, gains from 1. Returns the channel count. */
int DeEsser_SetPara(DeEsserState* state, const float* section);
/** Writes indices 5 and 6 only, never 0 and 1: with two channels, 5 and 6 receive channel 1's f0 and
 *  threshold; with fewer, 5 receives channel 0's threshold. */
void DeEsser_GetPara(const DeEsserState* state, float* section);
/** Prints the settings. */
void DeEsser_PrintPara(const DeEsserState* state);
/** Returns 0, or -3 for null. */
int DeEsser_Destroy(DeEsserState* state);

/* ==== Loudness meter ================================================================================== */

/** Programme loudness after EBU R 128 / ITU-R BS.1770: K-weighting, mean square over a sliding window,
 *  channels summed (weights 1, 1, 1, 1.41, 1.41 for left, right, centre and the surrounds; 1 from the sixth
 *  channel on), an absolute gate at -70 LUFS and a relative gate 10 LU below the mean. The 200 latest
 *  blocks that passed the absolute gate count. The channels share one ring of squares, so the weights are
 *  exact only while the ring (window x channels samples) holds a whole number of blocks. */
typedef struct Ebur128State Ebur128State;

/** Creates a meter that measures a block of window_ms every step_ms, at the end of the ebur128_addframes
 *  call in which it falls due. Lengths in samples are sample_rate x ms / 1000, toward zero, the product in
 *  32 bits; with a window or a channel count below 1 nothing is ever measured. Null as above. A meter is
 *  not reset: make a new one. */
Ebur128State* ebur128_init(int bit_rate, int sample_rate, int channels, int window_ms, int step_ms);
/** Releases a meter; null is allowed. */
void ebur128_destroy(Ebur128State* state);
/** Takes in n samples of each channel, at PCM scale, and only reads them. A null meter takes in nothing. */
void ebur128_addframes(Ebur128State* state, float** in, int n);
/** The gated loudness in LUFS, or -1000 when nothing has been measured; so for null too. */
float ebur128_gatedloudness(const Ebur128State* state);

/* ==== Auto gain ======================================================================================= */

/** Steers the programme towards a target loudness, by the loudness meter's reading of its input. Section:
 *    0 target_i_dB   LUFS
 *    1 attack_time   ms, of a rising gain and of the smoothed reading
 *    2 release_time  ms, of a falling gain
 *    3 r128_wins     ms, integer: window of the meter
 *    4 r128_steps    ms, integer: step of the meter, and between two looks at it; no shorter than a block
 *  A time t moves the gain by 1 - exp(-2200 frame_length / (sample_rate t)) of the way per block. */
typedef struct AutoGainState AutoGainState;

/** Creates one. frame_length: frames of a usual block, which the times are reckoned by. Null as above; a
 *  wrong bit_rate is reported by the meter too. */
AutoGainState* AutoGain_Init(const float* section, int bit_rate, int sample_rate, int channels,
                             int frame_length);
/** Processes n samples of each channel; n above the step's samples ends the process. Every r128_steps the
 *  gain's goal becomes target_i_dB less the smoothed loudness, at most +20 dB, and 0 dB while nothing has
 *  been measured. Each block's peak limits the goal to full scale. The gain moves in a straight line over
 *  frame_length samples. Returns the channel count. */
int AutoGain_Process(AutoGainState* state, float** in, float** out, int n);
/** Retunes. New target and times leave the meter and the gain as they are; a new window or step starts a
 *  new meter and returns the gain to 1. Without memory for that meter the handle goes on as if nothing had
 *  been measured. Returns the channel count. */
int AutoGain_SetPara(AutoGainState* state, const float* section);
/** Writes indices 0 to 4. */
void AutoGain_GetPara(const AutoGainState* state, float* section);
/** Prints the settings. */
void AutoGain_PrintPara(const AutoGainState* state);
/** Returns 0, or -3 for null. */
int AutoGain_Destroy(AutoGainState* state);

/* ==== Gain curves ======================================================================================= */

/** Static expander/compressor curve with soft knees: the output level for an input level, both in dB.
 *  knee             width of each knee in dB, half of it (rounded down) on either side; below 1 gives 0
 *  x                input level, dB
 *  noise_threshold  where the expander's line meets unity gain; it attenuates what is below, dB
 *  expand_end       end of the expander, dB; constant gain from here on
 *  compress_start   start of the compressor, dB
 *  max_gain         the constant gain in between, dB
 *  max_peak         output for an input of 0 dB, dB
 *  Meant for noise_threshold < expand_end <= compress_start < 0 and compress_start + max_gain <= max_peak.
 *  Nothing is checked: corners that coincide give infinite or undefined slopes.
 *  Source: straight lines in dB joined by parabolas; D. Giannoulis et al., "Digital Dynamic Range Compressor
 *  Design", JAES 60:6, 2012. */
float table_caculate(int32_t knee, float x, float noise_threshold, float expand_end, float compress_start,
                     float max_gain, float max_peak);

/** Static limiter curve: unity gain, a parabolic knee of `knee` dB around the threshold, then a constant
 *  `threshold`. All in dB; a knee below 1 gives 0. Source as above. */
float max_table_caculate(int32_t knee, float x, float threshold);

/** Reads a table that samples a curve at equal steps in dB.
 *  last   index of the last entry
 *  table  last + 1 floats
 *  x      level, dB
 *  start  level of the first entry, dB
 *  scale  entries per dB
 *  Returns the nearest entry (half steps go up), the first below start and for NaN, the last beyond the end.
 *  Never reads outside the table. */
float table_search(int32_t last, const float* table, float x, float start, float scale);

/* ==== Multi-band compressor ============================================================================= */

/** Two to four bands per channel, each with a make-up gain and, where enabled, a compressor: a follower with
 *  attack and release per sample, exp(-1000 / (fs t)), whose level selects a gain from 201 samples of
 *  table_caculate between 4 dB below noise_threshold and 0 dB, with a 4 dB knee, never below -60 dB. The
 *  bands' sum is the output. Bands are numbered 0 low, 1 high, 2 middle 1, 3 middle 2. Section, 100 floats
 *  per channel:
 *     0  crossover_band    number of bands; their records start at 10 low, 30 middle 1, 50 middle 2, 70 high:
 *    +0  freq_start, +1 freq_end    Hz; low's start and high's end shape nothing
 *    +2  gain_dB                    make-up gain
 *    +3  drc_enable                 nonzero: compressor on, which also scales the band by 1 / crossover_band
 *    +4  compress_start, +5 expand_end, +6 noise_threshold, +7 max_gain, +8 max_peak    dB, the curve's
 *    +9  attack_time, +10 release_time, +11 hold_time    ms, integers; hold_time has no effect
 *  The follower rises (attack) only for samples above it: negative samples always release. Curve corners out
 *  of order are warned about and used. A crossover_band outside 2 ... 4 is stored and reported as it is:
 *  none or less gives silence, 1 the low band alone, 5 and more the first three, each band from the fifth to
 *  the hundredth with a message. */
typedef struct MultiBandDRCState MultiBandDRCState;

/** Creates a compressor; a null section gives one that answers silence until MultiBandDRC_SetPara.
 *  channel_link nonzero: every channel reads the first one's settings. More than two channels end the
 *  process. */
MultiBandDRCState* MultiBandDRC_Init(const float* section, int bit_rate, int sample_rate, int channels,
                                     int channel_link);
/** Processes n samples of each channel; any n. Returns the channel count. */
int MultiBandDRC_Process(MultiBandDRCState* state, float** in, float** out, int n);
/** Loads all settings. The crossovers restart from silence; the followers go on where the number of bands
 *  stays, and restart at 0 otherwise. Without memory a channel keeps its number of bands. Returns the
 *  channel count. */
int MultiBandDRC_SetPara(MultiBandDRCState* state, const float* section);
/** Writes one record per channel, except gain_dB and drc_enable, which keep what the caller has there. */
void MultiBandDRC_GetPara(const MultiBandDRCState* state, float* section);
/** Prints all settings. */
void MultiBandDRC_PrintPara(const MultiBandDRCState* state);
/** Sets the crossover's frequencies (Hz) of one channel, or of all when linked, and restarts it from
 *  silence. The frequencies of bands that the named channel does not have are not reported by GetPara; a channel
 *  that the handle does not have counts as one without bands, so a linked handle then reports the outer edges
 *  alone. Returns the channel count. */
int MultiBandDRC_Crossover_AdjustPara(MultiBandDRCState* state, int channel, float low_freq_end,
                                      float high_freq_start, float mid1_freq_start, float mid1_freq_end,
                                      float mid2_freq_start, float mid2_freq_end);
/** Sets one band's compressor of one channel, or of all when linked; its follower goes on. The times are
 *  truncated to integers. A band that the named channel does not run is answered with a message and set all
 *  the same, as far as there is one (0 ... 3): for a channel that the handle does not have that is every band.
 *  Returns the channel count. */
int MultiBandDRC_DRC_AdjustPara(MultiBandDRCState* state, int channel, int band, int drc_enable,
                                float gain_dB, float compress_start, float expand_end, float noise_threshold,
                                float max_gain, float max_peak, float attack_time, float release_time,
                                float hold_time);
/** Returns 0, or -3 for null. */
int MultiBandDRC_Destroy(MultiBandDRCState* state);

/* ==== Maximizer and automatic gain control ============================================================== */

/** A peak limiter with make-up gain, and an automatic gain control: two modes, each with its own settings
 *  and gain, that share one handle. Both measure a block, look up a target gain in 201 samples of a static
 *  curve up to +10 dB and ramp toward it within the block. Section, 20 floats per channel:
 *     0  max_threshold   dB: of the limiter; its curve is max_table_caculate, the knee 6 - 2 max_threshold
 *     1  ceiling         dB: the make-up gain is ceiling - max_threshold, less 0.02 dB
 *     2  release         ms: limiter release
 *     3  compress_start, 4 expand_end, 5 noise_threshold, 6 max_gain, 7 max_peak    dB: AGC curve
 *     8  attack_time     ms: AGC, rising gain
 *     9  release_time    ms: AGC, falling gain below compress_start
 *    10  hold_time       ms: no effect
 *  A gain takes on the share 1 - exp(-2200 swFrmLen / (fs t)) of what is missing in every block: 10 % to 90 %
 *  in t. The AGC's curve is table_caculate; corners out of order are warned about and used. */
typedef struct MaximizerState MaximizerState;

/** Creates a handle for both modes.
 *  section       null for the defaults: -3, -1, 1; -20, -40, -45, 16, -1, 200, 400, 200
 *  swFrmLen      samples per channel in each later block
 *  channel_link  nonzero: every channel reads the first one's settings
 *  More than two channels end the process. */
MaximizerState* Maximizer_Init(const float* section, int bit_rate, int sample_rate, int channels,
                               int swFrmLen, int channel_link);
/** Limits n samples of each channel. In a block whose peak is over max_threshold the gain reaches its target
 *  by the block's end, or by the first sample that would pass full scale otherwise, and the output is not clipped:
 *  steady sound comes out below the ceiling, the first block of a louder one may reach full scale. At or below
 *  max_threshold the gain follows the release and the output is limited to full scale. The gain starts at 0: a new
 *  stream rises from silence. The second
 *  channel is driven by the louder of both channels' peaks, the first by its own. Returns the channel
 *  count. */
int Maximizer_Process(MaximizerState* state, float** in, float** out, int n);
/** Loads all settings of both modes. The limiter's gain goes on; the AGC's restarts at 1. Returns the
 *  channel count. */
int Maximizer_SetPara(MaximizerState* state, const float* section);
/** Writes indices 0 to 10 of one record per channel. */
void Maximizer_GetPara(const MaximizerState* state, float* section);
/** Prints all settings of both modes. */
void Maximizer_PrintPara(const MaximizerState* state);
/** Sets the limiter of one channel, or of all when linked; its gain goes on. Returns the channel count. */
int Maximizer_AdjustPara(MaximizerState* state, int channel, float max_threshold, float ceiling,
                         float release);
/** Returns 0, or -3 for null. */
int Maximizer_Destroy(MaximizerState* state);

/** Applies the automatic gain control to n samples of each channel. A peak above compress_start selects the
 *  gain and a falling gain gets there within the block, before a sample passes +-32766 (at every bit_rate);
 *  if the first sample already would, the block keeps the old gain. Otherwise the mean square selects it and
 *  attack and release apply. The second channel's peak is the louder of both. Not clipped. Returns the
 *  channel count. */
int Agc_Process(MaximizerState* state, float** in, float** out, int n);
/** Sets the AGC of one channel, or of all when linked, and restarts its gain at 1. Returns the channel
 *  count. */
int Agc_AdjustPara(MaximizerState* state, int channel, float compress_start, float expand_end,
                   float noise_threshold, float max_gain, float max_peak, float attack_time,
                   float release_time, float hold_time);

/* ==== Level detector ==================================================================================== */

/** A ten-band level meter for the first channel of interleaved 16-bit PCM: band-passes of 1.2 octaves at 62
 *  Hz to 8 kHz, a low-pass at 31 Hz, a high-pass at 16 kHz; mean square per block, smoothed, held and turned
 *  into dB. */
typedef struct LevelDetectorState LevelDetectorState;

/** What the meter shows, truncated toward zero. */
typedef struct LevelDetectorResult {
  int16_t freq[10];  /**< Hz */
  int16_t level[10]; /**< dB relative to the bit_rate's full scale; the input counts as 16-bit PCM always */
} LevelDetectorResult;

/** Creates a meter with 200 ms to rise and to fall and no hold time, and prints a banner.
 *  bit_rate     16, 24 or other (taken as 32): the reference of the levels
 *  sample_rate  Hz
 *  channels     distance between two samples of the channel measured; 0 and below count as 0
 *  frame_len    the block length that the smoothing and the mean are made for
 *  Null without memory only. */
LevelDetectorState* LevelDetector_Init(int bit_rate, int sample_rate, int channels, int frame_len);
/** Sets the times, which it prints, and clears power and hold; the filters' memory stays.
 *  band_param  frequency (Hz) and q of each band in turn, 20 floats (q as filter_calculateCoeffs takes it: Q
 *              for the first and last band, octaves for the others); null leaves the bands alone
 *  rmstc, hold_time, decay_time  ms to rise (10 % to 90 %), to hold and to fall
 *  Returns frame_len. */
int LevelDetector_SetPara(LevelDetectorState* state, const float* band_param, float rmstc, float hold_time,
                          float decay_time);
/** Measures n frames, any number, as one block; the mean is taken over frame_len + 1. Returns n. */
uint32_t LevelDetector_Process(LevelDetectorState* state, const int16_t* pcm, uint32_t n);
/** Reads the meter. Returns frame_len. */
int LevelDetector_GetRes(const LevelDetectorState* state, LevelDetectorResult* result);
/** Returns 0, or -3 for null. */
int LevelDetector_Destroy(LevelDetectorState* state);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
