#include "check/checker.h"

#include <algorithm>
#include <limits>

#include "filters/stability.h"

namespace check {

// ---- Fields -----------------------------------------------------------------------------------------
Found find(int effect, int index) {
  // A third equalizer channel and further ones lie beyond what the layout knows.
  const Effect& eq = kEffects[AUDIOPOST_EFFECT_EQ10];
  if (effect == AUDIOPOST_EFFECT_EQ10 && index >= eq.section)
    index = eq.section + (index - eq.section) % eq.stride;
  for (const Group& group : kGroups)
    if (group.where.effect == effect)
      for (const Field& field : group.fields)
        if (group.start + field.offset == index) return {&group, &field};
  return {nullptr, nullptr};
}

Found find(int index) {
  for (const Group& group : kGroups)
    for (const Field& field : group.fields)
      if (group.start + field.offset == index) return {&group, &field};
  return {nullptr, nullptr};
}

// ---- Telling ----------------------------------------------------------------------------------------
void Checker::add(int severity, int rule, Where where, const int* indices, int count, Held held) {
  worst_ = std::max(worst_, severity);
  if (count_++ >= room_) return;
  audiopost_finding& f = out_[count_ - 1];
  f = {};
  f.severity = severity, f.rule = rule;
  f.effect = where.effect, f.channel = where.channel, f.band = where.band;
  f.off = off_;
  f.fields = std::min(count, AUDIOPOST_FINDING_FIELDS);
  for (int i = 0; i < f.fields; ++i) f.index[i] = indices[i], f.value[i] = at(indices[i]);
  f.least = held.least, f.most = held.most;
  f.noise_dBFS = held.noise_dBFS, f.count = held.count;
}

// ---- What holds for any field -----------------------------------------------------------------------
bool Checker::usable(Where where, const Field& field, int index) {
  const float value = at(index);
  if (field.kind == Kind::number && !std::isfinite(value)) {
    refuse(AUDIOPOST_RULE_NOT_FINITE, where, {index});
    return false;
  }
  if (field.kind != Kind::number && !(static_cast<double>(int_at(index)) == static_cast<double>(value)))
    note(AUDIOPOST_RULE_TRUNCATED, where, {index});
  return true;
}

bool Checker::usable(Where where, Fields fields, int start) {
  bool all = true;
  for (const Field& field : fields) {
    const int index = start + field.offset;
    all &= usable(where, field, index);
    if (std::isfinite(at(index)) && (at(index) < field.least || at(index) > field.most))
      note(AUDIOPOST_RULE_OUT_OF_RANGE, where, {index}, {field.least, field.most});
  }
  return all;
}

// ---- What holds for any effect ----------------------------------------------------------------------
bool Checker::created(int effect) {
  const int flag = kEffects[effect].flag, enable = int_at(flag);
  runs = enable == 1;
  usable({effect}, kEnableFields[0], flag);
  if (enable != 0 && enable != 1) warn(AUDIOPOST_RULE_NEVER_RUNS, {effect}, {flag});
  return enable != 0;
}

bool Checker::fits(int effect) {
  if (channels <= 2) return true;
  fatal(AUDIOPOST_RULE_STEREO_ONLY, {effect}, {AUDIOPOST_CHANNELS});
  return false;
}

void Checker::gain(Where where, int index) {
  constexpr float kMost = 650.0f;  // dB: times a full scale of 2^31 it is a float yet
  if (std::isfinite(at(index)) && at(index) > kMost)
    refuse(AUDIOPOST_RULE_GAIN_TOO_HIGH, where, {index}, {-INFINITY, kMost});
}

void Checker::filter(Where where, std::initializer_list<int> indices,
                     std::initializer_list<BiquadCoeffs> sections, Path path) {
  const float hz = at(*indices.begin());
  for (const int index : indices)
    if (!std::isfinite(at(index))) return;  // said already
  if (!(hz > 0.0f)) return refuse(AUDIOPOST_RULE_FREQUENCY_LOW, where, indices, {0.0f, INFINITY});
  if (!(hz < half_rate()))
    return refuse(AUDIOPOST_RULE_FREQUENCY_HIGH, where, indices, {-INFINITY, half_rate()});
  filters::Fate fate = filters::Fate::rests;
  auto noise_dBFS = -std::numeric_limits<double>::infinity();
  for (const BiquadCoeffs& section : sections) {
    if (fate == filters::Fate::rests) fate = filters::fate(section);
    if (fate == filters::Fate::rests)
      noise_dBFS = std::max(noise_dBFS, filters::noise_dBFS(section, sample_rate));
  }
  const bool rests = fate == filters::Fate::rests;
  if (fate == filters::Fate::not_finite)
    refuse(AUDIOPOST_RULE_FILTER_INFINITE, where, indices);
  else if (fate == filters::Fate::unstable)
    refuse(AUDIOPOST_RULE_FILTER_UNSTABLE, where, indices);
  else if (!rests && path == Path::measures)
    warn(AUDIOPOST_RULE_FILTER_LINGERS, where, indices);
  else if (!rests)
    refuse(AUDIOPOST_RULE_FILTER_LINGERS, where, indices);
  else if (path == Path::heard && noise_dBFS > filters::kNoticeableNoise_dBFS)
    note(AUDIOPOST_RULE_FILTER_NOISE, where, indices,
         {-INFINITY, INFINITY, 0, static_cast<float>(noise_dBFS)});
}

void Checker::time(Where where, int index, float ms, Smooths what) {
  const bool negative = ms <= 0.0f && std::signbit(ms);  // -0.0 as well: the exponent's sign is what counts
  if (negative && what == Smooths::gain)
    refuse(AUDIOPOST_RULE_TIME_NEGATIVE, where, {index}, {0.0f, INFINITY});
  else if (negative)
    warn(AUDIOPOST_RULE_TIME_NEGATIVE, where, {index}, {0.0f, INFINITY});
  else if (ms == 0.0f)
    note(AUDIOPOST_RULE_TIME_ZERO, where, {index});
}

void Checker::clamped(Where where, int index, float least, float most, int type_index) {
  if (at(index) < least || at(index) > most)
    note(AUDIOPOST_RULE_CLAMPED, where, {index, type_index}, {least, most});
}

void Checker::curve(Where where, int start, bool on) {
  const int compress_start = start, expand_end = start + 1, noise_threshold = start + 2, max_gain = start + 3,
            max_peak = start + 4;
  about_what_is_off(!on);
  if (at(noise_threshold) > at(expand_end))
    warn(AUDIOPOST_RULE_NOISE_THRESHOLD_HIGH, where, {noise_threshold, expand_end});
  else if (at(expand_end) > at(compress_start))
    warn(AUDIOPOST_RULE_EXPAND_END_HIGH, where, {expand_end, compress_start});
  else if (at(compress_start) + at(max_gain) > at(max_peak))
    warn(AUDIOPOST_RULE_MAX_PEAK_LOW, where, {compress_start, max_gain, max_peak});
  about_what_is_off(false);
  if (!on) return;
  constexpr float kTableEnd = -60.0f;  // dB; full scale is 0 dB: max_peak is the gain there
  for (const int gain : {max_gain, max_peak})
    if (at(gain) < kTableEnd) note(AUDIOPOST_RULE_GAIN_BELOW_TABLE, where, {gain}, {kTableEnd, INFINITY});
  if (at(noise_threshold) == at(expand_end))
    warn(AUDIOPOST_RULE_EXPANDER_STEEP, where, {noise_threshold, expand_end});
  if (at(compress_start) >= 0.0f)
    warn(AUDIOPOST_RULE_NO_ROOM_TO_COMPRESS, where, {compress_start}, {-INFINITY, 0.0f});
}

}  // namespace check
