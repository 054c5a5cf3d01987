// Every field of the tuning record that the chain can read: where it stands, what it is called, its unit and range.
// Constant tables, for the rules here and for the text form, differences and curves of programs.
#pragma once

#include <cmath>
#include <cstddef>

#include "audiopost_check.h"
#include "zelkaudio_effect_eqdrc.h"

namespace check {

enum class Kind {
  number,
  integer,  // truncated toward zero by the chain
  flag,     // an integer of which 0 and 1 are meant
  filter,   // a FilterType code
};

struct Field {
  int offset;  // from where its group starts
  const char* name;
  Kind kind;
  const char* unit;                          // "" where it has none
  const char* hint;                          // meaning, for people; may be ""
  float least = -INFINITY, most = INFINITY;  // what a tuner would set; the chain takes any value
};

struct Fields {
  const Field* first;
  int count;
  constexpr const Field* begin() const { return first; }
  constexpr const Field* end() const { return first + count; }
};
template <size_t N>
constexpr Fields fields(const Field (&list)[N]) {
  return {list, static_cast<int>(N)};
}

// ---- The layout of each group -----------------------------------------------------------------------
inline constexpr Field kChainFields[] = {
    {AUDIOPOST_SAMPLE_RATE, "sample_rate", Kind::integer, "Hz", ""},
    {AUDIOPOST_BIT_RATE, "bit_rate", Kind::integer, "bits", "of the PCM: 16, 24 or 32"},
    {AUDIOPOST_CHANNEL_LINK, "channel_link", Kind::flag, "",
     "true: every channel uses the settings of channel 0"},
    {AUDIOPOST_CHANNELS, "channels", Kind::integer, "", "interleaved; most effects allow 1 or 2"},
    {AUDIOPOST_TOOL_VERSION, "version", Kind::number, "", "of the tuning tool; must be 2.0"},
};
inline constexpr Field kGainFields[] = {{0, "gain_dB", Kind::number, "dB", "input gain", -60, 20}};
inline constexpr Field kEnableFields[] = {{0, "enable", Kind::flag, "", ""}};
inline constexpr Field kAutoGainFields[] = {
    {AUDIOPOST_AUTOGAIN_TARGET_I_DB, "target_i_dB", Kind::number, "LUFS", "integrated loudness to steer to",
     -40, -5},
    {AUDIOPOST_AUTOGAIN_ATTACK_TIME, "attack_time", Kind::number, "ms", "rising gain"},
    {AUDIOPOST_AUTOGAIN_RELEASE_TIME, "release_time", Kind::number, "ms", "falling gain"},
    {AUDIOPOST_AUTOGAIN_R128_WINS, "r128_wins", Kind::integer, "ms",
     "window of the loudness meter; 400 by the standard"},
    {AUDIOPOST_AUTOGAIN_R128_STEPS, "r128_steps", Kind::integer, "ms",
     "between two readings; not shorter than a block"},
};
inline constexpr Field kBassEnhancerFields[] = {
    {AUDIOPOST_BASS_AMOUNT_DB, "amount_dB", Kind::number, "dB", "level of the harmonics", -60, 20},
    {AUDIOPOST_BASS_DRIVE, "drive", Kind::number, "", "of the waveshaper", 1, 11},
    {AUDIOPOST_BASS_BLEND, "blend", Kind::number, "", "shape of the waveshaper", 0, 10},
    {AUDIOPOST_BASS_FREQ, "freq", Kind::number, "Hz", "what lies below is replaced by harmonics"},
    {AUDIOPOST_BASS_FLOOR_ACTIVE, "floor_active", Kind::flag, "", ""},
    {AUDIOPOST_BASS_FLOOR, "floor", Kind::number, "Hz", "harmonics below are cut when floor_active"},
};
inline constexpr Field kExciterFields[] = {
    {AUDIOPOST_EXCITER_EVEN_HARMONICS, "even_harmonics", Kind::number, "",
     "bias before the clipper; 0 gives odd harmonics alone", -1, 1},
    {AUDIOPOST_EXCITER_DISTORTION_AMOUNT, "distortion_amount", Kind::number, "",
     "drive is 10 to the power of twice this", 0, 1},
    {AUDIOPOST_EXCITER_CUTOFF, "Cutoff", Kind::number, "Hz", "harmonics are made of what lies above"},
    {AUDIOPOST_EXCITER_MIX, "mix", Kind::number, "", "share of the processed signal", 0, 1},
};
inline constexpr Field kDeEsserFields[] = {
    {AUDIOPOST_DEESSER_F0, "f0", Kind::number, "Hz", "centre of the sibilance"},
    {AUDIOPOST_DEESSER_THRESHOLD, "threshold", Kind::number, "dBFS",
     "level in that octave above which it is ducked"},
};
inline constexpr Field kEqBandFields[] = {
    {AUDIOPOST_EQ10_BAND_ENABLE, "enable", Kind::flag, "", ""},
    {AUDIOPOST_EQ10_TYPE, "type", Kind::filter, "", ""},
    {AUDIOPOST_EQ10_FC, "fc", Kind::number, "Hz", ""},
    {AUDIOPOST_EQ10_Q, "Q", Kind::number, "", ""},
    {AUDIOPOST_EQ10_BOOST, "boost", Kind::number, "dB", ""},
};
inline constexpr Field kCrossoverFields[] = {{AUDIOPOST_DRC_CROSSOVER_BAND, "crossover_band", Kind::integer,
                                              "", "bands in use: 2 (low, high), 3 (with mid1) or 4"}};
inline constexpr Field kDrcBandFields[] = {
    {AUDIOPOST_DRC_FREQ_START, "freq_start", Kind::number, "Hz", "lower edge; the low band has none"},
    {AUDIOPOST_DRC_FREQ_END, "freq_end", Kind::number, "Hz", "upper edge; the high band has none"},
    {AUDIOPOST_DRC_GAIN_DB, "gain_dB", Kind::number, "dB", "before the compressor", -60, 20},
    {AUDIOPOST_DRC_BAND_ENABLE, "drc_enable", Kind::flag, "",
     "a compressed band is scaled by 1 / crossover_band as well"},
    {AUDIOPOST_DRC_COMPRESS_START, "compress_start", Kind::number, "dBFS",
     "compression above; expand_end ... 0"},
    {AUDIOPOST_DRC_EXPAND_END, "expand_end", Kind::number, "dBFS",
     "expansion below; noise_threshold ... compress_start"},
    {AUDIOPOST_DRC_NOISE_THRESHOLD, "noise_threshold", Kind::number, "dBFS",
     "the expander's unity point; below expand_end"},
    {AUDIOPOST_DRC_MAX_GAIN, "max_gain", Kind::number, "dB", "between expand_end and compress_start"},
    {AUDIOPOST_DRC_MAX_PEAK, "max_peak", Kind::number, "dBFS",
     "output for full scale; at least compress_start + max_gain"},
    {AUDIOPOST_DRC_ATTACK_TIME, "attack_time", Kind::integer, "ms", ""},
    {AUDIOPOST_DRC_RELEASE_TIME, "release_time", Kind::integer, "ms", ""},
    {AUDIOPOST_DRC_HOLD_TIME, "hold_time", Kind::integer, "ms", "has no effect"},
};
inline constexpr Field kAgcFields[] = {
    {AUDIOPOST_AGC_COMPRESS_START, "compress_start", Kind::number, "dBFS",
     "compression above; expand_end ... 0"},
    {AUDIOPOST_AGC_EXPAND_END, "expand_end", Kind::number, "dBFS",
     "expansion below; noise_threshold ... compress_start"},
    {AUDIOPOST_AGC_NOISE_THRESHOLD, "noise_threshold", Kind::number, "dBFS",
     "the expander's unity point; below expand_end"},
    {AUDIOPOST_AGC_MAX_GAIN, "max_gain", Kind::number, "dB", "between expand_end and compress_start"},
    {AUDIOPOST_AGC_MAX_PEAK, "max_peak", Kind::number, "dBFS",
     "output for full scale; at least compress_start + max_gain"},
    {AUDIOPOST_AGC_ATTACK_TIME, "attack_time", Kind::number, "ms", "rising gain"},
    {AUDIOPOST_AGC_RELEASE_TIME, "release_time", Kind::number, "ms", "falling gain"},
    {AUDIOPOST_AGC_HOLD_TIME, "hold_time", Kind::number, "ms", "has no effect"},
};
inline constexpr Field kMaximizerFields[] = {
    {AUDIOPOST_MAXIMIZER_MAX_THRESHOLD, "max_threshold", Kind::number, "dBFS", "limiting above", -24, 0},
    {AUDIOPOST_MAXIMIZER_CEILING, "ceiling", Kind::number, "dBFS",
     "level of loud, steady sound; ceiling - max_threshold is make-up gain"},
    {AUDIOPOST_MAXIMIZER_RELEASE, "release", Kind::number, "ms", ""},
};

// ---- Where they stand -------------------------------------------------------------------------------
struct Effect {
  const char* name;
  int flag;     // index of its enable flag; -1: it has none
  int section;  // where channel 0's settings start
  int stride;   // between channels; 0: the settings belong to no channel
};
// By audiopost_effect.
inline constexpr Effect kEffects[AUDIOPOST_EFFECTS] = {
    {"chain", -1, AUDIOPOST_GAIN_SECTION, AUDIOPOST_GAIN_STRIDE},
    {"AutoGain", AUDIOPOST_AUTOGAIN_ENABLE, AUDIOPOST_AUTOGAIN_SECTION, 0},
    {"BassEnhancer", AUDIOPOST_BASS_ENABLE, AUDIOPOST_BASS_SECTION, AUDIOPOST_BASS_STRIDE},
    {"Exciter", AUDIOPOST_EXCITER_ENABLE, AUDIOPOST_EXCITER_SECTION, AUDIOPOST_EXCITER_STRIDE},
    {"DeEsser", AUDIOPOST_DEESSER_ENABLE, AUDIOPOST_DEESSER_SECTION, AUDIOPOST_DEESSER_STRIDE},
    {"EQ10", AUDIOPOST_EQ10_ENABLE, AUDIOPOST_EQ10_SECTION, AUDIOPOST_EQ10_STRIDE},
    {"MultiBandDRC", AUDIOPOST_DRC_ENABLE, AUDIOPOST_DRC_SECTION, AUDIOPOST_DRC_STRIDE},
    {"Agc", AUDIOPOST_AGC_ENABLE, AUDIOPOST_MAXIMIZER_SECTION, AUDIOPOST_MAXIMIZER_STRIDE},
    {"Maximizer", AUDIOPOST_MAXIMIZER_ENABLE, AUDIOPOST_MAXIMIZER_SECTION, AUDIOPOST_MAXIMIZER_STRIDE},
};

constexpr int kTextChannels = 2;  // channels that have settings of their own in the layout
struct DrcBand {
  const char* name;
  int offset;
};
// By audiopost_drc_band.
inline constexpr DrcBand kDrcBands[] = {{"low", AUDIOPOST_DRC_LOW},
                                        {"high", AUDIOPOST_DRC_HIGH},
                                        {"mid1", AUDIOPOST_DRC_MID1},
                                        {"mid2", AUDIOPOST_DRC_MID2}};
// As a listener counts them.
inline constexpr int kDrcBandsUpward[] = {AUDIOPOST_BAND_LOW, AUDIOPOST_BAND_MID1, AUDIOPOST_BAND_MID2,
                                          AUDIOPOST_BAND_HIGH};

// Whose fields.
struct Where {
  int effect, channel = -1, band = -1;
};

// Fields that belong together: the chain's, an effect's, those of one channel of it, or of one band of that.
struct Group {
  Where where;
  int start;  // index in the record
  Fields fields;
};

struct Groups {
  static constexpr int kMost = 64;
  Group list[kMost] = {};
  int count = 0;
  constexpr const Group* begin() const { return list; }
  constexpr const Group* end() const { return list + count; }
  constexpr void add(Where where, int start, Fields those) { list[count++] = {where, start, those}; }
};

constexpr Groups make_groups() {
  constexpr Fields of_channel[AUDIOPOST_EFFECTS] = {
      fields(kGainFields),      fields(kAutoGainFields), fields(kBassEnhancerFields),
      fields(kExciterFields),   fields(kDeEsserFields),  fields(kEqBandFields),
      fields(kCrossoverFields), fields(kAgcFields),      fields(kMaximizerFields)};
  Groups all;
  all.add({AUDIOPOST_EFFECT_CHAIN}, 0, fields(kChainFields));
  for (int e = 0; e < AUDIOPOST_EFFECTS; ++e) {
    const Effect& effect = kEffects[e];
    if (effect.flag >= 0) all.add({e}, effect.flag, fields(kEnableFields));
    if (effect.stride == 0) all.add({e}, effect.section, of_channel[e]);
    for (int ch = 0; ch < kTextChannels && effect.stride > 0; ++ch) {
      const int start = effect.section + ch * effect.stride;
      if (e == AUDIOPOST_EFFECT_EQ10)
        for (int b = 0; b < AUDIOPOST_EQ10_BANDS; ++b)
          all.add({e, ch, b}, start + AUDIOPOST_EQ10_BAND_STRIDE * b, of_channel[e]);
      else
        all.add({e, ch}, start, of_channel[e]);
      if (e != AUDIOPOST_EFFECT_MULTIBAND_DRC) continue;
      for (const int b : kDrcBandsUpward)
        all.add({e, ch, b}, start + kDrcBands[b].offset, fields(kDrcBandFields));
    }
  }
  return all;
}
// In the order of the record, and of the text form.
inline constexpr Groups kGroups = make_groups();

// ---- Filter types -----------------------------------------------------------------------------------
inline constexpr const char* kFilterNames[] = {"Parametric", "LowShelf", "HighShelf",     "GeneralLP",
                                               "GeneralHP",  "BandPass", "ButterworthLP", "ButterworthHP"};
constexpr int kFilterTypes = 8;

}  // namespace check
