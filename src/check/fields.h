// Every field of the tuning record that the chain can read: where it stands, what it is called, its unit and range.
// Constant tables, for the rules here and for the text form, differences and curves of programs.
#pragma once

#include <cmath>
#include <cstddef>

#include "audiopost_check.h"

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
    {0, "sample_rate", Kind::integer, "Hz", ""},
    {1, "bit_rate", Kind::integer, "bits", "of the PCM: 16, 24 or 32"},
    {2, "channel_link", Kind::flag, "", "true: every channel uses the settings of channel 0"},
    {3, "channels", Kind::integer, "", "interleaved; most effects allow 1 or 2"},
    {4, "version", Kind::number, "", "of the tuning tool; must be 2.0"},
};
inline constexpr Field kGainFields[] = {{0, "gain_dB", Kind::number, "dB", "input gain", -60, 20}};
inline constexpr Field kEnableFields[] = {{0, "enable", Kind::flag, "", ""}};
inline constexpr Field kAutoGainFields[] = {
    {0, "target_i_dB", Kind::number, "LUFS", "integrated loudness to steer to", -40, -5},
    {1, "attack_time", Kind::number, "ms", "rising gain"},
    {2, "release_time", Kind::number, "ms", "falling gain"},
    {3, "r128_wins", Kind::integer, "ms", "window of the loudness meter; 400 by the standard"},
    {4, "r128_steps", Kind::integer, "ms", "between two readings; not shorter than a block"},
};
inline constexpr Field kBassEnhancerFields[] = {
    {0, "amount_dB", Kind::number, "dB", "level of the harmonics", -60, 20},
    {1, "drive", Kind::number, "", "of the waveshaper", 1, 11},
    {2, "blend", Kind::number, "", "shape of the waveshaper", 0, 10},
    {3, "freq", Kind::number, "Hz", "what lies below is replaced by harmonics"},
    {4, "floor_active", Kind::flag, "", ""},
    {5, "floor", Kind::number, "Hz", "harmonics below are cut when floor_active"},
};
inline constexpr Field kExciterFields[] = {
    {0, "even_harmonics", Kind::number, "", "bias before the clipper; 0 gives odd harmonics alone", -1, 1},
    {1, "distortion_amount", Kind::number, "", "drive is 10 to the power of twice this", 0, 1},
    {2, "Cutoff", Kind::number, "Hz", "harmonics are made of what lies above"},
    {3, "mix", Kind::number, "", "share of the processed signal", 0, 1},
};
inline constexpr Field kDeEsserFields[] = {
    {0, "f0", Kind::number, "Hz", "centre of the sibilance"},
    {1, "threshold", Kind::number, "dBFS", "level in that octave above which it is ducked"},
};
inline constexpr Field kEqBandFields[] = {
    {0, "enable", Kind::flag, "", ""},    {1, "type", Kind::filter, "", ""},
    {2, "fc", Kind::number, "Hz", ""},    {3, "Q", Kind::number, "", ""},
    {4, "boost", Kind::number, "dB", ""},
};
inline constexpr Field kCrossoverFields[] = {
    {0, "crossover_band", Kind::integer, "", "bands in use: 2 (low, high), 3 (with mid1) or 4"}};
inline constexpr Field kDrcBandFields[] = {
    {0, "freq_start", Kind::number, "Hz", "lower edge; the low band has none"},
    {1, "freq_end", Kind::number, "Hz", "upper edge; the high band has none"},
    {2, "gain_dB", Kind::number, "dB", "before the compressor", -60, 20},
    {3, "drc_enable", Kind::flag, "", "a compressed band is scaled by 1 / crossover_band as well"},
    {4, "compress_start", Kind::number, "dBFS", "compression above; expand_end ... 0"},
    {5, "expand_end", Kind::number, "dBFS", "expansion below; noise_threshold ... compress_start"},
    {6, "noise_threshold", Kind::number, "dBFS", "the expander's unity point; below expand_end"},
    {7, "max_gain", Kind::number, "dB", "between expand_end and compress_start"},
    {8, "max_peak", Kind::number, "dBFS", "output for full scale; at least compress_start + max_gain"},
    {9, "attack_time", Kind::integer, "ms", ""},
    {10, "release_time", Kind::integer, "ms", ""},
    {11, "hold_time", Kind::integer, "ms", "has no effect"},
};
inline constexpr Field kAgcFields[] = {
    {3, "compress_start", Kind::number, "dBFS", "compression above; expand_end ... 0"},
    {4, "expand_end", Kind::number, "dBFS", "expansion below; noise_threshold ... compress_start"},
    {5, "noise_threshold", Kind::number, "dBFS", "the expander's unity point; below expand_end"},
    {6, "max_gain", Kind::number, "dB", "between expand_end and compress_start"},
    {7, "max_peak", Kind::number, "dBFS", "output for full scale; at least compress_start + max_gain"},
    {8, "attack_time", Kind::number, "ms", "rising gain"},
    {9, "release_time", Kind::number, "ms", "falling gain"},
    {10, "hold_time", Kind::number, "ms", "has no effect"},
};
inline constexpr Field kMaximizerFields[] = {
    {0, "max_threshold", Kind::number, "dBFS", "limiting above", -24, 0},
    {1, "ceiling", Kind::number, "dBFS",
     "level of loud, steady sound; ceiling - max_threshold is make-up gain"},
    {2, "release", Kind::number, "ms", ""},
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
    {"chain", -1, 20, 5},           {"AutoGain", 10, 30, 0}, {"BassEnhancer", 11, 60, 10},
    {"Exciter", 12, 80, 5},         {"DeEsser", 13, 90, 5},  {"EQ10", 14, 100, 50},
    {"MultiBandDRC", 15, 200, 100}, {"Agc", 16, 400, 20},    {"Maximizer", 17, 400, 20},
};

constexpr int kTextChannels = 2;  // channels that have settings of their own in the layout
constexpr int kEqBands = 10;
constexpr int kEqBandLength = 5;
struct DrcBand {
  const char* name;
  int offset;
};
// By audiopost_drc_band.
inline constexpr DrcBand kDrcBands[] = {{"low", 10}, {"high", 70}, {"mid1", 30}, {"mid2", 50}};
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
        for (int b = 0; b < kEqBands; ++b) all.add({e, ch, b}, start + kEqBandLength * b, of_channel[e]);
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
