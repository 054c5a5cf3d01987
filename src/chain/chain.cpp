// The library's front door: a tuning record becomes a chain of effects, PCM goes in and comes out.
#include "chain/chain.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "common/build_date.h"
#include "common/log.h"
#include "common/memory.h"
#include "common/numeric.h"
#include "common/sample_format.h"

using common::truncate_to_int;

// ---- Loading: what Init and SetPara share ----------------------------------------------------------
namespace chain {

int usable_channels(const AudioPostState& chain) {
  return std::max(0, std::min(chain.channels, static_cast<int>(chain.channel_buf.size())));
}

bool outgrows_record(const AudioPostState& chain) {
  return std::max(chain.channels, *std::max_element(chain.effect_channels, std::end(chain.effect_channels))) >
         2;
}

std::vector<float> padded(const float* floats, int count) {
  std::vector<float> copy(AUDIOPOST_EQ10_SECTION + size_t{AUDIOPOST_EQ10_STRIDE} * common::kMaxChannels);
  std::copy_n(floats, count, copy.begin());
  return copy;
}

void load_header(AudioPostState& chain, const float* record) {
  chain.sample_rate = truncate_to_int(record[AUDIOPOST_SAMPLE_RATE]);
  chain.bit_rate = truncate_to_int(record[AUDIOPOST_BIT_RATE]);
  chain.channel_link = truncate_to_int(record[AUDIOPOST_CHANNEL_LINK]);
  chain.channels = truncate_to_int(record[AUDIOPOST_CHANNELS]);
  chain.version = record[AUDIOPOST_TOOL_VERSION];
}

bool version_fits(const AudioPostState& chain, const char* function) {
  // Not "<= 0.0001": a version that is not a number passes, as it always has.
  if (!(static_cast<double>(std::fabs(chain.version - kToolVersion)) > 0.0001)) return true;
  LOG_LINE_AS(function, "The Version of Tuning Tool is Wrong, you should use version %.2f!\n", kToolVersion);
  return false;
}

void load_flags(AudioPostState& chain, const float* record) {
  for (int i = 0; i < kFlags; ++i) chain.enable[i] = truncate_to_int(record[kFirstFlag + i]);
}

void load_gains(AudioPostState& chain, const float* padded_record) {
  for (int ch = 0; ch < usable_channels(chain); ++ch) {
    const size_t i = static_cast<size_t>(ch);
    const float gain_dB = padded_record[gain_index(chain.channel_link ? 0 : ch)];
    chain.channel_gain_dB[i] = gain_dB;
    chain.channel_gain[i] = common::dB_to_linear(gain_dB);
  }
}

int flag(const AudioPostState& chain, int index) { return chain.enable[index - kFirstFlag]; }

bool wanted(const AudioPostState& chain, int row) {
  const Effect& effect = kEffectTable[row];
  return std::any_of(std::begin(effect.stages), std::end(effect.stages),
                     [&](const Stage& stage) { return stage.run && flag(chain, stage.flag) != 0; });
}

void create_effect(AudioPostState& chain, int row, const float* section) {
  chain.effects[row] = kEffectTable[row].init(chain, section);
  chain.effect_channels[row] = chain.effects[row] ? chain.channels : 0;
}

bool has_buffers(const AudioPostState& chain, int row) {
  return chain.effect_channels[row] <= static_cast<int>(chain.channel_buf.size());
}

}  // namespace chain

// ---- Process ---------------------------------------------------------------------------------------
namespace {

// A stage whose effect could not be created, or has no buffers, does not run.
void run_effects(AudioPostState& s, lanes::Block& block) {
  float** const x = s.channel_buf.data();
  for (int e = 0; e < chain::kEffectCount; ++e) {
    if (!s.effects[e] || !chain::has_buffers(s, e)) continue;
    for (const chain::Stage& stage : chain::kEffectTable[e].stages)
      if (stage.run && chain::flag(s, stage.flag) == 1) stage.run(s.effects[e], x, block);
  }
  block.finish();
}

}  // namespace

void AudioPost_Process(AudioPostState* s, const int16_t* input, int16_t* output, int32_t /*channels_hint*/,
                       int32_t frames) {
  if (!s) return;
  if (frames != s->swFrmLen) {
    LOG_LINE("error, swFrmLen is wrong!\n\n");
    common::end_process();
  }
  lanes::Block block(frames, *s->scratch);
  const int channels = frames > 0 ? chain::usable_channels(*s) : 0;
  lanes::target().from_pcm(input, s->channel_gain.data(), s->channel_buf.data(), channels, frames);
  run_effects(*s, block);
  // The bit rate's range, however wide, and the low 16 bits: for 24 and 32 bits too the PCM is 16 bits wide. Hosts rely
  // on it.
  lanes::target().to_pcm(s->channel_buf.data(), -1.0f - s->full_scale, s->full_scale, output, channels,
                         frames);
}

// ---- Life cycle ------------------------------------------------------------------------------------
namespace {

void make_buffers(AudioPostState& s) {
  const size_t channels = common::array_size(s.channels), frames = common::array_size(s.swFrmLen);
  s.samples.resize(channels * frames);
  for (size_t ch = 0; ch < channels; ++ch) s.channel_buf.push_back(s.samples.data() + ch * frames);
  s.channel_gain_dB.resize(channels);
  s.channel_gain.resize(channels);
  s.scratch = std::make_unique<lanes::Scratch>(s.swFrmLen);
}

// An effect made for two channels answers more of them with a message and the end of the process, also where the chain
// itself could not serve them.
void end_if_made_for_two(AudioPostState& s, const float* param) {
  for (int e = 0; s.channels > 2 && e < chain::kEffectCount; ++e)
    if (chain::wanted(s, e)) chain::create_effect(s, e, param + chain::kEffectTable[e].section);
}

float clamp_bound(int bit_rate) {
  return bit_rate == 16 ? 32767.0f : bit_rate == 24 ? 8388607.0f : 2147483648.0f;
}

}  // namespace

AudioPostState* AudioPost_Init(const float* param, int32_t swFrmLen) {
  LOG_LINE("ZELK_AudioEffect-RELEASE-VERSION %.2f,  RELEASE DATE %s, %s \n\n", chain::kToolVersion,
           common::kBuildDate, common::kBuildTime);
  if (!param) {
    LOG_LINE("Param is None,EQ_DRC will not be inited \n\n");
    return nullptr;
  }
  return common::null_without_memory([&]() -> AudioPostState* {
    auto s = std::make_unique<AudioPostState>();
    s->swFrmLen = swFrmLen;
    chain::load_header(*s, param);
    if (!chain::version_fits(*s, "AudioPost_Init")) return nullptr;
    chain::load_flags(*s, param);
    if (!common::sample_format(s->bit_rate, "AudioPost_Init")) return nullptr;
    s->full_scale = clamp_bound(s->bit_rate);
    if (!common::servable(s->channels, swFrmLen)) {
      end_if_made_for_two(*s, param);
      return nullptr;
    }
    make_buffers(*s);
    const std::vector<float> record = chain::padded(param, AUDIOPOST_PARAM_LENGTH);
    chain::load_gains(*s, record.data());
    for (int e = 0; e < chain::kEffectCount; ++e) {
      if (!chain::wanted(*s, e)) continue;
      chain::create_effect(*s, e, record.data() + chain::kEffectTable[e].section);
      if (!s->effects[e]) return nullptr;  // no memory, or a window too large for it
      chain::kEffectTable[e].print(s->effects[e]);
    }
    return s.release();
  });
}

AudioPostState::~AudioPostState() {
  for (int e = 0; e < chain::kEffectCount; ++e)
    if (effects[e]) chain::kEffectTable[e].destroy(effects[e]);
}

void AudioPost_Destroy(AudioPostState* s) { delete s; }
