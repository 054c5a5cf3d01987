#include "load.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "audio_file.h"
#include "host/fields.h"

namespace audiopost {

Tuning load_tuning(const std::string& name) {
  if (name.empty()) throw Failure("the tuning's name is empty");
  const std::vector<std::string>& presets = host::preset_names();
  if (std::find(presets.begin(), presets.end(), name) != presets.end()) return {name, "", host::preset(name)};
  return {name, name, host::load_tuning(name)};
}

std::string refusal_text(const Tuning& tuning, const host::Finding& finding, int block) {
  std::string text = tuning.name + ": " + finding.where + ": " + finding.text;
  const int longest = longest_block(tuning.record, block);
  if (finding.cause.rule == AUDIOPOST_RULE_STEP_SHORT && longest < block)
    text += "; --block " + std::to_string(longest) + " would do";
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

int longest_block(const host::Record& record, int most) {
  constexpr int kAutoGainStep = AUDIOPOST_AUTOGAIN_SECTION + AUDIOPOST_AUTOGAIN_R128_STEPS;
  if (!host::runs(record, AUDIOPOST_EFFECT_AUTO_GAIN)) return most;
  const int64_t step = int64_t{host::field_as_int(record, AUDIOPOST_SAMPLE_RATE)} *
                       host::field_as_int(record, kAutoGainStep) / 1000;
  return step >= 1 && step < most ? static_cast<int>(step) : most;
}

void print_warnings(const std::vector<std::string>& warnings) {
  for (const std::string& warning : warnings)
    std::fprintf(stderr, "audiopost: warning: %s\n", warning.c_str());
}

}  // namespace audiopost
