// Where things stand in the tuning record: 500 floats, integers among them truncated toward zero.
#pragma once

#include "common/numeric.h"
#include "zelkaudio_effect_eqdrc.h"

namespace chain {

enum RecordIndex {
  kSampleRate = 0,
  kBitRate = 1,
  kChannelLink = 2,
  kChannels = 3,
  kVersion = 4,
  kFirstFlag = 10,  // one enable flag per EnableFlag
  kFirstGain = 20,  // one gain in dB per channel, kGainStride apart
  kAutoGainSection = 30,
  kBassEnhancerSection = 60,
  kExciterSection = 80,
  kDeEsserSection = 90,
  kEq10Section = 100,
  kMultiBandDrcSection = 200,
  kMaximizerSection = 400,
};
enum EnableFlag {
  kAutoGainFlag,
  kBassEnhancerFlag,
  kExciterFlag,
  kDeEsserFlag,
  kEq10Flag,
  kMultiBandDrcFlag,
  kAgcFlag,
  kMaximizerFlag,
  kFlags
};
constexpr int kGainStride = 5;
constexpr int kEq10SectionLength = 100;
constexpr int kEq10ChannelLength = 50;
constexpr float kToolVersion = 2.0f;

// From the third channel on the gains carry on into the AutoGain section: required behaviour.
constexpr int gain_index(int channel) { return kFirstGain + kGainStride * channel; }

}  // namespace chain
