#include "fit.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "format.h"
#include "host/fields.h"

namespace audiopost {
namespace {

// ---- Frequencies that the stream does not reach ----------------------------------------------------------------
// At half the sample rate and above a filter is unstable.
class Adapter {
 public:
  explicit Adapter(host::Record& record)
      : record_(record),
        half_(record[AUDIOPOST_SAMPLE_RATE] / 2),
        channels_(host::distinct_channels(record)) {}

  std::vector<std::string> run() {
    for (int ch = 0; ch < channels_; ++ch) {
      turn_off("Exciter", ch, AUDIOPOST_EXCITER_ENABLE,
               AUDIOPOST_EXCITER_SECTION + AUDIOPOST_EXCITER_STRIDE * ch + AUDIOPOST_EXCITER_CUTOFF);
      turn_off("DeEsser", ch, AUDIOPOST_DEESSER_ENABLE,
               AUDIOPOST_DEESSER_SECTION + AUDIOPOST_DEESSER_STRIDE * ch + AUDIOPOST_DEESSER_F0);
      if (on(AUDIOPOST_EQ10_ENABLE))
        for (int band = 0; band < AUDIOPOST_EQ10_BANDS; ++band) {
          const int start =
              AUDIOPOST_EQ10_SECTION + AUDIOPOST_EQ10_STRIDE * ch + AUDIOPOST_EQ10_BAND_STRIDE * band;
          turn_off(of_channel("EQ10", ch) + " band " + std::to_string(band),
                   start + AUDIOPOST_EQ10_BAND_ENABLE, start + AUDIOPOST_EQ10_FC);
        }
      if (on(AUDIOPOST_DRC_ENABLE)) move_edges(ch);
    }
    return std::move(notes_);
  }

 private:
  float& at(int index) { return record_[static_cast<size_t>(index)]; }
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
    const int start = AUDIOPOST_DRC_SECTION + AUDIOPOST_DRC_STRIDE * ch;
    const int bands = host::field_as_int(record_, start + AUDIOPOST_DRC_CROSSOVER_BAND);
    const auto from = [&](int band) { return start + band + AUDIOPOST_DRC_FREQ_START; };
    const auto to = [&](int band) { return start + band + AUDIOPOST_DRC_FREQ_END; };
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

// ---- Finding and checking --------------------------------------------------------------------------------------
Tuning load_tuning(const std::string& name) {
  if (name.empty()) throw Failure("the tuning's name is empty");
  const std::vector<std::string>& presets = host::preset_names();
  if (std::find(presets.begin(), presets.end(), name) != presets.end()) return {name, "", host::preset(name)};
  return {name, name, host::load_tuning(name)};
}

std::string refusal_text(const Tuning& tuning, const host::Finding& finding, int block) {
  std::string text = tuning.name + ": " + finding.where + ": " + finding.text;
  const int fitting = fitting_block(tuning.record, block);
  if (finding.cause.rule == AUDIOPOST_RULE_STEP_SHORT && fitting < block)
    text += "; --block " + std::to_string(fitting) + " would do";
  return text;
}

std::vector<std::string> require_usable(const Tuning& tuning, int block, bool unstable_too) {
  std::vector<std::string> warnings;
  for (const host::Finding& finding : host::check(tuning.record, block)) {
    const bool excused = unstable_too && finding.severity == host::Severity::unstable;
    if (finding.refused() && !excused) throw Failure(refusal_text(tuning, finding, block));
    if (finding.severity >= host::Severity::warning)
      warnings.push_back(tuning.name + ": " + finding.where + ": " + finding.text);
  }
  return warnings;
}

void require_measurable(const Tuning& tuning) {
  const int rate = host::field_as_int(tuning.record, AUDIOPOST_SAMPLE_RATE);
  const int channels = host::field_as_int(tuning.record, AUDIOPOST_CHANNELS);
  if (channels < 1 || channels > 2)
    throw Failure(tuning.name + ": is for " + std::to_string(channels) +
                  " channels; one or two can be measured");
  if (rate < kLowestRate || rate > kHighestRate)
    throw Failure(tuning.name + ": a sample rate of " + std::to_string(rate) + " Hz cannot be measured");
}

void require_other_file(const std::string& out, const std::string& read, const char* what) {
  struct stat a = {}, b = {};
  const auto look = [](const std::string& path, int standard, struct stat& at) {
    return (path == "-" ? fstat(standard, &at) : stat(path.c_str(), &at)) == 0 && S_ISREG(at.st_mode);
  };
  if (look(out, STDOUT_FILENO, a) && look(read, STDIN_FILENO, b) && a.st_dev == b.st_dev &&
      a.st_ino == b.st_ino)
    throw Failure(out + ": is " + what + ", which would be lost; write to another file");
}

int fitting_block(const host::Record& record, int most) {
  constexpr int kAutoGainStep = AUDIOPOST_AUTOGAIN_SECTION + AUDIOPOST_AUTOGAIN_R128_STEPS;
  if (!host::runs(record, AUDIOPOST_EFFECT_AUTO_GAIN)) return most;
  const int64_t step = int64_t{host::field_as_int(record, AUDIOPOST_SAMPLE_RATE)} *
                       host::field_as_int(record, kAutoGainStep) / 1000;
  return step >= 1 && step < most ? static_cast<int>(step) : most;
}

// ---- Fitting ---------------------------------------------------------------------------------------------------
void Fit::print(bool quiet) const {
  if (!quiet)
    for (const std::string& note : notes) std::fprintf(stderr, "audiopost: note: %s\n", note.c_str());
  print_warnings(warnings);
}

void print_warnings(const std::vector<std::string>& warnings) {
  for (const std::string& warning : warnings)
    std::fprintf(stderr, "audiopost: warning: %s\n", warning.c_str());
}

Fit fit_to_stream(Tuning& tuning, const AudioInput& stream, int block, bool unstable_too) {
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
    for (std::string& note : Adapter(record).run()) notes.push_back(std::move(note));
  if (block == 0 && (block = fitting_block(record, kBlock)) < kBlock)
    notes.push_back("blocks of " + std::to_string(block) + " frames: auto gain's step is no longer at " +
                    std::to_string(stream.sample_rate()) + " Hz");

  std::vector<std::string> warnings = require_usable(tuning, block, unstable_too);
  return {block, std::move(notes), std::move(warnings)};
}

}  // namespace audiopost
