// Ten-band equalizer: per channel up to ten second-order sections in series.
#include <algorithm>
#include <memory>
#include <vector>

#include "common/log.h"
#include "common/memory.h"
#include "common/numeric.h"
#include "filters/design.h"
#include "tone/designs.h"
#include "tone/effects.h"
#include "tone/eq10.kernel.h"

using tone::EqBand;

// ---- Record ----------------------------------------------------------------------------------------
namespace {

constexpr int kBands = AUDIOPOST_EQ10_BANDS;
constexpr int kBandLength = AUDIOPOST_EQ10_BAND_STRIDE;

constexpr EqBand kBandOff{0, Parametric, 1000.0f, 1.0f, 0.0f};

}  // namespace

struct EQ10State {
  // Settings, as the host gave them.
  int sample_rate;
  int channels;
  int bit_depth;  // kept, not used
  int channel_link;
  int frame_length;
  std::vector<EqBand> bands;  // channel by channel, ten each
  // One slot per enabled band, packed: channel 0's in ascending band order, then channel 1's, and so on.
  // Those behind the last hold zeros, or what an earlier design with more bands left there.
  std::vector<BiquadCoeffs> coeffs;
  std::vector<BiquadHistory>
      history;                    // belongs to the slot, not to the band: what one block hands to the next
  std::vector<float> band_count;  // per channel: the sum of its enable values
  // The latest block before and after the equalizer; frame_length samples per channel, one channel after
  // another.
  std::vector<float> in_copy, out_copy;

  // Beyond the documented fields.
  tone::CascadeJob job;                     // of the latest block
  std::unique_ptr<lanes::Scratch> scratch;  // null in a chain, which has one for all
};

namespace {

// ---- Design: designs.cpp ----------------------------------------------------------------------------
void load_bands(EQ10State& s, const float* section) {
  for (int ch = 0; ch < s.channels; ++ch) {
    const float* record =
        section && !s.channel_link ? section + ptrdiff_t{AUDIOPOST_EQ10_STRIDE} * ch : section;
    EqBand* const bands = s.bands.data() + ptrdiff_t{kBands} * ch;
    int sum = 0;
    for (int b = 0; b < kBands; ++b) {
      bands[b] = record ? tone::read_eq_band(record + ptrdiff_t{kBandLength} * b) : kBandOff;
      sum = common::wrapping_add(sum, bands[b].enable);
    }
    s.band_count[static_cast<size_t>(ch)] = static_cast<float>(sum);
  }
}

// Histories stay where they are, even if a slot now belongs to another band or channel: clearing the memory
// of a running filter is an audible click.
void design_slots(EQ10State& s) {
  BiquadCoeffs* slot = s.coeffs.data();
  for (const EqBand& band : s.bands) {
    if (!band.enable) continue;
    filters::require_filter_type(band.type);
    *slot++ = tone::design_eq_band(band, s.sample_rate);
  }
}

void load(EQ10State& s, const float* section) {
  load_bands(s, section);
  design_slots(s);
}

// ---- Process ---------------------------------------------------------------------------------------
// The next slots that this channel runs. With enable values of 0 and 1 these are its own; other values count
// more than were designed (or fewer), so the channel takes slots of the next one, and slots that no band was
// designed into, up to the last there is room for.
int slots_of_channel(const EQ10State& s, int ch, int cursor) {
  const int end = static_cast<int>(s.coeffs.size());
  int done = 0;
  while (static_cast<float>(done) < s.band_count[static_cast<size_t>(ch)] && cursor + done < end) ++done;
  return done;
}

// Where EQ10_GetData finds a channel's latest samples.
template <class Copies>
auto* copy_of(const EQ10State& s, Copies& copies, int ch) {
  return copies.data() + static_cast<size_t>(ch) * common::array_size(s.frame_length);
}

}  // namespace

// Two channels at a time: stereo is what the kernels are made for.
void tone::join(EQ10State& s, float** in, float** out, lanes::Block& block) {
  if (block.frames < 1) return;
  const int kept = std::min(block.frames, s.frame_length);
  int cursor = 0;
  for (int first = 0; first < s.channels; first += 2) {
    block.run();  // the samples are read now
    s.job.count = std::min(2, s.channels - first);
    for (int i = 0; i < s.job.count; ++i) {
      const int ch = first + i, slots = slots_of_channel(s, ch, cursor);
      std::copy_n(in[ch], std::max(0, kept), copy_of(s, s.in_copy, ch));
      s.job.channels[i] = {s.coeffs.data() + cursor,
                           s.history.data() + cursor,
                           slots,
                           in[ch],
                           out[ch],
                           copy_of(s, s.out_copy, ch),
                           kept};
      cursor += slots;
    }
    block.join(kCascadeKind, &s.job);
  }
}

int EQ10_Process(EQ10State* s, float** in, float** out, int n) {
  return lanes::process_alone(*s, tone::join, in, out, n);
}

// ---- Control ---------------------------------------------------------------------------------------
int EQ10_SetPara(EQ10State* s, const float* section) {
  load(*s, section);
  return s->channels;
}

void EQ10_GetPara(const EQ10State* s, float* section) {
  for (const EqBand& band : s->bands) {
    const float record[kBandLength] = {static_cast<float>(band.enable), static_cast<float>(band.type),
                                       band.fc, band.q, band.boost};
    section = std::copy_n(record, kBandLength, section);
  }
}

int EQ10_GetData(const EQ10State* s, float** in_dst, float** out_dst) {
  if (!s) return 0;
  const size_t frame_length = common::array_size(s->frame_length);
  for (int ch = 0; ch < s->channels; ++ch) {
    std::copy_n(copy_of(*s, s->in_copy, ch), frame_length, in_dst[ch]);
    std::copy_n(copy_of(*s, s->out_copy, ch), frame_length, out_dst[ch]);
  }
  return s->channels;
}

// ---- Print -----------------------------------------------------------------------------------------
void EQ10_PrintPara(const EQ10State* s) {
  static const char* const names[] = {"Parametric", "LowShelf", "HighShelf", "GeneralLP", "GeneralHP"};
  LOG_LINE("EQ Param\n");
  LOG_LINE("=====================\n");
  for (int ch = 0; ch < s->channels; ++ch) {
    LOG_LINE("==== channel:%i ====\n", ch);
    const EqBand* const bands = s->bands.data() + ptrdiff_t{kBands} * ch;
    for (int b = 0; b < kBands; ++b) {
      const EqBand& band = bands[b];
      if (band.enable != 1) continue;  // not merely on
      if (band.type >= Parametric && band.type <= GeneralHP) LOG_LINE("filterTypes:%s\n", names[band.type]);
      LOG_LINE("fc:%.2f\n", band.fc);
      LOG_LINE("Q:%.2f\n", band.q);
      LOG_LINE("boost:%.2f\n", band.boost);
    }
  }
}

// ---- Life cycle ------------------------------------------------------------------------------------
EQ10State* EQ10_Init(const float* section, int bit_depth, int sample_rate, int channels, int frame_length,
                     int channel_link) {
  if (!common::servable(channels, frame_length)) return nullptr;
  return common::null_without_memory([&] {
    auto s = std::make_unique<EQ10State>();
    s->sample_rate = sample_rate, s->channels = channels, s->bit_depth = bit_depth;
    s->channel_link = channel_link, s->frame_length = frame_length;
    const size_t size = common::array_size(channels);
    s->bands.resize(size * kBands);
    s->coeffs.resize(size * kBands);
    s->history.resize(size * kBands);
    s->band_count.resize(size);
    s->in_copy.resize(size * common::array_size(frame_length));
    s->out_copy.resize(s->in_copy.size());
    load(*s, section);
    s->scratch = std::make_unique<lanes::Scratch>();
    return s.release();
  });
}

void tone::share_scratch(EQ10State& s) { s.scratch.reset(); }

int EQ10_Destroy(EQ10State* s) { return common::destroy(s); }
