// Automatic gain control: brings quiet passages up and loud ones down along a static curve. A mode of the
// maximizer.
#include <cmath>

#include "common/flush_denormals.h"
#include "common/log.h"
#include "common/numeric.h"
#include "dynamics/gain_ramp.h"
#include "dynamics/maximizer.h"

// ---- Process ---------------------------------------------------------------------------------------
namespace {

// Fixed: it follows neither bit_rate nor clip_level. At 24 and 32 bits every loud block overloads.
constexpr float kOverload = 32766.0f;

// Down to the target within this block, sooner if a sample would overload on the way. If the very first one
// would, the block keeps its old gain; the next starts at the target.
void fall(float gain, float target, const float* in, float* out, int n) {
  const float change = target - gain;
  const int length = dynamics::first_overload(gain, change / static_cast<float>(n), kOverload, in, n);
  if (length >= 1)
    dynamics::ramp_block(gain, change, length, in, out, n);
  else
    dynamics::scale_block(gain, in, out, n);
}

void process_channel(MaximizerState& s, size_t ch, float peak, float mean_square, const float* in, float* out,
                     int n) {
  const float peak_dB = (common::log10_portable(peak + 1.0f) - s.log_full_scale) * 20.0f;
  const float log_square = common::log10_portable(mean_square + 1.0f);
  const bool loud = s.compress_start[ch] < peak_dB;
  const float level_dB = loud ? peak_dB : std::fma(-s.log_full_scale, 2.0f, log_square) * 10.0f;
  const float target = table_search(dynamics::kLastEntry, s.agc_table[ch].data(), level_dB,
                                    s.agc_table_start[ch], s.agc_table_scale[ch]);
  const float gain = s.agc_gain[ch];
  const bool rising = target > gain;
  if (loud && !rising) {
    fall(gain, target, in, out, n);
    s.agc_gain[ch] = target;
    return;
  }
  const float next = dynamics::smoothed(gain, target, rising ? s.attack_coef[ch] : s.release_time_coef[ch]);
  dynamics::ramp_block(gain, next - gain, n, in, out, n);
  s.agc_gain[ch] = next;
}

}  // namespace

int Agc_Process(MaximizerState* s, float** in, float** out, int n) {
  const common::FlushDenormals flush;
  float peak =
      0.0f;  // not reset between channels: the second sees the louder of the two. Hosts are tuned to it.
  const size_t channels = s->agc_gain.size();
  float mean_squares[2];  // of an even channel and the one after it
  for (size_t ch = 0; ch < channels; ++ch) {
    if (ch % 2 == 0) lanes::target().mean_squares(in + ch, ch + 1 < channels ? 2 : 1, n, mean_squares);
    peak = dynamics::peak_with(peak, in[ch], n);
    process_channel(*s, ch, peak, mean_squares[ch % 2], in[ch], out[ch], n);
  }
  return s->channels;
}

// ---- Control ---------------------------------------------------------------------------------------
void dynamics::load_agc(MaximizerState& s, size_t ch, const AgcSettings& settings, const char* function) {
  const CurvePoints& p = settings.points;
  s.noise_threshold[ch] = p.noise_threshold, s.expand_end[ch] = p.expand_end;
  s.compress_start[ch] = p.compress_start;
  s.max_gain[ch] = p.max_gain, s.max_peak[ch] = p.max_peak;
  s.attack_time[ch] = settings.attack_time, s.release_time[ch] = settings.release_time;
  s.hold_time[ch] = settings.hold_time;
  if (!in_order(p)) LOG_LINE_AS(function, "wrong param for agc, please check again\n\n");
  s.attack_coef[ch] = block_share(s.swFrmLen, s.sample_rate, settings.attack_time);
  s.release_time_coef[ch] = block_share(s.swFrmLen, s.sample_rate, settings.release_time);
  s.agc_gain[ch] = 1.0f;
  build_compressor_table(p, 10.0f, s.agc_table[ch], s.agc_table_start[ch], s.agc_table_scale[ch]);
}

int Agc_AdjustPara(MaximizerState* s, int channel, float compress_start, float expand_end,
                   float noise_threshold, float max_gain, float max_peak, float attack_time,
                   float release_time, float hold_time) {
  const dynamics::AgcSettings settings{{noise_threshold, expand_end, compress_start, max_gain, max_peak},
                                       attack_time,
                                       release_time,
                                       hold_time};
  for (int ch = 0; ch < s->channels; ++ch)
    if (s->channel_link || ch == channel)
      dynamics::load_agc(*s, static_cast<size_t>(ch), settings, "Agc_AdjustPara");
  return s->channels;
}
