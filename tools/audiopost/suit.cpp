#include "suit.h"

#include <algorithm>
#include <cstdio>

#include "format.h"
#include "host/fields.h"

namespace audiopost {
namespace {

// Takes away what the sample rate does not reach: at half of it and above a filter is unstable.
class Mender {
 public:
  explicit Mender(host::Record& record)
      : record_(record),
        half_(record[AUDIOPOST_SAMPLE_RATE] / 2),
        channels_(host::distinct_channels(record)) {}

  std::vector<std::string> run() {
    for (int ch = 0; ch < channels_; ++ch) {
      turn_off("Exciter", ch, AUDIOPOST_EXCITER_ENABLE,
               start(AUDIOPOST_EFFECT_EXCITER, ch) + AUDIOPOST_EXCITER_CUTOFF);
      turn_off("DeEsser", ch, AUDIOPOST_DEESSER_ENABLE,
               start(AUDIOPOST_EFFECT_DE_ESSER, ch) + AUDIOPOST_DEESSER_F0);
      if (on(AUDIOPOST_EQ10_ENABLE))
        for (int band = 0; band < AUDIOPOST_EQ10_BANDS; ++band) {
          const int first = start(AUDIOPOST_EFFECT_EQ10, ch) + AUDIOPOST_EQ10_BAND_STRIDE * band;
          turn_off(of_channel("EQ10", ch) + " band " + std::to_string(band),
                   first + AUDIOPOST_EQ10_BAND_ENABLE, first + AUDIOPOST_EQ10_FC);
        }
      if (on(AUDIOPOST_DRC_ENABLE)) move_edges(ch);
    }
    return std::move(notes_);
  }

 private:
  float& at(int index) { return record_[static_cast<size_t>(index)]; }
  int start(audiopost_effect effect, int ch) const { return host::settings_start(record_, effect, ch); }
  bool on(int flag) const { return host::field_as_int(record_, flag) != 0; }

  std::string of_channel(const char* effect, int ch) const {
    return channels_ == 1 ? effect : effect + (" channel " + std::to_string(ch));
  }

  void note(const std::string& what, float hz, const std::string& becomes) {
    notes_.push_back(what + " at " + format("%g", static_cast<double>(hz)) + " Hz " + becomes +
                     ": the file reaches " + format("%g", static_cast<double>(half_)) + " Hz");
  }

  void turn_off(const char* effect, int ch, int flag, int frequency) {
    turn_off(of_channel(effect, ch), flag, frequency);
  }
  void turn_off(const std::string& what, int flag, int frequency) {
    if (!on(flag) || !(at(frequency) >= half_)) return;
    at(flag) = 0;
    note(what, at(frequency), "is off");
  }

  // Edges go to nine tenths of what there is, or to the highest edge that stays, so that their order stays too.
  void move_edges(int ch) {
    const int first = start(AUDIOPOST_EFFECT_MULTIBAND_DRC, ch);
    const int bands = host::field_as_int(record_, first + AUDIOPOST_DRC_CROSSOVER_BAND);
    const auto from = [&](int band) { return first + band + AUDIOPOST_DRC_FREQ_START; };
    const auto to = [&](int band) { return first + band + AUDIOPOST_DRC_FREQ_END; };
    std::vector<int> edges = {to(AUDIOPOST_DRC_LOW), from(AUDIOPOST_DRC_HIGH)};
    if (bands >= 3) edges.insert(edges.end(), {from(AUDIOPOST_DRC_MID1), to(AUDIOPOST_DRC_MID1)});
    if (bands >= 4) edges.insert(edges.end(), {from(AUDIOPOST_DRC_MID2), to(AUDIOPOST_DRC_MID2)});
    float highest = 0.9f * half_, noted = 0;
    for (const int edge : edges)
      if (at(edge) < half_) highest = std::max(highest, at(edge));
    std::sort(edges.begin(), edges.end(), [&](int a, int b) { return at(a) < at(b); });
    for (const int edge : edges) {
      if (!(at(edge) >= half_)) continue;
      if (at(edge) != noted)  // the two bands that meet there have it each
        note(of_channel("MultiBandDRC", ch) + " crossover", at(edge),
             "moves to " + format("%g", static_cast<double>(highest)) + " Hz");
      noted = at(edge), at(edge) = highest;
    }
  }

  host::Record& record_;
  const float half_;
  const int channels_;
  std::vector<std::string> notes_;
};

}  // namespace

void Suited::print(bool quiet) const {
  if (!quiet)
    for (const std::string& note : notes) std::fprintf(stderr, "audiopost: note: %s\n", note.c_str());
  print_warnings(warnings);
}

Suited suit_to_stream(Tuning& tuning, const AudioInput& stream, int block, bool unstable_too) {
  host::Record& record = tuning.record;
  const int rate = host::field_as_int(record, AUDIOPOST_SAMPLE_RATE),
            count = host::field_as_int(record, AUDIOPOST_CHANNELS);
  record[AUDIOPOST_SAMPLE_RATE] = static_cast<float>(stream.sample_rate());
  record[AUDIOPOST_CHANNELS] = static_cast<float>(stream.channels());
  std::vector<std::string> notes;
  if (rate != stream.sample_rate() || count != stream.channels())
    notes.push_back(tuning.name + " is for " + std::to_string(rate) + " Hz and " + std::to_string(count) +
                    (count == 1 ? " channel" : " channels") + "; it runs at the stream's " +
                    std::to_string(stream.sample_rate()) + " Hz and " + std::to_string(stream.channels()));
  if (rate != stream.sample_rate())
    for (std::string& note : Mender(record).run()) notes.push_back(std::move(note));
  if (block == 0 && (block = longest_block(record, kBlock)) < kBlock)
    notes.push_back("blocks of " + std::to_string(block) + " frames: auto gain's step is no longer at " +
                    std::to_string(stream.sample_rate()) + " Hz");

  std::vector<std::string> warnings = require_usable(tuning, block, unstable_too);
  return {block, std::move(notes), std::move(warnings)};
}

}  // namespace audiopost
