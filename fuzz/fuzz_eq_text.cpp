// Any bytes as parametric-EQ text: an error, or ten bands at most, within the designer's bounds; and what is exported
// reads back.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "host/check.h"
#include "host/eq_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  host::Record record = host::preset(data[0] & 1 ? "music" : "flat");
  const int channel = data[0] % 3 - 1;
  try {
    host::import_eq(record, {reinterpret_cast<const char*>(data) + 1, size - 1}, "text", channel);
  } catch (const host::FileError& error) {
    if (error.file != "text") std::abort();
    return 0;
  }
  // Nothing of EQ10 may be clamped, beyond half the rate or unknown: the importer has said so and mended it. What single
  // precision makes of its filters is not the importer's to mend; the command refuses it.
  const int its_own[] = {AUDIOPOST_RULE_LEVEL, AUDIOPOST_RULE_FILTER_INFINITE, AUDIOPOST_RULE_FILTER_UNSTABLE,
                         AUDIOPOST_RULE_FILTER_LINGERS};
  for (const host::Finding& finding : host::check(record))
    if (finding.cause.effect == AUDIOPOST_EFFECT_EQ10 && finding.severity != host::Severity::note &&
        std::find(std::begin(its_own), std::end(its_own), finding.cause.rule) == std::end(its_own))
      std::abort();
  std::vector<std::string> left_out;
  const std::string text = host::export_eq(record, channel < 0 ? 0 : channel, left_out) + "Filter: ON None\n";
  if (!left_out.empty()) std::abort();
  host::import_eq(record, text, "exported", channel);
  return 0;
}
