#include "host/check.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "host/fields.h"

namespace host {
namespace {

// ---- What the library answers with, and its bounds -------------------------------------------------
constexpr char kVersionMessage[] = "The Version of Tuning Tool is Wrong, you should use version 2.00!";
constexpr char kBitRateMessage[] = "bit_rate is wrong!";
constexpr char kChannelMessage[] = "Too Many Channel!";
constexpr char kStepMessage[] = "frameLen is greater than steps! 0";
constexpr char kTypeMessage[] = "ErrorXXX: You should choose a filter type!";
constexpr char kCrossoverMessage[] = "There is something wrong with crossover, please check again";
constexpr char kDrcMessage[] = "wrong param for MultiDRC, please check again";
constexpr char kAgcMessage[] = "wrong param for agc, please check again";
constexpr int kMostChannels = 1024;
constexpr int64_t kMostSamples = int64_t{1} << 26;

// Indices: enable flags, and where a channel's record starts.
enum {
  kAutoGainFlag = 10,
  kBassFlag,
  kExciterFlag,
  kDeEsserFlag,
  kEqFlag,
  kDrcFlag,
  kAgcFlag,
  kMaximizerFlag
};
enum {
  kChannelGain = 20,
  kAutoGain = 30,
  kBass = 60,
  kExciter = 80,
  kDeEsser = 90,
  kEq = 100,
  kDrc = 200,
  kMaximizer = 400
};
constexpr int kBands = 10;

// Integers as the library forms products of them: wrapping.
int wrapped_product(int a, int b) {
  return static_cast<int>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

std::string text_of(float value) { return shortest(value, true); }

class Checker {
 public:
  Checker(const Record& record, int block)
      : record_(record),
        block_(block),
        sample_rate_(field_as_int(record, kSampleRate)),
        channels_(field_as_int(record, kChannels)),
        linked_(field_as_int(record, kChannelLink) != 0) {}

  std::vector<Finding> run() {
    check_chain();
    check_unheard();
    if (created(kAutoGainFlag, "AutoGain")) check_auto_gain();
    if (created(kBassFlag, "BassEnhancer") && fits("BassEnhancer"))
      for (int ch : records()) check_bass_enhancer(ch);
    if (created(kExciterFlag, "Exciter") && fits("Exciter"))
      for (int ch : records()) check_exciter(ch);
    if (created(kDeEsserFlag, "DeEsser") && fits("DeEsser"))
      for (int ch : records()) check_de_esser(ch);
    if (created(kEqFlag, "EQ10")) check_eq();
    if (created(kDrcFlag, "MultiBandDRC") && fits("MultiBandDRC"))
      for (int ch : records()) check_drc(ch);
    const bool agc = created(kAgcFlag, "Agc"), limiter = created(kMaximizerFlag, "Maximizer");
    if ((agc || limiter) && fits(limiter ? "Maximizer" : "Agc"))
      for (int ch : records()) check_peak_stage(ch, agc, limiter);
    return std::move(findings_);
  }

 private:
  // ---- Telling ----
  void add(Severity severity, const std::string& where, const std::string& text, const char* message = "") {
    findings_.push_back({severity, where, text, message});
  }
  void unstable(const std::string& where, const std::string& text) {
    warn(where, text + " would be unstable");
    findings_.back().unstable = true;
  }
  void note(const std::string& where, const std::string& text) { add(Severity::note, where, text); }
  void warn(const std::string& where, const std::string& text, const char* message = "") {
    add(Severity::warning, where, text, message);
  }
  void fatal(const std::string& where, const std::string& text, const char* message = "") {
    add(Severity::fatal, where, text, message);
  }

  // ---- Reading ----
  // Beyond the record the effects read zeros.
  float at(int index) const {
    return index < AUDIOPOST_PARAM_LENGTH ? record_[static_cast<size_t>(index)] : 0.0f;
  }
  int int_at(int index) const { return index < AUDIOPOST_PARAM_LENGTH ? field_as_int(record_, index) : 0; }

  // Channels that have a record of their own, of an effect that allows two.
  std::vector<int> records() const {
    if (channels_ < 1) return {};
    return linked_ || channels_ == 1 ? std::vector<int>{0} : std::vector<int>{0, 1};
  }

  // ---- What holds for any field ----
  // True if the value can be used as it is.
  bool usable(const std::string& where, const char* name, Kind kind, float value) {
    if (kind == Kind::number) {
      if (std::isfinite(value)) return true;
      warn(where, std::string(name) + " is " + (std::isnan(value) ? "not a number" : "infinite") +
                      "; the chain would play noise or nothing");
      return false;
    }
    const double bounded = std::min(std::max(double{value}, -2147483648.0), 2147483647.0);
    const double whole = std::isnan(value) ? 0.0 : std::trunc(bounded);
    if (!(whole == double{value}))
      note(where, std::string(name) + " " + text_of(value) + " is read as the integer " +
                      std::to_string(static_cast<int>(whole)));
    return true;
  }

  bool usable(const std::string& where, const std::vector<Field>& fields, int start) {
    bool all = true;
    for (const Field& field : fields) {
      const float value = at(start + field.index - fields.front().index);
      all &= usable(where, field.name, field.kind, value);
      if (std::isfinite(value) && (value < field.least || value > field.most))
        note(where, std::string(field.name) + " " + text_of(value) + " lies outside " + range(field));
    }
    return all;
  }

  // The table of that name, its values checked as above.
  bool usable(const std::string& path) {
    const auto table =
        std::find_if(tables().begin(), tables().end(), [&](const Table& t) { return t.path == path; });
    return usable(table->where, table->fields, table->fields.front().index);
  }

  // A gain whose factor leaves room for a full-scale sample in a float.
  void check_gain(int index) {
    const Place gain = place(index);
    if (std::isfinite(at(index)) && at(index) > 650.0f)
      warn(gain.table->where, std::string(gain.field->name) + " " + text_of(at(index)) +
                                  " dB is more than a float can hold; the chain would play noise");
  }

  // ---- What holds for any effect ----
  bool created(int flag, const char* name) {
    usable(name, "enable", Kind::flag, at(flag));
    const int enable = int_at(flag);
    if (enable != 0 && enable != 1)
      warn(name, "enable is " + std::to_string(enable) +
                     ": the chain creates the effect but never runs it; 1 turns it on, 0 off");
    return enable != 0;
  }

  bool fits(const char* name) {
    if (channels_ <= 2) return true;
    fatal(name,
          "allows one or two channels and the record has " + std::to_string(channels_) +
              "; the chain would end the process",
          kChannelMessage);
    return false;
  }

  void frequency(const std::string& where, const char* name, float hz) {
    const float half = static_cast<float>(sample_rate_) / 2.0f;
    if (!std::isfinite(hz)) return;  // said already
    if (!(hz > 0.0f))
      warn(where, std::string(name) + " " + text_of(hz) + " Hz is not above 0; its filter would not work");
    else if (!(hz < half))
      unstable(where, std::string(name) + " " + text_of(hz) + " Hz is not below half the sample rate, " +
                          text_of(half) + " Hz; its filter");
  }

  void time(const std::string& where, const char* name, float ms) {
    if (ms < 0.0f)
      warn(where, std::string(name) + " " + text_of(ms) + " ms is negative; the level would run away");
    else if (ms == 0.0f)
      note(where, std::string(name) + " is 0; the change comes at once");
  }

  void clamped(const std::string& where, const char* name, float value, float least, float most) {
    if (value < least || value > most)
      note(where, std::string(name) + " " + text_of(value) + " is clamped to " +
                      text_of(value < least ? least : most));
  }

  // The corners of an expander/compressor curve; `complaint` is what the chain says to a wrong order.
  void curve(const std::string& where, int start, bool runs, const char* complaint) {
    const float compress_start = at(start), expand_end = at(start + 1), noise_threshold = at(start + 2);
    const float max_gain = at(start + 3), max_peak = at(start + 4);
    const std::string off = runs ? "" : " (it is off, but the chain checks it all the same)";
    const auto wrong = [&](const std::string& text) { warn(where, text + off, complaint); };
    if (noise_threshold > expand_end)
      wrong("noise_threshold " + text_of(noise_threshold) + " dB lies above expand_end " +
            text_of(expand_end) + " dB");
    else if (expand_end > compress_start)
      wrong("expand_end " + text_of(expand_end) + " dB lies above compress_start " + text_of(compress_start) +
            " dB");
    else if (compress_start + max_gain > max_peak)
      wrong("compress_start " + text_of(compress_start) + " dB + max_gain " + text_of(max_gain) +
            " dB lies above max_peak " + text_of(max_peak) + " dB");
    if (!runs) return;
    for (const auto& [name, gain_dB] : {std::pair("max_gain", max_gain), std::pair("max_peak", max_peak)})
      if (gain_dB < -60.0f)  // full scale is 0 dB: max_peak is the gain there
        note(where, std::string(name) + " " + text_of(gain_dB) +
                        " dB asks for a gain below -60 dB; the chain's end there");
    if (noise_threshold == expand_end)
      warn(where, "noise_threshold equals expand_end; the expander would be infinitely steep");
    if (compress_start >= 0.0f)
      warn(where, "compress_start is not below 0 dB; the curve has no room to compress");
  }

  // ---- The chain and each effect ----
  void check_chain();
  void check_unheard();
  void check_auto_gain();
  void check_bass_enhancer(int ch);
  void check_exciter(int ch);
  void check_de_esser(int ch);
  void check_eq();
  void check_eq_band(const std::string& where, int start);
  void check_drc(int ch);
  void check_drc_band(const std::string& where, int start);
  void check_crossover(const std::string& where, int start, int bands);
  void check_peak_stage(int ch, bool agc, bool limiter);
  bool shaper_works(int start) const;

  const Record& record_;
  const int block_, sample_rate_, channels_;
  const bool linked_;
  std::vector<Finding> findings_;
};

std::string channel_name(const char* effect, int ch) {
  return std::string(effect) + " channel " + std::to_string(ch);
}

// ---- Chain -----------------------------------------------------------------------------------------
void Checker::check_chain() {
  // All but the version, of which more below.
  for (const int index : {kSampleRate, kBitRate, kChannelLink, kChannels}) {
    const Field& field = *place(index).field;
    usable("chain", field.name, field.kind, at(index));
  }
  if (sample_rate_ < 1)
    warn("chain", "sample_rate " + text_of(at(kSampleRate)) + " leaves every filter without a frequency");
  const int bits = int_at(kBitRate);
  if (bits != 16 && bits != 24 && bits != 32)
    fatal("chain", "bit_rate " + std::to_string(bits) + " is not 16, 24 or 32; AudioPost_Init would fail",
          kBitRateMessage);
  else if (bits != 16)
    warn("chain",
         "bit_rate " + std::to_string(bits) + ": the PCM is 16 bits wide all the same; levels would read " +
             (bits == 24 ? "48" : "96") + " dB too low and overloads wrap instead of clipping; use 16");
  const int link = int_at(kChannelLink);
  if (link != 0 && link != 1)
    note("chain", "channel_link " + std::to_string(link) + " links the channels as 1 does");
  if (channels_ < 1)
    warn("chain", "channels " + std::to_string(channels_) + ": the chain would process nothing");
  else if (channels_ > kMostChannels)
    fatal("chain", "channels " + std::to_string(channels_) + ": AudioPost_Init allows 1024 at most");
  else if (int64_t{channels_} * block_ > kMostSamples)
    fatal("chain", "a block of " + std::to_string(block_) + " frames is too long; AudioPost_Init would fail");
  else if (channels_ > 2)
    note("chain", "channels " + std::to_string(channels_) +
                      ": process_file and all effects but AutoGain and EQ10 take two at most");
  const float off = at(kVersion) - 2.0f;
  if (static_cast<double>(std::fabs(off)) > 0.0001)
    fatal("chain", "version " + text_of(at(kVersion)) + " is not 2.0; AudioPost_Init would fail",
          kVersionMessage);
  else if (std::isnan(off))
    note("chain", "version is not a number; the chain takes it for 2.0");
  for (int ch : records()) {
    usable("chain.channel" + std::to_string(ch));
    check_gain(kChannelGain + 5 * ch);
  }
  if (channels_ > 2 && !linked_)
    warn("chain",
         "the record has input gains for two channels; channel 2 and up take theirs from the settings of "
         "AutoGain and what follows, from index 30 in steps of 5; link the channels");
}

// Settings that nothing will hear.
void Checker::check_unheard() {
  std::string indices;
  int count = 0;
  for (int i = 0; i < AUDIOPOST_PARAM_LENGTH; ++i)
    if (bits_of(at(i)) << 1 && !place(i).field && ++count <= 4)
      indices += (indices.empty() ? "" : ", ") + std::to_string(i);
  if (count)
    note("unread", std::to_string(count) + (count == 1 ? " value stands" : " values stand") +
                       " where the chain reads no setting: index " + indices + (count > 4 ? ", ..." : ""));
  if (channels_ < 1 || (channels_ > 1 && !linked_)) return;
  for (const Table& table : tables())
    if (table.channel == 1 && std::any_of(table.fields.begin(), table.fields.end(),
                                          [&](const Field& f) { return bits_of(at(f.index)) << 1; })) {
      note(table.where, linked_ ? "is ignored: the channels are linked, all use channel 0"
                                : "is ignored: the record has one channel");
      return;  // once is enough
    }
}

// ---- Loudness --------------------------------------------------------------------------------------
void Checker::check_auto_gain() {
  const std::string where = "AutoGain";
  usable(where);
  time(where, "attack_time", at(kAutoGain + 1));
  time(where, "release_time", at(kAutoGain + 2));
  const int window = wrapped_product(sample_rate_, int_at(kAutoGain + 3)) / 1000;
  const int step = wrapped_product(sample_rate_, int_at(kAutoGain + 4)) / 1000;
  if (step < block_ && int_at(kAutoGainFlag) == 1)
    fatal(where,
          "r128_steps " + text_of(at(kAutoGain + 4)) + " ms is " + std::to_string(step) +
              " samples, shorter than a block of " + std::to_string(block_) +
              "; the chain would end the process",
          kStepMessage);
  if (window > kMostSamples || int64_t{std::max(channels_, 0)} * window > kMostSamples)
    fatal(where, "r128_wins " + text_of(at(kAutoGain + 3)) + " ms is too long; AudioPost_Init would fail");
  else if (window < 1)
    warn(where, "r128_wins " + text_of(at(kAutoGain + 3)) +
                    " ms leaves no window to measure; the gain would stay at 0 dB");
}

// ---- Tone ------------------------------------------------------------------------------------------
// Some values of drive and blend (0 and 10.5 among them) divide by zero in the waveshaper's design: try it.
bool Checker::shaper_works(int start) const {
  constexpr int kFrames = 64;
  const float section[] = {0.0f, at(start + 1), at(start + 2), at(start + 3), at(start + 4), at(start + 5)};
  const std::unique_ptr<BassEnhancerState, int (*)(BassEnhancerState*)> effect(
      BassEnhancer_Init(section, 16, sample_rate_, 1, 0), BassEnhancer_Destroy);
  if (!effect) return true;
  float samples[kFrames];
  for (int i = 0; i < kFrames; ++i) samples[i] = i % 16 < 8 ? 8000.0f : -8000.0f;
  float* channel = samples;
  BassEnhancer_Process(effect.get(), &channel, &channel, kFrames);
  return std::all_of(samples, samples + kFrames, [](float x) { return std::isfinite(x); });
}

void Checker::check_bass_enhancer(int ch) {
  const std::string where = channel_name("BassEnhancer", ch);
  const int start = kBass + 10 * ch;
  if (!usable("BassEnhancer.channel" + std::to_string(ch))) return;
  check_gain(start);
  const size_t before = findings_.size();
  frequency(where, "freq", at(start + 3));
  if (at(start + 3) * 3.0f >= static_cast<float>(sample_rate_) / 2.0f && findings_.size() == before)
    unstable(where, "three times freq " + text_of(at(start + 3)) +
                        " Hz is not below half the sample rate; the harmonics' filter");
  if (int_at(start + 4) > 0) frequency(where, "floor", at(start + 5));
  if (findings_.size() == before && !shaper_works(start))
    warn(where, "drive " + text_of(at(start + 1)) + " and blend " + text_of(at(start + 2)) +
                    " divide by zero in the waveshaper; the chain would play noise");
  if (at(start + 1) > 12.0f)
    warn(where, "drive " + text_of(at(start + 1)) +
                    ": above 12 the waveshaper's curve jumps at zero; the start thumps and soft bass buzzes");
}

void Checker::check_exciter(int ch) {
  const std::string where = channel_name("Exciter", ch);
  const int start = kExciter + 5 * ch;
  usable("Exciter.channel" + std::to_string(ch));
  const float drive = std::pow(10.0f, 2.0f * at(start + 1));
  if (std::isfinite(at(start + 1)) && (!std::isfinite(drive) || !std::isfinite(1.0f / drive)))
    warn(where, "distortion_amount " + text_of(at(start + 1)) + " makes a drive beyond all numbers");
  frequency(where, "Cutoff", at(start + 2));
}

void Checker::check_de_esser(int ch) {
  const std::string where = channel_name("DeEsser", ch);
  const int start = kDeEsser + 5 * ch;
  usable("DeEsser.channel" + std::to_string(ch));
  frequency(where, "f0", at(start));
  if (at(start + 1) >= 0.0f)
    note(where, "threshold " + text_of(at(start + 1)) + " dB is hardly ever reached");
}

// Any number of channels: from the third on an unlinked record's bands lie beyond EQ10's own section.
void Checker::check_eq() {
  const int channels = linked_ ? std::min(channels_, 1) : std::min(channels_, kMostChannels);
  for (int ch = 0; ch < channels; ++ch)
    for (int band = 0; band < kBands; ++band)
      check_eq_band(channel_name("EQ10", ch) + " band " + std::to_string(band), kEq + 50 * ch + 5 * band);
  if (channels > 2)
    warn(
        "EQ10",
        "has bands for two channels; channel 2 and up read theirs from the settings of MultiBandDRC and what "
        "follows; link the channels");
}

void Checker::check_eq_band(const std::string& where, int start) {
  static const std::vector<Field>& fields = place(kEq).table->fields;
  usable(where, "enable", Kind::flag, at(start));
  const int enable = int_at(start), type = int_at(start + 1);
  if (enable == 0) return;
  if (enable != 1)
    warn(where, "enable is " + std::to_string(enable) +
                    ": bands would be run a wrong number of times; 1 turns it on");
  usable(where, {fields.begin() + 1, fields.end()}, start + 1);
  if (!filter_name(type)) {
    fatal(where, "type " + std::to_string(type) + " is unknown; the chain would end the process",
          kTypeMessage);
    return;
  }
  frequency(where, "fc", at(start + 2));
  if (type == ButterworthLP || type == ButterworthHP) {
    if (at(start + 4) != 0.0f)
      warn(where,
           "boost scales the feedback of a Butterworth filter too; set it to 0, or take GeneralLP or "
           "GeneralHP");
    return;
  }
  const bool shelf = type == LowShelf || type == HighShelf;
  clamped(where,
          shelf              ? "Q (here the slope S)"
          : type == BandPass ? "Q (here octaves)"
                             : "Q",
          at(start + 3), 0.01f,
          shelf              ? 2.0f
          : type == BandPass ? 11.0f
                             : 16.0f);
  clamped(where, "boost", at(start + 4), -20.0f, 20.0f);
}

// ---- Dynamics --------------------------------------------------------------------------------------
void Checker::check_drc(int ch) {
  const std::string where = channel_name("MultiBandDRC", ch),
                    path = "MultiBandDRC.channel" + std::to_string(ch);
  const int start = kDrc + 100 * ch, bands = int_at(start);
  usable(path);
  if (bands < 2 || bands > 4)
    warn(where,
         "crossover_band " + std::to_string(bands) + " is not 2, 3 or 4; " +
             (bands < 1 ? "the chain would play nothing" : "the chain would leave bands out"),
         bands > 4 ? kCrossoverMessage : "");
  // In the order in which the chain numbers bands.
  const struct {
    const char* name;
    int offset;
  } order[] = {{"low", 10}, {"high", 70}, {"mid1", 30}, {"mid2", 50}};
  int compressed = 0;
  for (int b = 0; b < std::min(bands, 4); ++b) {
    usable(path + "." + order[b].name);
    check_gain(start + order[b].offset + 2);
    check_drc_band(where + " " + order[b].name + " band", start + order[b].offset);
    compressed += int_at(start + order[b].offset + 3) != 0;
  }
  if (compressed > 0 && compressed < std::min(bands, 4))
    note(where, "compressed bands are scaled by 1/" + std::to_string(bands) +
                    ", the others are not; gain_dB can make up");
  if (bands >= 2 && bands <= 4) check_crossover(where, start, bands);
}

void Checker::check_drc_band(const std::string& where, int start) {
  const int enable = int_at(start + 3);
  if (enable != 0 && enable != 1)
    note(where, "drc_enable " + std::to_string(enable) + " compresses as 1 does");
  curve(where, start + 4, enable != 0, kDrcMessage);
  if (enable == 0) return;
  for (int i : {9, 10}) {
    const char* const name = i == 9 ? "attack_time" : "release_time";
    const int ms = int_at(start + i);
    time(where, name, static_cast<float>(ms));
    if (ms > 0 && int64_t{ms} * sample_rate_ > INT32_MAX)
      warn(where, std::string(name) + " " + std::to_string(ms) +
                      " ms is too long at this sample rate; it overflows");
  }
  if (int_at(start + 11) != 0) note(where, "hold_time has no effect");
}

void Checker::check_crossover(const std::string& where, int start, int bands) {
  struct Band {
    const char* name;
    float from, to;
  };
  const auto band = [&](const char* name, int offset) {
    return Band{name, at(start + offset), at(start + offset + 1)};
  };
  std::vector<Band> all = {band("low", 10)};
  if (bands >= 3) all.push_back(band("mid1", 30));
  if (bands >= 4) all.push_back(band("mid2", 50));
  all.push_back(band("high", 70));
  for (size_t i = 0; i + 1 < all.size(); ++i) {
    const Band &below = all[i], &above = all[i + 1];
    frequency(where + " " + below.name + " band", "freq_end", below.to);
    frequency(where + " " + above.name + " band", "freq_start", above.from);
    const bool octave = above.from > 2.0f * below.to;
    if (below.to < above.from || below.to > above.from)
      add(octave ? Severity::warning : Severity::note, where,
          std::string(below.name) + " ends at " + text_of(below.to) + " Hz and " + above.name +
              " starts at " + text_of(above.from) + " Hz; what lies between is " +
              (below.to < above.from ? "lost" : "heard twice"));
  }
}

void Checker::check_peak_stage(int ch, bool agc, bool limiter) {
  const int start = kMaximizer + 20 * ch;
  const std::string agc_name = channel_name("Agc", ch), name = channel_name("Maximizer", ch);
  if (agc) {
    usable("Agc.channel" + std::to_string(ch));
    time(agc_name, "attack_time", at(start + 8));
    time(agc_name, "release_time", at(start + 9));
    if (at(start + 10) != 0.0f) note(agc_name, "hold_time has no effect");
  }
  curve(agc_name, start + 3, agc, kAgcMessage);
  if (!limiter) return;
  usable("Maximizer.channel" + std::to_string(ch));
  if (at(start) > 2.5f)
    warn(name, "max_threshold " + text_of(at(start)) +
                   " dB: above 2.5 dB the limiter has no knee and brings every level to 0 dB");
  if (at(start + 1) > 0.0f)
    note(name, "ceiling " + text_of(at(start + 1)) + " dB is above full scale; the output would clip");
  time(name, "release", at(start + 2));
}

}  // namespace

std::vector<Finding> check(const Record& record, int block) { return Checker(record, block).run(); }

bool unusable(const std::vector<Finding>& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& f) { return f.severity == Severity::fatal; });
}

}  // namespace host
