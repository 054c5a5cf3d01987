// Record of the effect chain and the table of its effects, for the functions that create, run and retune it.
#pragma once

#include <vector>

#include "chain/tuning_record.h"
#include "lanes/block.h"

namespace chain {

// One step of processing, with the flag that turns it on: the effect is created for any nonzero flag, but the
// stage runs only at exactly 1.
struct Stage {
  int flag;                                                   // index of its enable flag in the tuning record
  void (*run)(void* effect, float** x, lanes::Block& block);  // in place: joins the block, or runs at once
};

struct Effect {
  int section;      // first index in the tuning record; also what the effect is found by
  Stage stages[2];  // the second of most is empty
  void* (*init)(const AudioPostState& chain, const float* section);
  void (*print)(void* effect);
  void (*set_para)(void* effect, const float* section);
  void (*get_para)(void* effect, float* section);
  void (*destroy)(void* effect);
};

// In processing order. Agc and Maximizer are two stages of one effect. Adding an effect is adding a row.
constexpr int kEffectCount = 7;
extern const Effect kEffectTable[kEffectCount];
int row_of(int section);  // of an effect that is there

}  // namespace chain

struct AudioPostState {
  // Settings, as the record gave them.
  int swFrmLen;
  int sample_rate, bit_rate, channel_link, channels;
  float version;
  float full_scale;  // clamp bound of the output; unlike the effects' own, one below 2^15 and 2^23
  int enable[chain::kFlags];
  std::vector<float> channel_gain_dB, channel_gain;
  // Working buffers: every block overwrites them before any effect runs.
  std::vector<float*> channel_buf;
  // Handles in the order of the table; null where not created.
  void* effects[chain::kEffectCount];

  // Beyond the documented fields.
  std::vector<float> samples;  // what channel_buf points into
  int effect_channels
      [chain::kEffectCount];  // the channel count that each effect was created for, 0 without it

  std::unique_ptr<lanes::Scratch> scratch;  // of all effects

  ~AudioPostState();
};

namespace chain {

// Channels that have a gain and a buffer. A retune may store any count in `channels`, but they are made at
// Init only.
int usable_channels(const AudioPostState& chain);

// Whether an effect of the chain, or one that may now be created, reads and writes beyond the host's floats: the
// equalizer has a record for every channel, and only those of two channels lie within.
bool outgrows_record(const AudioPostState& chain);

// A copy of `count` floats of the host's, with the zeros behind them that any number of channels reads.
std::vector<float> padded(const float* floats, int count);

// The parts that Init and SetPara share.
void load_header(AudioPostState& chain, const float* record);
void load_flags(AudioPostState& chain, const float* record);
void load_gains(AudioPostState& chain, const float* padded_record);
bool version_fits(const AudioPostState& chain,
                  const char* function);            // says so in the name of `function` if not
int flag(const AudioPostState& chain, int index);   // an enable flag, by its index in the record
bool wanted(const AudioPostState& chain, int row);  // any of the effect's flags is set
void create_effect(AudioPostState& chain, int row, const float* section);  // leaves null without memory

// An effect created by a retune for more channels than there are buffers has none to work on.
bool has_buffers(const AudioPostState& chain, int row);

}  // namespace chain
