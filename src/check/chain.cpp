// The chain itself: header, input gains, and settings that nothing will hear.
#include <algorithm>

#include "check/checker.h"

namespace check {
namespace {

constexpr Where kChain{AUDIOPOST_EFFECT_CHAIN};

void check_channels(Checker& c) {
  if (c.channels < 1)
    c.warn(AUDIOPOST_RULE_NO_CHANNELS, kChain, {AUDIOPOST_CHANNELS}, {1.0f, INFINITY});
  else if (c.channels > kMostChannels)
    c.fatal(AUDIOPOST_RULE_TOO_MANY_CHANNELS, kChain, {AUDIOPOST_CHANNELS},
            {-INFINITY, static_cast<float>(kMostChannels)});
  else if (int64_t{c.channels} * c.block > kMostSamples)
    c.fatal(AUDIOPOST_RULE_BLOCK_LONG, kChain, {AUDIOPOST_CHANNELS}, {-INFINITY, INFINITY, c.block});
  else if (c.channels > 2)
    c.note(AUDIOPOST_RULE_MORE_THAN_STEREO, kChain, {AUDIOPOST_CHANNELS}, {-INFINITY, 2.0f});
}

bool sounds(float value) { return !(value == 0.0f); }  // NaNs do, zeros of either sign do not

}  // namespace

void check_chain(Checker& c) {
  c.runs = true;
  for (const Field& field : kChainFields)
    if (field.offset != AUDIOPOST_TOOL_VERSION) c.usable(kChain, field, field.offset);
  if (c.sample_rate < 1)
    c.warn(AUDIOPOST_RULE_SAMPLE_RATE, kChain, {AUDIOPOST_SAMPLE_RATE}, {1.0f, INFINITY});
  const int bits = c.int_at(AUDIOPOST_BIT_RATE);
  if (bits != 16 && bits != 24 && bits != 32)
    c.fatal(AUDIOPOST_RULE_BIT_RATE, kChain, {AUDIOPOST_BIT_RATE});
  else if (bits != 16)
    c.warn(AUDIOPOST_RULE_BIT_RATE_WIDE, kChain, {AUDIOPOST_BIT_RATE});
  const int link = c.int_at(AUDIOPOST_CHANNEL_LINK);
  if (link != 0 && link != 1) c.note(AUDIOPOST_RULE_LINKED_ANYHOW, kChain, {AUDIOPOST_CHANNEL_LINK});
  check_channels(c);
  const float off = c.at(AUDIOPOST_TOOL_VERSION) - 2.0f;
  if (static_cast<double>(std::fabs(off)) > 0.0001)
    c.fatal(AUDIOPOST_RULE_VERSION, kChain, {AUDIOPOST_TOOL_VERSION});
  else if (std::isnan(off))
    c.note(AUDIOPOST_RULE_VERSION_NAN, kChain, {AUDIOPOST_TOOL_VERSION});
  for (int ch = 0; ch < c.stereo_records(); ++ch) {
    const Where where{AUDIOPOST_EFFECT_CHAIN, ch};
    c.usable(where, fields(kGainFields), start_of(where));
    c.gain(where, start_of(where));
  }
  if (c.channels > 2 && !c.linked)
    c.warn(AUDIOPOST_RULE_GAINS_BEYOND, kChain, {AUDIOPOST_CHANNEL_LINK, AUDIOPOST_CHANNELS});
}

void check_unheard(Checker& c) {
  int indices[AUDIOPOST_FINDING_FIELDS] = {}, count = 0;
  for (int i = 0; i < AUDIOPOST_PARAM_LENGTH; ++i)
    if (sounds(c.at(i)) && !find(i).field) {
      if (count < AUDIOPOST_FINDING_FIELDS) indices[count] = i;
      ++count;
    }
  const Held all{-INFINITY, INFINITY, count};
  if (count > 0) c.add(AUDIOPOST_NOTE, AUDIOPOST_RULE_UNREAD, kChain, indices, count, all);
  if (c.channels < 1 || (c.channels > 1 && !c.linked)) return;
  for (const Group& group : kGroups)
    if (group.where.channel == 1)
      for (const Field& field : group.fields)
        if (sounds(c.at(group.start + field.offset))) {
          c.note(c.linked ? AUDIOPOST_RULE_IGNORED_LINKED : AUDIOPOST_RULE_IGNORED_MONO, group.where,
                 {group.start + field.offset});
          return;  // once is enough
        }
}

}  // namespace check
