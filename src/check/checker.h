// What the rules share: the record as the chain reads it, and the list that findings go to. One file of rules per
// effect; check.cpp calls them in the order of the record.
#pragma once

#include <cstdint>
#include <initializer_list>

#include "check/fields.h"
#include "common/numeric.h"
#include "filters/crossover.h"
#include "zelkaudio_effect_eqdrc.h"

namespace check {

// Bounds of the chain.
constexpr int kMostChannels = 1024;
constexpr int64_t kMostSamples = int64_t{1} << 26;

constexpr int start_of(Where where) {
  const Effect& effect = kEffects[where.effect];
  return effect.section + where.channel * effect.stride;
}

// What a value was held against, for the finding.
struct Held {
  float least = -INFINITY, most = INFINITY;
  int count = 0;
  float noise_dBFS = -INFINITY;
};

class Checker {
 public:
  Checker(const float* record, int frames, audiopost_finding* out, int room)
      : block(frames),
        sample_rate(common::truncate_to_int(record[AUDIOPOST_SAMPLE_RATE])),
        channels(common::truncate_to_int(record[AUDIOPOST_CHANNELS])),
        linked(common::truncate_to_int(record[AUDIOPOST_CHANNEL_LINK]) != 0),
        record_(record),
        out_(out),
        room_(out ? room : 0) {}

  // ---- Reading ----
  // Beyond the record the effects read zeros.
  float at(int index) const { return index < AUDIOPOST_PARAM_LENGTH ? record_[index] : 0.0f; }
  int int_at(int index) const { return common::truncate_to_int(static_cast<double>(at(index))); }
  float half_rate() const { return static_cast<float>(sample_rate) / 2.0f; }
  // Channels that have settings of their own, of an effect that allows two.
  int stereo_records() const { return channels < 1 ? 0 : linked || channels == 1 ? 1 : 2; }

  // ---- Telling ----
  // About the fields at those indices, the one to change first in front.
  void add(int severity, int rule, Where where, const int* indices, int count, Held held = {});
  void add(int severity, int rule, Where where, std::initializer_list<int> indices, Held held = {}) {
    add(severity, rule, where, indices.begin(), static_cast<int>(indices.size()), held);
  }
  void note(int rule, Where where, std::initializer_list<int> indices, Held held = {}) {
    add(AUDIOPOST_NOTE, rule, where, indices, held);
  }
  void warn(int rule, Where where, std::initializer_list<int> indices, Held held = {}) {
    add(AUDIOPOST_WARNING, rule, where, indices, held);
  }
  void fatal(int rule, Where where, std::initializer_list<int> indices, Held held = {}) {
    add(AUDIOPOST_FATAL, rule, where, indices, held);
  }
  // What comes out would be no sound; a warning where it will not come out, because the effect never runs.
  void refuse(int rule, Where where, std::initializer_list<int> indices, Held held = {}) {
    add(runs ? AUDIOPOST_UNSTABLE : AUDIOPOST_WARNING, rule, where, indices, held);
  }
  // The findings that follow are about settings that are off, and looked at all the same.
  void about_what_is_off(bool off) { off_ = off; }

  int count() const { return count_; }
  int worst() const { return worst_; }

  // ---- What holds for any field: true if its value can be used as it is ----
  bool usable(Where where, const Field& field, int index);
  bool usable(Where where, Fields fields, int start);

  // ---- What holds for any effect ----
  // Whether the chain creates it; from here on `runs` tells whether it runs it, too.
  bool created(int effect);
  // Whether its two channels suffice.
  bool fits(int effect);
  // A gain whose factor leaves room for a full-scale sample in a float.
  void gain(Where where, int index);
  // Filters of the frequency at the first index: whether they can be run, and how loud their rounding is. Those that
  // only measure are not heard themselves.
  enum class Path { heard, measures };
  void filter(Where where, std::initializer_list<int> indices, std::initializer_list<BiquadCoeffs> sections,
              Path path = Path::heard);
  // A negative time drives what it smooths away from its goal: a gain soon is infinite, while a follower of levels only
  // leaves the gain at an end of its table.
  enum class Smooths { gain, level };
  void time(Where where, int index, float ms, Smooths what = Smooths::gain);
  void clamped(Where where, int index, float least, float most, int type_index);
  // The corners of an expander/compressor curve, from compress_start on.
  void curve(Where where, int start, bool on);

  const int block, sample_rate, channels;
  const bool linked;
  bool runs = true;

 private:
  const float* const record_;
  audiopost_finding* const out_;
  const int room_;
  int count_ = 0, worst_ = AUDIOPOST_NOTHING;
  bool off_ = false;
};

// ---- The rules of each effect: one file each ----
void check_chain(Checker& c);
void check_unheard(Checker& c);
void check_auto_gain(Checker& c);
void check_bass_enhancer(Checker& c, int channel);
void check_exciter(Checker& c, int channel);
void check_de_esser(Checker& c, int channel);
void check_eq10(Checker& c);
void check_multiband_drc(Checker& c, int channel);
void check_peak_stage(Checker& c, int channel, bool agc, bool limiter);
void check_levels(Checker& c);

// The crossover that a channel's settings ask for.
filters::CrossoverDesign crossover_of(const Checker& c, int channel);

// The group of an effect that holds an index, and the field there; nulls where there is none.
struct Found {
  const Group* group;
  const Field* field;
};
Found find(int effect, int index);
// Likewise, whatever the effect. (Agc and Maximizer share a section, but no index of it.)
Found find(int index);

}  // namespace check
