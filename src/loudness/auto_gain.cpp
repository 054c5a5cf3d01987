// Steers the programme towards a target loudness: a gain that follows the meter's reading of the input,
// slowly, and that never heads for lifting a block's peak over full scale.
#include <algorithm>
#include <cmath>
#include <memory>

#include "common/log.h"
#include "common/memory.h"
#include "common/numeric.h"
#include "common/sample_format.h"
#include "common/time_constant.h"
#include "loudness/r128_meter.h"

// ---- Record ----------------------------------------------------------------------------------------
struct AutoGainState {
  float target_i_dB;                // LUFS
  float attack_time, release_time;  // ms
  float release_coef, attack_coef;  // share of the way to the goal that one block goes
  float current_gain;               // at the start of the next block
  float target_gain;
  int step_samples;
  int samples_to_next_update;
  int sample_rate, channels, bit_rate;
  int frame_length;
  std::unique_ptr<Ebur128State>
      meter;                  // null when a retune found no memory: it then reads as if nothing was measured
  int r128_wins, r128_steps;  // ms
  float smoothed_loudness;    // LUFS
  float full_scale;

  // Beyond the documented fields.
  std::unique_ptr<lanes::Scratch> scratch;  // null in a chain, which has one for all
};

namespace {

constexpr float kNothingMeasured = -1000.0f;
constexpr float kMaxGain_dB = 20.0f;

// ---- Design ----------------------------------------------------------------------------------------
void load(AutoGainState& s, const float* section) {
  s.target_i_dB = section[AUDIOPOST_AUTOGAIN_TARGET_I_DB];
  s.attack_time = section[AUDIOPOST_AUTOGAIN_ATTACK_TIME];
  s.release_time = section[AUDIOPOST_AUTOGAIN_RELEASE_TIME];
  s.r128_wins = common::truncate_to_int(section[AUDIOPOST_AUTOGAIN_R128_WINS]);
  s.r128_steps = common::truncate_to_int(section[AUDIOPOST_AUTOGAIN_R128_STEPS]);
  s.attack_coef = loudness::share_per_block(s.frame_length, s.sample_rate, s.attack_time);
  s.release_coef = loudness::share_per_block(s.frame_length, s.sample_rate, s.release_time);
}

// A fresh meter and unity gain: what new window or step lengths ask for. The smoothed loudness goes on.
void restart(AutoGainState& s) {
  s.step_samples = common::wrapping_mul(s.sample_rate, s.r128_steps) / 1000;
  s.samples_to_next_update = 0;
  s.meter.reset(loudness::create_meter(s.bit_rate, s.sample_rate, s.channels, s.r128_wins, s.r128_steps));
  s.current_gain = s.target_gain = 1.0f;
}

// ---- Process ---------------------------------------------------------------------------------------
// One step of a one-pole smoother, rounded once at the sum.
float glide(float from, float share, float to) { return std::fma(from, 1.0f - share, share * to); }

// The meter's reading moves the target by the time constant of a rising gain.
void update_target(AutoGainState& s) {
  const float loudness = ebur128_gatedloudness(s.meter.get());
  if (std::fabs(loudness - kNothingMeasured) < 1e-8f) {
    s.target_gain = 1.0f;
    s.smoothed_loudness = 0.0f;
    return;
  }
  s.smoothed_loudness = glide(s.smoothed_loudness, s.attack_coef, loudness);
  const float distance_dB = s.target_i_dB - s.smoothed_loudness;
  s.target_gain = distance_dB < kMaxGain_dB ? powf(10.0f, distance_dB * 0.05f) : 10.0f;
}

// All channels times the same ramp, which starts at the current gain and ends as the next block's.
void ramp_channels(AutoGainState& s, float increment, float** in, float** out, int n) {
  constexpr int kChunk = 1024;
  float gains[kChunk + 1];
  for (int at = 0; at < n; at += kChunk) {
    const int length = std::min(kChunk, n - at);
    gains[0] = s.current_gain;
    s.current_gain = lanes::target().ramp(gains[0], increment, gains + 1, length);
    for (int ch = 0; ch < s.channels; ++ch)
      for (int i = 0; i < length; ++i) out[ch][at + i] = in[ch][at + i] * gains[i];
  }
}

}  // namespace

void loudness::join(AutoGainState& state, float** in, float** out, lanes::Block& block) {
  AutoGainState* const s = &state;
  const int n = block.frames;
  if (s->step_samples < n) {
    LOG_LINE_AS("AutoGain_Process", "frameLen is greater than steps! 0\n\n");
    common::end_process();
  }
  block.run();  // the samples are read now
  float peak = 0;
  for (int ch = 0; ch < s->channels; ++ch) peak = lanes::target().peak(peak, in[ch], n);
  const auto peak_limit =
      static_cast<float>(static_cast<double>(s->full_scale) / (static_cast<double>(peak) + 1e-8));

  if (s->samples_to_next_update <= 0) {
    s->samples_to_next_update = common::wrapping_add(s->samples_to_next_update, s->step_samples);
    update_target(*s);  // a reading that does not know this block yet
  }
  join(s->meter.get(), in, block);
  s->samples_to_next_update = common::wrapping_sub(s->samples_to_next_update, n);

  // The limited goal replaces the target: until the next update, later blocks stay below this block's limit.
  if (!(s->target_gain < peak_limit)) s->target_gain = peak_limit;
  const float goal = s->target_gain, gain = s->current_gain;
  const float next = glide(gain, gain < goal ? s->attack_coef : s->release_coef, goal);
  const float increment = (next - gain) / static_cast<float>(s->frame_length);
  if (s->channels > 0) ramp_channels(*s, increment, in, out, n);
}

int AutoGain_Process(AutoGainState* s, float** in, float** out, int n) {
  return lanes::process_alone(*s, loudness::join, in, out, n);
}

// ---- Control ---------------------------------------------------------------------------------------
int AutoGain_SetPara(AutoGainState* s, const float* section) {
  const int wins = s->r128_wins, steps = s->r128_steps;
  load(*s, section);
  if (s->r128_wins != wins || s->r128_steps != steps) restart(*s);
  return s->channels;
}

void AutoGain_GetPara(const AutoGainState* s, float* section) {
  section[AUDIOPOST_AUTOGAIN_TARGET_I_DB] = s->target_i_dB;
  section[AUDIOPOST_AUTOGAIN_ATTACK_TIME] = s->attack_time;
  section[AUDIOPOST_AUTOGAIN_RELEASE_TIME] = s->release_time;
  section[AUDIOPOST_AUTOGAIN_R128_WINS] = static_cast<float>(s->r128_wins);
  section[AUDIOPOST_AUTOGAIN_R128_STEPS] = static_cast<float>(s->r128_steps);
}

// ---- Print -----------------------------------------------------------------------------------------
void AutoGain_PrintPara(const AutoGainState* s) {
  LOG_LINE("AutoGain Param\n");
  LOG_LINE("=====================\n");
  LOG_LINE("target_i_dB:%.2f\n", s->target_i_dB);
  LOG_LINE("attack_time:%.2f\n", s->attack_time);
  LOG_LINE("release_time:%.2f\n", s->release_time);
  LOG_LINE("r128_wins:%i\n", s->r128_wins);
  LOG_LINE("r128_steps:%i\n", s->r128_steps);
}

// ---- Life cycle ------------------------------------------------------------------------------------
AutoGainState* AutoGain_Init(const float* section, int bit_rate, int sample_rate, int channels,
                             int frame_length) {
  return common::null_without_memory([&]() -> AutoGainState* {
    auto s = std::make_unique<AutoGainState>();
    s->sample_rate = sample_rate, s->channels = channels, s->bit_rate = bit_rate,
    s->frame_length = frame_length;
    load(*s, section);
    restart(*s);
    // The meter has complained of a wrong bit rate too, in its own name.
    const common::SampleFormat* format = common::sample_format(bit_rate, "AutoGain_Init");
    if (!format) return nullptr;
    s->full_scale = format->clip_level;
    s->scratch = std::make_unique<lanes::Scratch>();
    return s->meter ? s.release() : nullptr;
  });
}

void loudness::share_scratch(AutoGainState& s) { s.scratch.reset(); }

int AutoGain_Destroy(AutoGainState* s) { return common::destroy(s); }
