/** libaudiopost-check: what the effect chain will make of a tuning record, told before it does. Plain C, fit for C++ too.
 *
 * A device asks before it hands a record that came from outside to AudioPost_Init or AudioPost_SetPara:
 *
 *   if (AUDIOPOST_REFUSED(audiopost_check_worst(record, 480))) keep the tuning that plays;
 *
 * and a tool lists what there is to say with audiopost_check and audiopost_check_text.
 *
 * Every function here can be called from any thread at any time, before there is a chain or without one. None keeps
 * anything, allocates, locks, prints, throws or ends the process. The library needs libc and libm alone; it neither
 * calls nor loads the chain. Time: microseconds where every filter is far from trouble, at most some tens of milliseconds
 * where the rounding noise of one has to be measured; not for the audio thread. Stack: less than 16 KiB.
 */
#ifndef AUDIOPOST_CHECK_H
#define AUDIOPOST_CHECK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* ==== A finding ======================================================================================== */

/** How grave it is. */
typedef enum audiopost_severity {
  AUDIOPOST_NOTHING = 0, /* no finding */
  AUDIOPOST_NOTE = 1,    /* truncated, clamped, ignored or a little noisy: it may still be what is wanted */
  AUDIOPOST_WARNING = 2, /* the chain complains and goes on, or the sound cannot be what is wanted */
  AUDIOPOST_UNSTABLE =
      3, /* the chain runs, but what comes out is no sound: full-scale noise, or nothing for ever */
  AUDIOPOST_FATAL = 4 /* the chain ends the process, or AudioPost_Init returns null */
} audiopost_severity;

/** Whether a record with a finding of that severity must not reach a loudspeaker. */
#define AUDIOPOST_REFUSED(severity) ((severity) >= AUDIOPOST_UNSTABLE)

/** Whose setting it is. */
typedef enum audiopost_effect {
  AUDIOPOST_EFFECT_CHAIN = 0, /* header and input gains */
  AUDIOPOST_EFFECT_AUTO_GAIN,
  AUDIOPOST_EFFECT_BASS_ENHANCER,
  AUDIOPOST_EFFECT_EXCITER,
  AUDIOPOST_EFFECT_DE_ESSER,
  AUDIOPOST_EFFECT_EQ10,
  AUDIOPOST_EFFECT_MULTIBAND_DRC,
  AUDIOPOST_EFFECT_AGC,
  AUDIOPOST_EFFECT_MAXIMIZER,
  AUDIOPOST_EFFECTS /* how many there are */
} audiopost_effect;

/** What is wrong. The numbers stay; new rules get new ones. In brackets what a finding holds besides its first field. */
typedef enum audiopost_rule {
  /* Any field, any effect. */
  AUDIOPOST_RULE_NOT_FINITE = 1,    /* infinite or not a number */
  AUDIOPOST_RULE_TRUNCATED = 2,     /* a fraction where the chain reads an integer */
  AUDIOPOST_RULE_OUT_OF_RANGE = 3,  /* beyond what a tuner would set [least, most] */
  AUDIOPOST_RULE_CLAMPED = 4,       /* the chain uses the nearer bound instead [least, most; a band's type] */
  AUDIOPOST_RULE_GAIN_TOO_HIGH = 5, /* a gain that no float holds [most] */
  AUDIOPOST_RULE_NEVER_RUNS = 6,    /* an enable flag other than 0 and 1: created, never run */
  AUDIOPOST_RULE_STEREO_ONLY = 7,   /* an effect for two channels at most in a record of more */
  AUDIOPOST_RULE_FREQUENCY_LOW = 8, /* not above 0 [least] */
  AUDIOPOST_RULE_FREQUENCY_HIGH = 9, /* not below half the sample rate [most] */
  /* Filters, designed as the chain would and judged as they run. Of EQ10 [Q and type, but for Butterworth]. */
  AUDIOPOST_RULE_FILTER_INFINITE = 10, /* the filter's coefficients are not finite */
  AUDIOPOST_RULE_FILTER_UNSTABLE =
      11, /* its poles, as they are in single precision, are not inside the unit circle */
  AUDIOPOST_RULE_FILTER_LINGERS = 12, /* so close to it that a constant or a tone never dies away */
  AUDIOPOST_RULE_FILTER_NOISE = 13,   /* its rounding noise is more than a step of 16 bits [noise_dBFS] */
  AUDIOPOST_RULE_TIME_NEGATIVE = 14,
  AUDIOPOST_RULE_TIME_ZERO = 15, /* the change comes at once */
  AUDIOPOST_RULE_TIME_LONG = 16, /* times the sample rate it does not fit an integer [most] */
  AUDIOPOST_RULE_HOLD_TIME = 17, /* has no effect */
  /* The chain. */
  AUDIOPOST_RULE_SAMPLE_RATE = 20,       /* below 1 */
  AUDIOPOST_RULE_BIT_RATE = 21,          /* not 16, 24 or 32 */
  AUDIOPOST_RULE_BIT_RATE_WIDE = 22,     /* 24 or 32: the PCM has 16 bits all the same */
  AUDIOPOST_RULE_LINKED_ANYHOW = 23,     /* channel_link is neither 0 nor 1 */
  AUDIOPOST_RULE_NO_CHANNELS = 24,       /* channels below 1 */
  AUDIOPOST_RULE_TOO_MANY_CHANNELS = 25, /* more than the chain allows [most] */
  AUDIOPOST_RULE_BLOCK_LONG = 26, /* of all channels more samples than the chain allows [count: frames] */
  AUDIOPOST_RULE_MORE_THAN_STEREO = 27, /* most effects could not run */
  AUDIOPOST_RULE_VERSION = 28,          /* not 2.0 */
  AUDIOPOST_RULE_VERSION_NAN = 29,      /* taken for 2.0 */
  AUDIOPOST_RULE_GAINS_BEYOND = 30,     /* more than two channels, unlinked: gains read from other settings */
  AUDIOPOST_RULE_UNREAD = 31,         /* values where the chain reads none [the first four, count: of all] */
  AUDIOPOST_RULE_IGNORED_LINKED = 32, /* settings for channel 1, and the channels are linked */
  AUDIOPOST_RULE_IGNORED_MONO = 33,   /* settings for channel 1, and there is one channel */
  AUDIOPOST_RULE_LEVEL = 34,          /* what comes out of the effect may be more than a float holds */
  /* AutoGain. */
  AUDIOPOST_RULE_STEP_SHORT = 40, /* r128_steps is shorter than a block [count: the step; least: the block] */
  AUDIOPOST_RULE_WINDOW_LONG = 41, /* r128_wins needs more memory than Init allows */
  AUDIOPOST_RULE_WINDOW_NONE = 42, /* r128_wins is less than a sample */
  AUDIOPOST_RULE_METER = 43,       /* at this sample rate the loudness meter's filters do not run */
  /* BassEnhancer. */
  AUDIOPOST_RULE_HARMONICS_HIGH = 50,  /* three times freq is not below half the sample rate [most] */
  AUDIOPOST_RULE_SHAPER_INFINITE = 51, /* the shaper divides by zero [drive, blend] */
  AUDIOPOST_RULE_SHAPER_JUMPS = 52,    /* drive above 12: the shaper's curve jumps at zero [most] */
  /* Exciter, DeEsser. */
  AUDIOPOST_RULE_DRIVE = 60, /* distortion_amount makes a drive, or its inverse, that no float holds */
  AUDIOPOST_RULE_THRESHOLD_HIGH = 61, /* a DeEsser threshold of 0 dB or more is hardly reached */
  /* EQ10. */
  AUDIOPOST_RULE_BAND_COUNT = 70,        /* an enable other than 0 and 1 counts the band as often */
  AUDIOPOST_RULE_FILTER_TYPE = 71,       /* unknown */
  AUDIOPOST_RULE_BUTTERWORTH_BOOST = 72, /* scales the feedback, too */
  AUDIOPOST_RULE_BANDS_BEYOND = 73, /* more than two channels, unlinked: bands read from other settings */
  /* MultiBandDRC, Agc, Maximizer. */
  AUDIOPOST_RULE_CROSSOVER_BANDS = 80,   /* crossover_band is not 2, 3 or 4 */
  AUDIOPOST_RULE_COMPRESSES_ANYHOW = 81, /* drc_enable is neither 0 nor 1 */
  AUDIOPOST_RULE_SOME_COMPRESSED =
      82, /* compressed bands are divided by the number of bands, the others are not */
  AUDIOPOST_RULE_BANDS_APART =
      83, /* what lies between two bands is lost [end of the one, start of the next] */
  AUDIOPOST_RULE_BANDS_OVERLAP = 84,        /* what lies in two bands is heard twice [end, start] */
  AUDIOPOST_RULE_NOISE_THRESHOLD_HIGH = 85, /* noise_threshold above expand_end [both] */
  AUDIOPOST_RULE_EXPAND_END_HIGH = 86,      /* expand_end above compress_start [both] */
  AUDIOPOST_RULE_MAX_PEAK_LOW = 87,         /* compress_start + max_gain above max_peak [all three] */
  AUDIOPOST_RULE_GAIN_BELOW_TABLE = 88,     /* a gain below the -60 dB at which curves end [least] */
  AUDIOPOST_RULE_EXPANDER_STEEP = 89,       /* noise_threshold equals expand_end [both] */
  AUDIOPOST_RULE_NO_ROOM_TO_COMPRESS = 90,  /* compress_start is not below 0 dB [most] */
  AUDIOPOST_RULE_LIMITER_NO_KNEE = 91,      /* max_threshold above 2.5 dB [most] */
  AUDIOPOST_RULE_CEILING_HIGH = 92          /* the ceiling lies above full scale [most] */
} audiopost_rule;

/** Of which band of MultiBandDRC a finding speaks; the numbers that MultiBandDRC_DRC_AdjustPara takes. */
typedef enum audiopost_drc_band {
  AUDIOPOST_BAND_LOW = 0,
  AUDIOPOST_BAND_HIGH = 1,
  AUDIOPOST_BAND_MID1 = 2,
  AUDIOPOST_BAND_MID2 = 3
} audiopost_drc_band;

/** Fields that a finding names at most. */
#define AUDIOPOST_FINDING_FIELDS 4

/** One thing to say about a record. No strings, no pointers: it can be stored, sent, and turned into words elsewhere. */
typedef struct audiopost_finding {
  int32_t severity; /* audiopost_severity */
  int32_t rule;     /* audiopost_rule */
  int32_t effect;   /* audiopost_effect */
  int32_t channel;  /* from 0; -1 where it is no single channel's */
  int32_t band;     /* of EQ10 0 to 9, of MultiBandDRC an audiopost_drc_band; -1 where it is no band's */
  int32_t off; /* 1 where the effect, or the band, is off and the chain looks at the settings all the same */
  int32_t fields; /* how many of the next two arrays are filled: 1 or more */
  int32_t index
      [AUDIOPOST_FINDING_FIELDS]; /* in the record, the field to change first in front; then as the rule says */
  float value[AUDIOPOST_FINDING_FIELDS]; /* what stands there */
  float least,
      most; /* what the first value was held against; -INFINITY and INFINITY where there is no such bound */
  float
      noise_dBFS; /* rounding noise, RMS against a full-scale 16-bit sample; -INFINITY where it is not the subject */
  int32_t count; /* as the rule says, else 0 */
} audiopost_finding;

/* ==== Checking ========================================================================================= */

/** Lists what there is to say about a record, effect by effect in the order of the record.
 *  record  500 floats, as AudioPost_Init takes them
 *  block   frames in each block that the chain will be given, the swFrmLen of AudioPost_Init
 *  out     where to write findings; null with a room of 0
 *  room    how many there is room for
 *  Returns how many findings there are, which may be more than room; the first of them are in out. Findings that no
 *  rule gives (0) mean that the record runs without a word beyond the banner and the listing of its settings. */
int audiopost_check(const float record[500], int block, audiopost_finding* out, int room);

/** The gravest severity among a record's findings, whatever their number; AUDIOPOST_NOTHING where there is none. */
int audiopost_check_worst(const float record[500], int block);

/* ==== In words ========================================================================================= */

/* Those with a room write like snprintf: at most `room` bytes with the closing 0, nothing where room is 0 (text may then
 * be null), and return the length of the whole. 512 bytes hold any sentence. A finding that audiopost_check never made
 * gives a text, if not a useful one. */

/** All of it, without a line feed: "EQ10 channel 0 band 3: type 9 is unknown; the chain would end the process". */
int audiopost_check_text(const audiopost_finding* finding, char* text, int room);
/** The first half: "EQ10 channel 0 band 3". */
int audiopost_check_where(const audiopost_finding* finding, char* text, int room);
/** The second: "type 9 is unknown; the chain would end the process". */
int audiopost_check_reason(const audiopost_finding* finding, char* text, int room);

/** What the chain itself will write to standard error, without its "LOG (…), " and line feeds; null where it says
 *  nothing. A constant. */
const char* audiopost_check_message(const audiopost_finding* finding);
/** "note", "warning", "unstable" or "fatal"; "nothing" for all else. A constant. */
const char* audiopost_check_severity_name(int severity);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
