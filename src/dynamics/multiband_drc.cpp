// Compressor of two to four bands: a crossover, and per band a make-up gain, a level follower and a static
// curve.
#include "dynamics/multiband_drc.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "common/log.h"
#include "common/memory.h"
#include "common/numeric.h"
#include "common/sample_format.h"
#include "dynamics/gain_steps.h"

using common::truncate_to_int;

namespace {

using dynamics::kDrcBands;

// ---- Section ---------------------------------------------------------------------------------------
// Where a band's record begins. Ascending in frequency there, while bands are numbered low, high, middle 1,
// middle 2.
constexpr int kLow = AUDIOPOST_DRC_LOW, kHigh = AUDIOPOST_DRC_HIGH;
constexpr int kMiddle1 = AUDIOPOST_DRC_MID1, kMiddle2 = AUDIOPOST_DRC_MID2;
constexpr int kBandRecord[kDrcBands] = {kLow, kHigh, kMiddle1, kMiddle2};
// Loops that only report stop here: a record may claim two thousand million bands.
constexpr int kReportedBands = 100;

int channels_of(const MultiBandDRCState& s) { return std::max(0, s.channels); }
int bands_to_report(const MultiBandDRCState& s, int ch) {
  return std::min(s.crossover_band[ch], kReportedBands);
}
// Bands that have storage: the others exist in number only.
int bands_to_run(const MultiBandDRCState& s, int ch) { return std::min(s.crossover_band[ch], kDrcBands); }
// The bands that an adjustment counts by: those of the channel that the call names, also where a linked handle adjusts
// others; 0 for one that the handle does not have.
int named_bands(const MultiBandDRCState& s, int channel) {
  return channel >= 0 && channel < dynamics::kDrcChannels ? s.crossover_band[channel] : 0;
}
bool adjusts(const MultiBandDRCState& s, int ch, int channel) { return s.channel_link || ch == channel; }
// A band without storage is answered with the low band.
int stored(int band) { return band < kDrcBands ? band : 0; }

int band_record(int band, const char* function) {
  if (band >= kDrcBands)
    LOG_LINE_AS(function, "There is something wrong with crossover, please check again\n\n");
  return kBandRecord[stored(band)];
}

void warn_if_wrong(const dynamics::CurvePoints& points, const char* function) {
  if (!dynamics::in_order(points)) LOG_LINE_AS(function, "wrong param for MultiDRC, please check again\n\n");
}

}  // namespace

// ---- Design ----------------------------------------------------------------------------------------
float dynamics::sample_decay(int ms, int sample_rate) {
  return expf(-1000.0f / static_cast<float>(common::wrapping_mul(ms, sample_rate)));
}

namespace {

struct BandSettings {
  int drc_enable;
  float gain_dB;
  dynamics::CurvePoints points;
  float attack_time, release_time, hold_time;  // ms, still to be truncated
};

void load_compressor(MultiBandDRCState& s, int ch, int band, const BandSettings& from) {
  s.drc_enable[ch][band] = from.drc_enable;
  s.gain_dB[ch][band] = from.gain_dB;
  s.compress_start[ch][band] = from.points.compress_start;
  s.expand_end[ch][band] = from.points.expand_end;
  s.noise_threshold[ch][band] = from.points.noise_threshold;
  s.max_gain[ch][band] = from.points.max_gain;
  s.max_peak[ch][band] = from.points.max_peak;
  s.attack_time[ch][band] = truncate_to_int(from.attack_time);
  s.release_time[ch][band] = truncate_to_int(from.release_time);
  s.hold_time[ch][band] = truncate_to_int(from.hold_time);
  s.attack_coef[ch][band] = dynamics::sample_decay(s.attack_time[ch][band], s.sample_rate);
  s.release_coef[ch][band] = dynamics::sample_decay(s.release_time[ch][band], s.sample_rate);
  s.gain_linear[ch][band] = common::dB_to_linear(from.gain_dB);
  dynamics::build_compressor_table(from.points, 0.0f, s.gain_table[ch][band], s.table_start[ch][band],
                                   s.table_inv_step[ch][band]);
  dynamics::find_gain_steps(s.gain_table[ch][band], s.table_start[ch][band], s.table_inv_step[ch][band],
                            s.full_scale_log10, s.band_scale[ch], s.gain_steps[ch][band], s.gain_steps[0],
                            dynamics::kDrcChannels * kDrcBands);
}

void load_band(MultiBandDRCState& s, int ch, int band, const float* record, const char* function) {
  const float* r = record + band_record(band, function);
  const BandSettings settings{
      truncate_to_int(r[AUDIOPOST_DRC_BAND_ENABLE]),
      r[AUDIOPOST_DRC_GAIN_DB],
      {r[AUDIOPOST_DRC_NOISE_THRESHOLD], r[AUDIOPOST_DRC_EXPAND_END], r[AUDIOPOST_DRC_COMPRESS_START],
       r[AUDIOPOST_DRC_MAX_GAIN], r[AUDIOPOST_DRC_MAX_PEAK]},
      r[AUDIOPOST_DRC_ATTACK_TIME],
      r[AUDIOPOST_DRC_RELEASE_TIME],
      r[AUDIOPOST_DRC_HOLD_TIME]};
  if (band < kDrcBands) {
    s.freq_start[ch][band] = r[AUDIOPOST_DRC_FREQ_START], s.freq_end[ch][band] = r[AUDIOPOST_DRC_FREQ_END];
    load_compressor(s, ch, band, settings);
  }
  warn_if_wrong(settings.points, function);
}

// The same band count redesigns the crossover in place and keeps the followers; another one makes a new
// crossover, and the followers restart. False without memory: the channel then keeps the crossover and the
// count it has.
bool load_crossover(MultiBandDRCState& s, int ch, const float* r) {
  const int bands = truncate_to_int(r[AUDIOPOST_DRC_CROSSOVER_BAND]);
  s.crossover_param = {common::wrapping_sub(bands, 2),       r[kLow + AUDIOPOST_DRC_FREQ_END],
                       r[kHigh + AUDIOPOST_DRC_FREQ_START],  r[kMiddle1 + AUDIOPOST_DRC_FREQ_START],
                       r[kMiddle1 + AUDIOPOST_DRC_FREQ_END], r[kMiddle2 + AUDIOPOST_DRC_FREQ_START],
                       r[kMiddle2 + AUDIOPOST_DRC_FREQ_END]};
  if (s.crossover[ch] && bands == s.crossover_band[ch]) {
    Filters_Crossover_filterSetParam(s.crossover[ch].get(), &s.crossover_param);
    return true;
  }
  CrossoverFilter* made = Filters_Crossover_filterInit(s.sample_rate, 1, &s.crossover_param);
  if (!made) return false;
  s.crossover[ch].reset(made);
  s.crossover_band[ch] = bands;
  s.band_scale[ch] = 1.0f / static_cast<float>(bands);
  std::fill_n(s.band_buf[ch], kDrcBands, 0.0f);
  std::fill_n(s.envelope[ch], kDrcBands, 0.0f);
  return true;
}

const float* channel_record(const MultiBandDRCState& s, int ch, const float* section) {
  return section + (s.channel_link ? 0 : ch * AUDIOPOST_DRC_STRIDE);
}

bool load_crossovers(MultiBandDRCState& s, const float* section) {
  bool complete = true;
  for (int ch = 0; ch < channels_of(s); ++ch)
    complete &= load_crossover(s, ch, channel_record(s, ch, section));
  return complete;
}

void load_bands(MultiBandDRCState& s, const float* section, const char* function) {
  for (int ch = 0; ch < channels_of(s); ++ch)
    for (int band = 0; band < bands_to_report(s, ch); ++band)
      load_band(s, ch, band, channel_record(s, ch, section), function);
}

// ---- Process ---------------------------------------------------------------------------------------
// The crossover's edges of one band. The first two bands have one; a count of bands that no crossover makes leaves
// some without.
void load_path(CrossoverFilter& f, int band, filters::BiquadPair* (&path)[2]) {
  const int bands = common::wrapping_add(2, f.mid_bands);
  if (band == 0 && bands > 0) path[0] = &f.low[0];
  if (band == 1 && bands > 1) path[0] = &f.high[0];
  if (band == 2 && f.mid_bands > 0) path[0] = &f.mid1_highpass[0], path[1] = &f.mid1_lowpass[0];
  if (band == 3 && f.mid_bands == 2) path[0] = &f.mid2_highpass[0], path[1] = &f.mid2_lowpass[0];
}

// One channel as the kernels take it. A fifth band and more are never filtered, nor is the fourth beside them.
dynamics::MultibandChannel channel_for_kernel(MultiBandDRCState& s, int ch, const float* in, float* out) {
  dynamics::MultibandChannel channel{};
  channel.bands = std::max(0, bands_to_run(s, ch)), channel.summed = s.crossover_band[ch];
  channel.band_scale = s.band_scale[ch], channel.full_scale_log10 = s.full_scale_log10;
  channel.in = in, channel.out = out;
  for (int b = 0; b < dynamics::kDrcBands; ++b) {
    dynamics::MultibandBand& band = channel.band[b];
    if (s.crossover[ch]) load_path(*s.crossover[ch], b, band.path);
    band.gain = s.gain_linear[ch][b], band.compressed = s.drc_enable[ch][b] != 0;
    band.attack = s.attack_coef[ch][b], band.release = s.release_coef[ch][b];
    band.table = s.gain_table[ch][b].data(), band.table_start = s.table_start[ch][b];
    band.table_inv_step = s.table_inv_step[ch][b], band.steps = &s.gain_steps[ch][b];
    band.envelope = &s.envelope[ch][b], band.value = &s.band_buf[ch][b];
  }
  return channel;
}

}  // namespace

void dynamics::join(MultiBandDRCState& s, float** in, float** out, lanes::Block& block) {
  s.job.count = channels_of(s);
  for (int ch = 0; ch < s.job.count; ++ch) s.job.channels[ch] = channel_for_kernel(s, ch, in[ch], out[ch]);
  block.join(kMultibandKind, &s.job);
}

int MultiBandDRC_Process(MultiBandDRCState* s, float** in, float** out, int n) {
  return lanes::process_alone(*s, dynamics::join, in, out, n);
}

// ---- Control ---------------------------------------------------------------------------------------
int MultiBandDRC_SetPara(MultiBandDRCState* s, const float* section) {
  load_crossovers(*s, section);
  load_bands(*s, section, "MultiBandDRC_SetPara");
  return s->channels;
}

// One record per channel, whatever channel_link says. gain_dB and drc_enable are left as the caller has them:
// hosts keep theirs there.
void MultiBandDRC_GetPara(const MultiBandDRCState* s, float* section) {
  for (int ch = 0; ch < channels_of(*s); ++ch) {
    float* const record = section + ch * AUDIOPOST_DRC_STRIDE;
    record[AUDIOPOST_DRC_CROSSOVER_BAND] = static_cast<float>(s->crossover_band[ch]);
    for (int band = 0; band < bands_to_report(*s, ch); ++band) {
      float* const r = record + band_record(band, "MultiBandDRC_GetPara");
      const int b = stored(band);
      r[AUDIOPOST_DRC_FREQ_START] = s->freq_start[ch][b], r[AUDIOPOST_DRC_FREQ_END] = s->freq_end[ch][b];
      r[AUDIOPOST_DRC_COMPRESS_START] = s->compress_start[ch][b],
      r[AUDIOPOST_DRC_EXPAND_END] = s->expand_end[ch][b];
      r[AUDIOPOST_DRC_NOISE_THRESHOLD] = s->noise_threshold[ch][b];
      r[AUDIOPOST_DRC_MAX_GAIN] = s->max_gain[ch][b], r[AUDIOPOST_DRC_MAX_PEAK] = s->max_peak[ch][b];
      r[AUDIOPOST_DRC_ATTACK_TIME] = static_cast<float>(s->attack_time[ch][b]);
      r[AUDIOPOST_DRC_RELEASE_TIME] = static_cast<float>(s->release_time[ch][b]);
      r[AUDIOPOST_DRC_HOLD_TIME] = static_cast<float>(s->hold_time[ch][b]);
    }
  }
}

int MultiBandDRC_Crossover_AdjustPara(MultiBandDRCState* s, int channel, float low_freq_end,
                                      float high_freq_start, float mid1_freq_start, float mid1_freq_end,
                                      float mid2_freq_start, float mid2_freq_end) {
  // mid_bands stays as last written; a redesign does not read it.
  s->crossover_param = {s->crossover_param.mid_bands,
                        low_freq_end,
                        high_freq_start,
                        mid1_freq_start,
                        mid1_freq_end,
                        mid2_freq_start,
                        mid2_freq_end};
  const int bands = named_bands(*s, channel);  // for every linked channel
  for (int ch = 0; ch < s->channels; ++ch) {
    if (!adjusts(*s, ch, channel)) continue;
    if (s->crossover[ch]) Filters_Crossover_filterSetParam(s->crossover[ch].get(), &s->crossover_param);
    s->freq_end[ch][0] = low_freq_end, s->freq_start[ch][1] = high_freq_start;
    if (bands >= 3) s->freq_start[ch][2] = mid1_freq_start, s->freq_end[ch][2] = mid1_freq_end;
    if (bands >= 4) s->freq_start[ch][3] = mid2_freq_start, s->freq_end[ch][3] = mid2_freq_end;
  }
  return s->channels;
}

int MultiBandDRC_DRC_AdjustPara(MultiBandDRCState* s, int channel, int band, int drc_enable, float gain_dB,
                                float compress_start, float expand_end, float noise_threshold, float max_gain,
                                float max_peak, float attack_time, float release_time, float hold_time) {
  // A band that the channel does not run now is said, and set all the same.
  if (band >= named_bands(*s, channel)) LOG_LINE("i_band out of bound\n");
  if (band < 0 || band >= kDrcBands) return s->channels;
  const BandSettings settings{
      drc_enable,  gain_dB,      {noise_threshold, expand_end, compress_start, max_gain, max_peak},
      attack_time, release_time, hold_time};
  for (int ch = 0; ch < s->channels; ++ch) {
    if (!adjusts(*s, ch, channel)) continue;
    load_compressor(*s, ch, band, settings);
    warn_if_wrong(settings.points, "MultiBandDRC_DRC_AdjustPara");
  }
  return s->channels;
}

// ---- Print -----------------------------------------------------------------------------------------
void MultiBandDRC_PrintPara(const MultiBandDRCState* s) {
  LOG_LINE("MultiBandDRC Param\n");
  LOG_LINE("=====================\n");
  for (int ch = 0; ch < channels_of(*s); ++ch) {
    LOG_LINE("==== channel:%i ====\n", ch);
    LOG_LINE("crossover_band:%i\n", s->crossover_band[ch]);
    for (int band = 0; band < bands_to_report(*s, ch); ++band) {
      const int b = stored(band);
      LOG_LINE("---- band:%i ----\n", band);
      LOG_LINE("freq_start:%.2f\n", s->freq_start[ch][b]);
      LOG_LINE("freq_end:%.2f\n", s->freq_end[ch][b]);
      LOG_LINE("gain_dB:%.2f\n", s->gain_dB[ch][b]);
      LOG_LINE("drc_enable:%i\n", s->drc_enable[ch][b]);
      LOG_LINE("compress_start:%.2f\n", s->compress_start[ch][b]);
      LOG_LINE("expand_end:%.2f\n", s->expand_end[ch][b]);
      LOG_LINE("noise_threshold:%.2f\n", s->noise_threshold[ch][b]);
      LOG_LINE("max_gain:%.2f\n", s->max_gain[ch][b]);
      LOG_LINE("max_peak:%.2f\n", s->max_peak[ch][b]);
      LOG_LINE("attack_time:%i\n", s->attack_time[ch][b]);
      LOG_LINE("release_time:%i\n", s->release_time[ch][b]);
      LOG_LINE("hold_time:%i\n", s->hold_time[ch][b]);
    }
  }
}

// ---- Life cycle ------------------------------------------------------------------------------------
MultiBandDRCState* MultiBandDRC_Init(const float* section, int bit_rate, int sample_rate, int channels,
                                     int channel_link) {
  const common::SampleFormat* format = common::stereo_format(channels, bit_rate, __func__);
  if (!format) return nullptr;
  return common::null_without_memory([&]() -> MultiBandDRCState* {
    auto s = std::make_unique<MultiBandDRCState>();
    s->bit_rate = bit_rate, s->sample_rate = sample_rate, s->channels = channels,
    s->channel_link = channel_link;
    s->full_scale_log10 = format->log_full_scale;
    if (section) {
      if (!load_crossovers(*s, section)) return nullptr;
      load_bands(*s, section, "MultiBandDRC_Init");
    }
    s->scratch = std::make_unique<lanes::Scratch>();
    return s.release();
  });
}

void dynamics::share_scratch(MultiBandDRCState& s) { s.scratch.reset(); }

int MultiBandDRC_Destroy(MultiBandDRCState* s) { return common::destroy(s); }
