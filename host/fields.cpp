#include "host/fields.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace host {
namespace {

constexpr int kTextChannels = 2;  // channels that have records of their own in the layout
constexpr int kEqBands = 10;

// ---- The layout: offsets are relative to the start of the record that the list describes -----------
using Fields = std::vector<Field>;

const Fields kChain = {
    {kSampleRate, "sample_rate", Kind::integer, "Hz", ""},
    {kBitRate, "bit_rate", Kind::integer, "bits", "of the PCM: 16, 24 or 32"},
    {kChannelLink, "channel_link", Kind::flag, "", "true: every channel uses the settings of channel 0"},
    {kChannels, "channels", Kind::integer, "", "interleaved; most effects allow 1 or 2"},
    {kVersion, "version", Kind::number, "", "of the tuning tool; must be 2.0"},
};
const Fields kGain = {{0, "gain_dB", Kind::number, "dB", "input gain", -60, 20}};
const Fields kAutoGain = {
    {0, "target_i_dB", Kind::number, "LUFS", "integrated loudness to steer to", -40, -5},
    {1, "attack_time", Kind::number, "ms", "rising gain"},
    {2, "release_time", Kind::number, "ms", "falling gain"},
    {3, "r128_wins", Kind::integer, "ms", "window of the loudness meter; 400 by the standard"},
    {4, "r128_steps", Kind::integer, "ms", "between two readings; not shorter than a block"},
};
const Fields kBassEnhancer = {
    {0, "amount_dB", Kind::number, "dB", "level of the harmonics", -60, 20},
    {1, "drive", Kind::number, "", "of the waveshaper", 1, 11},
    {2, "blend", Kind::number, "", "shape of the waveshaper", 0, 10},
    {3, "freq", Kind::number, "Hz", "what lies below is replaced by harmonics"},
    {4, "floor_active", Kind::flag, "", ""},
    {5, "floor", Kind::number, "Hz", "harmonics below are cut when floor_active"},
};
const Fields kExciter = {
    {0, "even_harmonics", Kind::number, "", "bias before the clipper; 0 gives odd harmonics alone", -1, 1},
    {1, "distortion_amount", Kind::number, "", "drive is 10 to the power of twice this", 0, 1},
    {2, "Cutoff", Kind::number, "Hz", "harmonics are made of what lies above"},
    {3, "mix", Kind::number, "", "share of the processed signal", 0, 1},
};
const Fields kDeEsser = {
    {0, "f0", Kind::number, "Hz", "centre of the sibilance"},
    {1, "threshold", Kind::number, "dBFS", "level in that octave above which it is ducked"},
};
const Fields kEqBand = {
    {0, "enable", Kind::flag, "", ""},    {1, "type", Kind::filter, "", ""},
    {2, "fc", Kind::number, "Hz", ""},    {3, "Q", Kind::number, "", ""},
    {4, "boost", Kind::number, "dB", ""},
};
const Fields kCrossover = {
    {0, "crossover_band", Kind::integer, "", "bands in use: 2 (low, high), 3 (with mid1) or 4"}};
const Fields kDrcBand = {
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
const Fields kAgc = {
    {3, "compress_start", Kind::number, "dBFS", "compression above; expand_end ... 0"},
    {4, "expand_end", Kind::number, "dBFS", "expansion below; noise_threshold ... compress_start"},
    {5, "noise_threshold", Kind::number, "dBFS", "the expander's unity point; below expand_end"},
    {6, "max_gain", Kind::number, "dB", "between expand_end and compress_start"},
    {7, "max_peak", Kind::number, "dBFS", "output for full scale; at least compress_start + max_gain"},
    {8, "attack_time", Kind::number, "ms", "rising gain"},
    {9, "release_time", Kind::number, "ms", "falling gain"},
    {10, "hold_time", Kind::number, "ms", "has no effect"},
};
const Fields kMaximizer = {
    {0, "max_threshold", Kind::number, "dBFS", "limiting above", -24, 0},
    {1, "ceiling", Kind::number, "dBFS",
     "level of loud, steady sound; ceiling - max_threshold is make-up gain"},
    {2, "release", Kind::number, "ms", ""},
};

struct Effect {
  const char* name;
  int flag;     // index in the record
  int section;  // likewise
  int stride;   // between channels; 0: the fields belong to no channel
  const Fields& fields;
};
const Effect kEffects[] = {
    {"AutoGain", 10, 30, 0, kAutoGain}, {"BassEnhancer", 11, 60, 10, kBassEnhancer},
    {"Exciter", 12, 80, 5, kExciter},   {"DeEsser", 13, 90, 5, kDeEsser},
    {"EQ10", 14, 100, 50, kEqBand},     {"MultiBandDRC", 15, 200, 100, kDrcBand},
    {"Agc", 16, 400, 20, kAgc},         {"Maximizer", 17, 400, 20, kMaximizer},
};
constexpr struct {
  const char* name;
  int offset;
} kDrcBands[] = {{"low", 10}, {"mid1", 30}, {"mid2", 50}, {"high", 70}};

// ---- The tables ------------------------------------------------------------------------------------
Fields moved(Fields fields, int by) {
  for (Field& f : fields) f.index += by;
  return fields;
}

void add_channel(std::vector<Table>& all, const Effect& effect, int ch) {
  const int start = effect.section + ch * effect.stride;
  const std::string path = std::string(effect.name) + ".channel" + std::to_string(ch);
  const std::string where = std::string(effect.name) + " channel " + std::to_string(ch);
  if (&effect.fields == &kEqBand) {
    for (int b = 0; b < kEqBands; ++b)
      all.push_back({path + ".band" + std::to_string(b), where + " band " + std::to_string(b), ch, true,
                     moved(kEqBand, start + 5 * b)});
  } else if (&effect.fields == &kDrcBand) {
    all.push_back({path, where, ch, false, moved(kCrossover, start)});
    for (const auto& band : kDrcBands)
      all.push_back({path + "." + band.name, where + " " + band.name + " band", ch, false,
                     moved(kDrcBand, start + band.offset)});
  } else {
    all.push_back({path, where, ch, false, moved(effect.fields, start)});
  }
}

std::vector<Table> make_tables() {
  std::vector<Table> all = {{"chain", "chain", -1, false, kChain}};
  for (int ch = 0; ch < kTextChannels; ++ch)
    all.push_back({"chain.channel" + std::to_string(ch), "chain channel " + std::to_string(ch), ch, false,
                   moved(kGain, 20 + 5 * ch)});
  for (const Effect& effect : kEffects) {
    all.push_back({effect.name, effect.name, -1, false, {{effect.flag, "enable", Kind::flag, "", ""}}});
    if (effect.stride == 0) {
      for (const Field& f : moved(effect.fields, effect.section)) all.back().fields.push_back(f);
    } else {
      for (int ch = 0; ch < kTextChannels; ++ch) add_channel(all, effect, ch);
    }
  }
  return all;
}

constexpr const char* kFilterNames[] = {"Parametric", "LowShelf", "HighShelf",     "GeneralLP",
                                        "GeneralHP",  "BandPass", "ButterworthLP", "ButterworthHP"};

}  // namespace

const std::vector<Table>& tables() {
  static const std::vector<Table> all = make_tables();
  return all;
}

const Table& table_of_channel0(const Table& table) {
  std::string path = table.path;
  path[path.find(".channel") + sizeof ".channel" - 1] = '0';
  return *std::find_if(tables().begin(), tables().end(), [&](const Table& t) { return t.path == path; });
}

void copy_from_channel0(Record& record, const Table& table) {
  const Table& from = table_of_channel0(table);
  for (size_t i = 0; i < table.fields.size(); ++i)
    record[static_cast<size_t>(table.fields[i].index)] = record[static_cast<size_t>(from.fields[i].index)];
}

Place place(int index) {
  for (const Table& table : tables())
    for (const Field& field : table.fields)
      if (field.index == index) return {&table, &field};
  return {nullptr, nullptr};
}

// ---- Values ----------------------------------------------------------------------------------------
const char* filter_name(int code) {
  return code >= 0 && code < static_cast<int>(std::size(kFilterNames)) ? kFilterNames[code] : nullptr;
}

int filter_code(std::string_view name) {
  const auto at = std::find(std::begin(kFilterNames), std::end(kFilterNames), name);
  return at == std::end(kFilterNames) ? -1 : static_cast<int>(at - std::begin(kFilterNames));
}

std::string shortest(float value, bool whole) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  char text[32];
  // Readers go by way of double. Should that round to a neighbour (the decimal lies within a double's
  // rounding of the middle between two floats), the double's own digits do not.
  char* end = std::to_chars(text, text + sizeof text, value).ptr;
  double back = 0;
  std::from_chars(text, end, back);
  if (static_cast<float>(back) != value) end = std::to_chars(text, text + sizeof text, double{value}).ptr;
  std::string result(text, end);
  const bool negative_zero = value == 0.0f && std::signbit(value);
  if (result.find_first_of(".e") == std::string::npos && (!whole || negative_zero)) result += ".0";
  return result;
}

std::string range(const Field& field) {
  return std::isinf(field.least) ? "" : shortest(field.least, true) + " ... " + shortest(field.most, true);
}

std::string with_unit(const Field& field, float value) {
  const uint32_t bits = bits_of(value);
  if (field.kind == Kind::flag && (bits == bits_of(0.0f) || bits == bits_of(1.0f)))
    return bits ? "on" : "off";
  if (field.kind == Kind::filter && value == std::floor(value) && value >= 0.0f && value < 8.0f)
    return filter_name(static_cast<int>(value));
  const std::string number = shortest(value, true);
  return *field.unit ? number + " " + field.unit : number;
}

std::string hex(float value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", bits_of(value));
  return text;
}

uint32_t bits_of(float value) {
  uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

float float_of(uint32_t bits) {
  float value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

}  // namespace host
